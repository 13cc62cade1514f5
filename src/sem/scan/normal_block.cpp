#include "sem/scan/normal_block.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "random/constants.hpp"
#include "sem/scan/blas.hpp"

namespace tovik::sem::scan {
namespace {

/// out += c - w r^2. Four at a time, which the compiler can put side by side.
void add_log_densities(arma::uword n, double c, double w, const double* __restrict r,
                       double* __restrict out) {
  arma::uword i = 0;
  for (; i + 3 < n; i += 4) {
    out[i] += c - w * (r[i] * r[i]);
    out[i + 1] += c - w * (r[i + 1] * r[i + 1]);
    out[i + 2] += c - w * (r[i + 2] * r[i + 2]);
    out[i + 3] += c - w * (r[i + 3] * r[i + 3]);
  }
  for (; i < n; ++i) out[i] += c - w * (r[i] * r[i]);
}

}  // namespace

normal_block::normal_block(const arma::Mat<double>& X, arma::Col<double> y, arma::Col<arma::uword> left_out)
    : X_(X), y_(std::move(y)), left_out_(std::move(left_out)) {
  for (arma::uword i : left_out_) y_(i) = 0.0;  // whatever stands there, the product is finite
}

void normal_block::keep(const double* b, double v) {
  coefficients_.insert(coefficients_.end(), b, b + X_.n_cols);
  variances_.push_back(v);
  constants_.push_back(-0.5 * (log_2_pi + std::log(v)));
}

void normal_block::clear() {
  coefficients_.clear();
  variances_.clear();
  constants_.clear();
}

void normal_block::add(arma::uword first, arma::uword n, double* out) {
  const std::size_t draws = variances_.size();
  residuals_.resize(n * draws);
  for (std::size_t t = 0; t < draws; ++t) std::copy_n(y_.memptr() + first, n, residuals_.data() + t * n);
  subtract_product(X_, first, n, coefficients_.data(), draws, residuals_.data());
  const arma::uword* const skip = std::lower_bound(left_out_.begin(), left_out_.end(), first);
  const arma::uword* const end = std::lower_bound(skip, left_out_.cend(), first + n);
  kept_.resize(static_cast<std::size_t>(end - skip));
  for (std::size_t t = 0; t < draws; ++t, out += n) {
    std::transform(skip, end, kept_.begin(), [&](arma::uword i) { return out[i - first]; });
    add_log_densities(n, constants_[t], 0.5 / variances_[t], residuals_.data() + t * n, out);
    for (std::size_t k = 0; k < kept_.size(); ++k) out[skip[k] - first] = kept_[k];
  }
}

}  // namespace tovik::sem::scan
