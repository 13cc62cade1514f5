#pragma once

#include <armadillo>
#include <cstdio>
#include <string>

namespace tovik {

class Summary;

/// Rows of parameters under running numbers that count all of them, so that they agree with the table of
/// potential scale reductions, each with its last few reductions.
class numbered_rows {
 public:
  /// Prints the heading of the list for the draws of the burn-in.
  numbered_rows(std::FILE* stream, const Summary& burn);

  void section(const char* break_line, const std::string& title) const;
  /// `number`: of the row, from 0.
  void row(const std::string& label, arma::uword number) const { write("  ", label, " ", number); }
  /// Of a predictor's variances and thresholds, one place further to the right.
  void inner_row(const std::string& label, arma::uword number) const { write("   ", label, "", number); }

 private:
  void write(const char* before, const std::string& label, const char* behind, arma::uword number) const;

  std::FILE* stream_;
  arma::Mat<double> psr_;  ///< one row per comparison, one column per parameter
  int width_;
};

}  // namespace tovik
