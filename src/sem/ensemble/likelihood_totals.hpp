#pragma once

#include <armadillo>
#include <memory>
#include <vector>

#include "sem/wiring/block_likelihood.hpp"

namespace tovik::sem {

class Outcomes;

/// The log likelihoods of all models together, of the units of the highest level, at several draws of a
/// chain: what the last slice of Outcomes::likelihood holds, up to rounding. Models that evaluate draws
/// together (block_likelihood) do so when the draws are asked for; what the others say of a draw is kept from
/// the time of the draw. Both are passed over in ranges of units.
class likelihood_totals {
 public:
  static constexpr arma::uword most_draws = 64;
  /// Numbers kept from the times of the draws, at the most (and those of one draw at least).
  static constexpr arma::uword most_cells = arma::uword{1} << 18;
  /// Units of a range, at the most. Not a power of two: the columns of a range would share their place in the
  /// cache.
  static constexpr arma::uword most_rows = 248;

  /// `data`: of the working matrix, after the first scan. Both must outlive the object. `by_draw`: no model
  /// evaluates draws together, for comparison.
  likelihood_totals(const Outcomes& models, const arma::Mat<double>& data, bool by_draw = false);

  /// The current state of the models is the next draw.
  void keep();
  arma::uword n_draws() const { return n_draws_; }
  /// There is no room for another draw.
  bool full() const { return n_draws_ == capacity_; }
  void clear();

  arma::uword n_units() const { return n_units_; }
  /// 1 where nothing can be integrated out; 2: marginal, conditional.
  arma::uword n_columns() const { return n_columns_; }
  /// The models that evaluate draws together.
  arma::uword n_together() const { return together_.size(); }
  /// The values of the units first, ..., first + n - 1, no more than most_rows: n x draws for each column,
  /// one after the other, until the next call.
  const double* evaluate(arma::uword first, arma::uword n);

 private:
  const Outcomes& models_;
  const arma::Mat<double>& data_;
  std::vector<std::unique_ptr<estimator::block_likelihood>> together_;
  std::vector<std::size_t> singly_;
  arma::uword n_units_ = 0, n_columns_ = 1, capacity_ = most_draws, n_draws_ = 0;
  arma::Cube<double> kept_;  ///< units x draws x columns, of the models evaluated draw by draw
  std::vector<double> range_;
};

}  // namespace tovik::sem
