#include "sem/ensemble/likelihood_totals.hpp"

#include <algorithm>
#include <utility>

#include "sem/ensemble/outcomes.hpp"
#include "sem/scan/blas.hpp"
#include "support/error.hpp"

namespace tovik::sem {

likelihood_totals::likelihood_totals(const Outcomes& models, const arma::Mat<double>& data, bool by_draw)
    : models_(models), data_(data), n_units_(models.n_top_units()) {
  for (std::size_t i : models.likelihood_models()) {
    if (models.integrates_out(i)) n_columns_ = 2;
    std::unique_ptr<estimator::block_likelihood> block = by_draw ? nullptr : models.blockLiklihood(i, data);
    if (block != nullptr)
      together_.push_back(std::move(block));
    else
      singly_.push_back(i);
  }
  if (singly_.empty()) return;
  const arma::uword each = std::max<arma::uword>(1, n_units_ * n_columns_);
  capacity_ = std::clamp<arma::uword>(most_cells / each, 1, most_draws);
  kept_.set_size(n_units_, capacity_, n_columns_);
}

void likelihood_totals::keep() {
  if (full()) throw error_debug("There is no room for another draw.");
  for (const auto& block : together_) block->keep();
  const arma::uword draw = n_draws_++;
  if (singly_.empty()) return;
  arma::Col<double> marginal, conditional(kept_.slice_colptr(n_columns_ - 1, draw), n_units_, false, true);
  conditional.zeros();
  if (n_columns_ == 2) {
    marginal = arma::Col<double>(kept_.slice_colptr(0, draw), n_units_, false, true);
    marginal.zeros();
  }
  for (std::size_t i : singly_)
    models_.add_likelihood(i, data_, n_columns_ == 2 ? &marginal : nullptr, conditional);
}

void likelihood_totals::clear() {
  for (const auto& block : together_) block->clear();
  n_draws_ = 0;
}

const double* likelihood_totals::evaluate(arma::uword first, arma::uword n) {
  if (n > most_rows || first + n > n_units_) throw error_debug("The range holds no such units.");
  const arma::uword size = n * n_draws_;
  range_.assign(size * n_columns_, 0.0);
  for (const auto& block : together_) block->add(first, n, range_.data());
  if (n_columns_ == 2) std::copy_n(range_.data(), size, range_.data() + size);
  if (singly_.empty()) return range_.data();
  for (arma::uword c = 0; c < n_columns_; ++c)
    for (arma::uword t = 0; t < n_draws_; ++t)
      scan::add_scaled(n, 1.0, kept_.slice_colptr(c, t) + first, range_.data() + c * size + t * n);
  return range_.data();
}

}  // namespace tovik::sem
