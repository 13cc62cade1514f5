#pragma once

#include <armadillo>
#include <cstddef>
#include <vector>

#include "results/summary.hpp"

namespace tovik {

/// The columns of a table, and what of a row's draws they need: each statistic is computed once per row.
class summary_plan {
 public:
  /// Throws error_debug with the text `unknown` for a column that is none.
  summary_plan(const std::vector<Summary::column>& which, const char* unknown);

  /// Report columns.
  std::size_t width() const { return width_; }
  bool needs_psr() const { return psr_; }
  bool needs_ess() const { return ess_; }

  /// Writes the columns of one parameter to row `row` of `out`; x holds its n draws and is overwritten. All
  /// are NaN when a draw is NaN.
  void fill(double* x, std::size_t n, double psr, double ess, arma::Mat<double>& out, arma::uword row) const;

  /// The table of the rows of x alone, without PSR and effective sizes.
  arma::Mat<double> table(const arma::Mat<double>& x) const;

 private:
  std::vector<Summary::column> which_;
  std::vector<double> probabilities_;  // in the order of the columns that show them; the median always first
  std::size_t width_ = 0;
  bool psr_ = false;
  bool ess_ = false;
  bool mad_ = false;
  bool ranks_ = false;
};

}  // namespace tovik
