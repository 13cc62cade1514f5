// What a nominal outcome tells of the data at its current parameters.

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "sem/outcomes/nominal.hpp"
#include "sem/scan/logit.hpp"
#include "support/error.hpp"

namespace tovik::sem {

// With r the log of the sum of exp(eta) over the other categories, the log probability of the category is
// that of a 1 with the log odds eta - r: it keeps its digits where the probability is near 1. The codes are
// passed one after another; until one is 1 the category is the reference, whose eta is 0.

void Nominal::begin_densities(arma::uword n) const {
  density_.chosen.assign(n, 0.0);
  density_.rest.assign(n, -std::numeric_limits<double>::infinity());
}

void Nominal::add_code(const arma::Mat<double>& data, arma::uword c, const arma::uword* units, arma::uword n,
                       const double* eta) const {
  const double* code = data.colptr(codes_.columns(c));
  for (arma::uword k = 0; k < n; ++k) {
    double other = eta[k];
    if (code[row(units == nullptr ? k : units[k])] == 1.0) std::swap(other, density_.chosen[k]);
    density_.rest[k] = scan::log_sum_exp(density_.rest[k], other);
  }
}

void Nominal::densities(const arma::Mat<double>& data, arma::Col<double>& out) const {
  begin_densities(n_units());
  for (arma::uword c = 0; c < members_.size(); ++c) {
    members_[c]->predictor(data, density_.of_all);
    add_code(data, c, nullptr, n_units(), density_.of_all.memptr());
  }
  out.set_size(n_units());
  for (arma::uword i = 0; i < out.n_elem; ++i)
    out(i) = scan::log_bernoulli(1.0, density_.chosen[i] - density_.rest[i]);
}

const double* Nominal::densities_at(const arma::Mat<double>& data,
                                    const arma::Col<arma::uword>& units) const {
  arma::uword const n = units.n_elem;
  begin_densities(n);
  if (density_.eta.size() < n) density_.eta.resize(n);
  for (arma::uword c = 0; c < members_.size(); ++c) {
    members_[c]->predictor_at(data, units, density_.eta.data());
    add_code(data, c, units.memptr(), n, density_.eta.data());
  }
  for (arma::uword k = 0; k < n; ++k)
    density_.eta[k] = scan::log_bernoulli(1.0, density_.chosen[k] - density_.rest[k]);
  return density_.eta.data();
}

unsigned Nominal::levels_above(int at_level) const {
  const int above = at_level - static_cast<int>(level);
  if (above < 0 || above > static_cast<int>(structure().n_levels()))
    throw error_debug("The outcome has no likelihood at this level.");
  return static_cast<unsigned>(above);
}

arma::Col<double> Nominal::compute_logLiklihood(const arma::Mat<double>& data, const int& at_level) const {
  const unsigned above = levels_above(at_level);
  arma::Col<double> out;
  densities(data, out);
  return above == 0 ? out : structure().selectors[above - 1]->sums(out);
}

arma::Col<double> Nominal::logLiklihood(const arma::Mat<double>& data, const int& at_level) const {
  return compute_logLiklihood(data, at_level);
}

double Nominal::logLiklihood(const arma::Mat<double>& data) const {
  return arma::accu(compute_logLiklihood(data, static_cast<int>(level)));
}

void Nominal::addLogLiklihood(const arma::Mat<double>& data, const int& at_level,
                              const arma::Col<arma::uword>& units, double* out) const {
  const unsigned above = levels_above(at_level);
  if (above == 0) {
    const double* each = densities_at(data, units);
    for (arma::uword k = 0; k < units.n_elem; ++k) out[k] += each[k];
    return;
  }
  const auto& clusters = *structure().selectors[above - 1];
  arma::uword const n = clusters.list_units(units, density_.units);
  clusters.add_sums(units, densities_at(data, {density_.units.data(), n, false, true}), out);
}

arma::Col<double> Nominal::observed_logLiklihood(const arma::Mat<double>& data, const int& at_level) const {
  const unsigned above = levels_above(at_level);
  arma::Col<double> out;
  densities(data, out);
  for (arma::uword i : imputed_units()) out(i) = 0.0;
  return above == 0 ? out : structure().selectors[above - 1]->sums(out);
}

bool Nominal::has_effects() const {
  for (unsigned L = 0; L < n_levels; ++L)
    if (n_random(L) > 0) return true;
  return false;
}

arma::Col<double> Nominal::marginal_logLiklihood(const arma::Mat<double>& data) const {
  if (has_effects()) return members_.front()->marginal_logLiklihood(data);
  return logLiklihood(data, static_cast<int>(level + n_levels));
}

arma::Col<double> Nominal::observed_marginal_logLiklihood(const arma::Mat<double>& data) const {
  if (has_effects()) return marginal_logLiklihood(data);
  return observed_logLiklihood(data, static_cast<int>(level + n_levels));
}

estimator::likelihood_function Nominal::likelihoodFunc(const likelihood_type& kind) const {
  using units_of = arma::Col<arma::uword>;
  if (kind == likelihood_type::random_effect)
    throw error_debug("Random Indicators not allowed for Nominal outcomes!");
  return {this, [this](const arma::Mat<double>& data, const int& at) { return logLiklihood(data, at); },
          [this](const arma::Mat<double>& data, const int& at, const units_of& units, double* out) {
            addLogLiklihood(data, at, units, out);
          }};
}

arma::Mat<double> Nominal::compute_predicted(const arma::Mat<double>& data) const {
  arma::Mat<double> out(n_units(), members_.size() + 1, arma::fill::zeros);
  for (arma::uword c = 0; c < members_.size(); ++c) {
    members_[c]->predictor(data, density_.of_all);
    std::copy_n(density_.of_all.memptr(), n_units(), out.colptr(c + 1));
  }
  for (arma::uword i = 0; i < out.n_rows; ++i) {
    arma::rowvec p = out.row(i);
    p = arma::exp(p - p.max());
    out.row(i) = p / arma::accu(p);
  }
  return out;
}

}  // namespace tovik::sem
