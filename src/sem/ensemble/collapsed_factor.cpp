#include "sem/ensemble/collapsed_factor.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <typeinfo>

#include "sem/outcomes/factor.hpp"
#include "sem/scan/blas.hpp"
#include "sem/scan/slice_step.hpp"

namespace tovik::sem {

namespace {

constexpr int sweeps = 2;
constexpr double no_bound = -std::numeric_limits<double>::infinity();
/// Widths of slices, in what would be standard deviations were the scores known.
constexpr double width = 4.0;

/// One residual variance, of which draws and likelihood say the same.
bool is_plain(const Regression& equation) {
  const std::type_info& kind = typeid(equation);
  if ((kind != typeid(Normal) && kind != typeid(Factor)) || equation.link != nullptr) return false;
  const auto& plain = dynamic_cast<const Normal&>(equation);
  return plain.part(0).empty() && plain.sigma2 > 0.0 && (!plain.estimate_resid || plain.resid_prior != 3);
}

/// Log density of a residual variance under its prior, with respect to d log v.
double log_prior_of(const Normal& equation, double v) {
  if (!equation.estimate_resid) return 0.0;
  return equation.resid_prior == 1 ? -std::log(v) - 0.5 * equation.residual_unit() / v : std::log(v);
}

}  // namespace

bool collapsed_factor::suits(const Normal& factor, const std::vector<reader>& readers) {
  return !readers.empty() && is_plain(factor) && factor.is_solved() &&
         std::all_of(readers.begin(), readers.end(), [&](const reader& r) {
           return is_plain(*r.equation) && r.equation->level == factor.level;
         });
}

collapsed_factor::collapsed_factor(Normal& factor, const std::vector<reader>& readers)
    : factor_(&factor), units_(factor.every_unit()), Z_(factor.n_units, readers.size() + 1) {
  arma::uword const p = readers.size();
  for (const reader& r : readers) {
    indicators_.push_back({dynamic_cast<Normal*>(r.equation), r.position,
                           autosolver::solution::constant(r.position, static_cast<unsigned>(factor.y(0))),
                           r.equation->coefficient_moves(r.position)});
  }
  T_.zeros(p + 1, p + 1);
  density_.loadings.zeros(p);
  density_.variances.zeros(p);
}

void collapsed_factor::read(const arma::Mat<double>& data) {
  arma::uword const n = Z_.n_rows, p = indicators_.size();
  for (arma::uword k = 0; k < p; ++k) {
    const indicator& one = indicators_[k];
    one.equation->read_solved(data, one.how, *units_);
    std::copy_n(units_->e.data(), n, Z_.colptr(k));
    density_.loadings(k) = one.loading();
    density_.variances(k) = one.equation->sigma2;
  }
  factor_->predict_solved(data, *units_);
  std::copy_n(units_->mu.memptr(), n, Z_.colptr(p));
  for (arma::uword j = 0; j <= p; ++j)
    for (arma::uword i = 0; i <= j; ++i) T_(i, j) = scan::dot(n, Z_.colptr(i), Z_.colptr(j));
  density_.set_products(T_, static_cast<double>(n));
  density_.variance = factor_->sigma2;
}

void collapsed_factor::write() {
  for (arma::uword k = 0; k < indicators_.size(); ++k) {
    const indicator& one = indicators_[k];
    one.loading() = density_.loadings(k);
    one.equation->sigma2 = density_.variances(k);
    one.equation->anchor_coefficients();
  }
  factor_->sigma2 = density_.variance;
}

double collapsed_factor::log_prior() const {
  double sum = log_prior_of(*factor_, density_.variance);
  for (arma::uword k = 0; k < indicators_.size(); ++k) {
    const indicator& one = indicators_[k];
    sum += log_prior_of(*one.equation, density_.variances(k));
    if (one.loading_moves) {
      const double l = density_.loadings(k);
      sum -= 0.5 * l * l / one.equation->coefficient_variance(one.position);
    }
  }
  return sum;
}

void collapsed_factor::move_loading(arma::uword k, Random& rng) {
  double& l = density_.loadings(k);
  const auto at = [&](double x) {
    l = x;
    return log_density();
  };
  const double sd = std::sqrt(density_.variances(k) / (static_cast<double>(Z_.n_rows) * density_.variance));
  l = scan::slice_step(l, no_bound, width * sd, at, rng);
}

void collapsed_factor::move_variance(double& variance, Random& rng) {
  const auto at = [&](double x) {
    variance = std::exp(x);
    return log_density();
  };
  const double sd = std::sqrt(2.0 / static_cast<double>(Z_.n_rows));
  variance = std::exp(scan::slice_step(std::log(variance), no_bound, width * sd, at, rng));
}

// v g^2 and l / g for the loadings that are drawn: each brings 1 / g, and log v the Jacobian 1.
void collapsed_factor::move_scale(Random& rng) {
  const double v = density_.variance;
  scale_start_ = density_.loadings;
  const arma::Col<double>& l = scale_start_;
  double m = 0.0;
  for (const indicator& one : indicators_) m += one.loading_moves ? 1.0 : 0.0;
  if (m == 0.0) return;
  const auto set = [&](double x) {
    density_.variance = v * std::exp(2.0 * x);
    for (arma::uword k = 0; k < indicators_.size(); ++k)
      if (indicators_[k].loading_moves) density_.loadings(k) = l(k) * std::exp(-x);
  };
  const auto at = [&](double x) {
    set(x);
    return log_density() - m * x;
  };
  const double sd = std::sqrt(0.5 / static_cast<double>(Z_.n_rows));
  set(scan::slice_step(0.0, no_bound, width * sd, at, rng));
}

void collapsed_factor::draw(arma::Mat<double>& data, Random& rng) {
  read(data);
  if (!std::isfinite(log_density())) return;
  for (int sweep = 0; sweep < sweeps; ++sweep) {
    for (arma::uword k = 0; k < indicators_.size(); ++k) {
      if (indicators_[k].loading_moves) move_loading(k, rng);
      if (indicators_[k].equation->estimate_resid) move_variance(density_.variances(k), rng);
    }
    if (!factor_->estimate_resid) continue;
    move_variance(density_.variance, rng);
    move_scale(rng);
  }
  write();
  factor_->draw_scores(data);
}

std::vector<collapsed_factor> collapsed_factors(const std::vector<plain_factor>& factors) {
  std::vector<collapsed_factor> out;
  for (const plain_factor& one : factors)
    if (collapsed_factor::suits(*one.factor, one.readers)) out.emplace_back(*one.factor, one.readers);
  return out;
}

}  // namespace tovik::sem
