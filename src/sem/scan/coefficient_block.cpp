#include "sem/scan/coefficient_block.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "sem/scan/small_cholesky.hpp"
#include "support/error.hpp"

namespace tovik::sem::scan {

coefficient_block::coefficient_block(std::vector<parameter> parameters) : parameters_(std::move(parameters)) {
  arma::uword const m = parameters_.size();
  const auto bounded = [](const parameter& p) { return p.prior.bounded(); };
  if (!std::is_partitioned(parameters_.begin(), parameters_.end(), bounded))
    throw error_debug("Bounded parameters do not come first in their block.");
  n_bounded_ = static_cast<arma::uword>(std::count_if(parameters_.begin(), parameters_.end(), bounded));
  P_.zeros(m, m);
  for (arma::Col<double>* v : {&work_, &moved_, &z_, &value_}) v->zeros(m);
}

void coefficient_block::clear() {
  P_.zeros();
  work_.zeros();
  n_units_ = 0;
}

// The gradient at b: h - G b, over all coefficients of the equation, also those that are known.
void coefficient_block::add(const arma::Col<arma::uword>& parameters, const arma::Mat<double>& G,
                            const double* h, double v, const double* b, arma::uword n) {
  const double w = 1.0 / v;
  arma::uword const k = parameters.n_elem;
  for (arma::uword i = 0; i < k; ++i) {
    arma::uword const p = parameters(i);
    if (p == none) continue;
    double gradient = h[i];
    for (arma::uword j = 0; j < k; ++j) {
      gradient -= G(i, j) * b[j];
      if (parameters(j) != none) P_(p, parameters(j)) += w * G(i, j);
    }
    work_(p) += w * gradient;
  }
  n_units_ += n;
}

void coefficient_block::add_products(const arma::Col<arma::uword>& of_j, const arma::Col<arma::uword>& of_k,
                                     const arma::Mat<double>& C, double weight) {
  for (arma::uword b = 0; b < of_k.n_elem; ++b)
    for (arma::uword a = 0; a < of_j.n_elem; ++a)
      if (of_j(a) != none && of_k(b) != none) P_(of_j(a), of_k(b)) += weight * C(a, b);
}

void coefficient_block::add_gradient(const arma::Col<arma::uword>& parameters, const double* gradient,
                                     arma::uword n) {
  for (arma::uword a = 0; a < parameters.n_elem; ++a)
    if (parameters(a) != none) work_(parameters(a)) += gradient[a];
  n_units_ += n;
}

void coefficient_block::add_priors() {
  for (arma::uword p = 0; p < parameters_.size(); ++p) {
    const parameter& one = parameters_[p];
    value_(p) = *one.at;
    P_(p, p) += one.prior.precision;
    work_(p) += one.prior.precision * (one.prior.mean - value_(p));
  }
}

// P = T T': T' moved = inv(T) work + z row by row, so that the leading elements are drawn with all that
// follow integrated out.
const arma::Col<double>& coefficient_block::draw(Random& rng) {
  arma::uword const m = parameters_.size();
  add_priors();
  const double singular = singular_share(n_units_);
  // A prior keeps a dependent column apart, however little of its diagonal element that is.
  const auto tolerance = [&](arma::uword p) { return parameters_[p].prior.precision > 0.0 ? 0.0 : singular; };
  if (!reverse_cholesky(P_.memptr(), m, tolerance)) throw numeric_error::singular();
  solve_upper(P_.memptr(), m, work_.memptr());
  draw_bounded(rng);
  rng.fill_randn(z_.memptr() + n_bounded_, m - n_bounded_);
  for (arma::uword j = n_bounded_; j < m; ++j) {
    double sum = work_(j) + z_(j);
    for (arma::uword i = 0; i < j; ++i) sum -= P_(i, j) * moved_(i);
    moved_(j) = sum / P_(j, j);
  }
  for (arma::uword p = 0; p < m; ++p) value_(p) += moved_(p);
  return moved_;
}

// With B the bounded parameters, T_B'moved_B ~ N(work_B, I): parameter i has row i of T_B there. z_B holds
// work_B - T_B'moved_B.
void coefficient_block::draw_bounded(Random& rng) {
  for (arma::uword i = 0; i < n_bounded_; ++i) {
    moved_(i) = 0.0;
    z_(i) = work_(i);
  }
  for (arma::uword i = 0; i < n_bounded_; ++i) {
    double squares = 0.0, product = 0.0;
    for (arma::uword l = i; l < n_bounded_; ++l) {
      squares += P_(i, l) * P_(i, l);
      product += P_(i, l) * z_(l);
    }
    const parameter_prior& prior = parameters_[i].prior;
    const double mean = value_(i) + product / squares;
    moved_(i) = rng.trNorm(mean, prior.lower, prior.upper, 1.0 / std::sqrt(squares)) - value_(i);
    for (arma::uword l = i; l < n_bounded_; ++l) z_(l) -= P_(i, l) * moved_(i);
  }
}

void coefficient_block::settle() const {
  for (arma::uword p = 0; p < parameters_.size(); ++p)
    if (parameters_[p].label != nullptr) parameters_[p].label->write(value_(p));
}

void coefficient_block::settle_all() const {
  for (arma::uword p = 0; p < parameters_.size(); ++p) *parameters_[p].at = value_(p);
  settle();
}

void coefficient_block::tell(const std::vector<arma::uword>& which, newton_move::terms& out) const {
  const std::size_t q = which.size();
  out.precision.assign(q * q, 0.0);
  for (std::vector<double>* v : {&out.mean, &out.value, &out.lower, &out.upper}) v->resize(q);
  for (std::size_t k = 0; k < q; ++k) {
    const parameter& one = parameters_[which[k]];
    out.precision[k + k * q] = one.prior.precision;
    out.mean[k] = one.prior.mean;
    out.lower[k] = one.prior.lower;
    out.upper[k] = one.prior.upper;
    out.value[k] = *one.at;
  }
}

void coefficient_block::take(const std::vector<arma::uword>& which, const std::vector<double>& values) const {
  for (std::size_t k = 0; k < which.size(); ++k) {
    const parameter& one = parameters_[which[k]];
    *one.at = values[k];
    if (one.label != nullptr) one.label->write(values[k]);
  }
}

void block_share::meet(const arma::Mat<double>& G, const double* h, double v, arma::uword n, Random& rng,
                       double* b) const {
  if (block->now == coefficient_block::phase::drawn) return;
  if (block->now == coefficient_block::phase::alone) block->clear();
  block->add(parameters, G, h, v, b, n);
  if (block->now == coefficient_block::phase::collected) return;
  const arma::Col<double>& moved = block->draw(rng);
  for (arma::uword j = 0; j < parameters.n_elem; ++j)
    if (parameters(j) != coefficient_block::none) b[j] += moved(parameters(j));
}

}  // namespace tovik::sem::scan
