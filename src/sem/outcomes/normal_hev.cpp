#include "sem/outcomes/normal_hev.hpp"

#include <cmath>
#include <string>

#include "random/random.hpp"
#include "sem/outcomes/variance_rows.hpp"
#include "sem/wiring/settings.hpp"
#include "support/error.hpp"

namespace tovik::sem {

namespace {

void require_clusters(const equation_setup& setup) {
  if (setup.n_levels == 0) throw error_debug("Variances of clusters need a level above the outcome.");
  if (!setup.estimate_resid) throw error_debug("Variances of clusters are drawn.");
}

/// How many clusters have a unit whose outcome is observed.
arma::uword n_with_values(const arma::Col<arma::uword>& cluster_of, const arma::Col<double>& counts,
                          const arma::Col<arma::uword>& missing) {
  arma::Col<double> known = counts;
  for (arma::uword i : missing) known(cluster_of(i)) -= 1.0;
  return arma::accu(known > 0.0);
}

}  // namespace

NormalHev::NormalHev(const Estimator* estimator_, const equation_setup& setup)
    : Outcome(parts_of(estimator_, data::type::continuous, setup)), Normal(estimator_, setup) {
  require_clusters(setup);
  const arma::uword n = cluster.n_clusters(0);
  sums_ = {arma::Col<double>(n, arma::fill::zeros), arma::Col<double>(n, arma::fill::zeros),
           arma::Col<double>(n, arma::fill::zeros)};
  for (arma::uword c : cluster_of()) sums_.n(c) += 1.0;
  shared = scan::cluster_variances(n, sigma2, n_with_values(cluster_of(), sums_.n, setup.missing_units));
  keep_rows();
  refresh_phantoms(0);
  variances_changed();
}

void NormalHev::variances_changed() {
  precisions_ = 1.0 / sigma2s;
  sigma2 = arma::mean(sigma2s);
  phantoms_changed();
}

void NormalHev::phantoms_changed() {
  const double left = phantoms_of_residual() ? part(0).loadings.variance() : 1.0;
  cond_sigma2s = left * sigma2s;
  inner_ = precisions_ / left;
}

double NormalHev::residVar(const int& c) const {
  return residVar()(static_cast<arma::uword>(c));
}

const arma::Col<double>& NormalHev::residVar() const {
  return phantoms_of_residual() ? cond_sigma2s : sigma2s;
}

scan::row_scale NormalHev::variances() const {
  return scan::row_scale::per_cluster(inner_, cluster_of());
}

scan::row_scale NormalHev::phantom_scale() const {
  return scan::row_scale::per_cluster(precisions_, cluster_of());
}

void NormalHev::set_residual_variance(double) {
  throw error_debug("The outcome has no residual variance that is one for all clusters.");
}

arma::uword NormalHev::n_estimated() const {
  return Regression::n_estimated() + (shared.spread_moves() ? 2 : 1);
}

// Far out the density of s0 falls as s0^-((n - k) / 2), the coefficients integrated out: every v_c is then
// next to s0.
void NormalHev::check_units(const equation_names& names) const {
  Regression::check_units(names, 3, "'OPTIONS: hov;'");
}

void NormalHev::draw_own(const arma::Mat<double>& data) {
  if (phantoms_of_residual()) {
    draw_with_phantoms(data);
    return;
  }
  const arma::Col<double>& r = equation().r();
  const arma::Col<arma::uword>& c = cluster_of();
  sums_.square.zeros();
  for (arma::uword i = 0; i < n_units; ++i) sums_.square(c(i)) += r(i) * r(i);
  shared.draw(sums_.n, sums_.square, *rng);
  move_together();
}

/// Random numbers: those of the two steps in turn.
void NormalHev::move_together() {
  if (sampler_settings::move_variances) {
    shared.rescale(sums_, *rng);
    shared.respread(sums_, *rng);
  }
  variances_changed();
}

// With m_i = l'P_i and k = 1 - l'l the log density of the residuals of a cluster is in v
//
//   -n / 2 log v - sum e_i^2 / (2 k v) + sum e_i m_i / (k sqrt(v)),
//
// and that of the proposal has 1 for k, and no m_i.
void NormalHev::draw_with_phantoms(const arma::Mat<double>& data) {
  const arma::Col<arma::uword>& c = cluster_of();
  const arma::Mat<double>& means = phantom_means(data);
  const double k = part(0).loadings.variance();
  old_ = sigma2s;
  whole_.zeros(old_.n_elem);
  sums_.product.zeros();
  for (arma::uword i = 0; i < n_units; ++i) {
    const double e = equation().r()(i) + means(i);
    whole_(c(i)) += e * e;
    sums_.product(c(i)) += e * means(i);
  }
  for (arma::uword g = 0; g < old_.n_elem; ++g) {
    const double v = old_(g), next = shared.propose(sums_.n(g), whole_(g), *rng);
    sums_.square(g) = whole_(g) / k;
    sums_.product(g) /= k * std::sqrt(v);
    const double change = sums_.product(g) * (1.0 / std::sqrt(next) - 1.0 / std::sqrt(v)) -
                          0.5 * (sums_.square(g) - whole_(g)) * (1.0 / next - 1.0 / v);
    if (std::log(rng->runif()) <= change) sigma2s(g) = next;
  }
  shared.draw_common(*rng);
  move_together();
  // The phantoms' part of a residual grows with the variance.
  gain_.set_size(n_units);
  for (arma::uword i = 0; i < n_units; ++i)
    gain_(i) = (std::sqrt(sigma2s(c(i)) / old_(c(i))) - 1.0) * means(i);
  equation().subtract(gain_.memptr());
}

arma::Col<double> NormalHev::own_rows() const {
  return variance_rows(sigma2s, proportions);
}

void NormalHev::take_own_rows(const double* v) {
  sigma2s.fill(v[mean_variance_row]);
  shared.s0 = v[mean_variance_row];
  variances_changed();
}

std::shared_ptr<estimator::constraint> NormalHev::own_constraint(const parameter_type& kind,
                                                                 const unsigned& index) {
  if (kind == parameter_type::residual_variance)
    throw error_debug("Variances of clusters cannot be constrained.");
  return Normal::own_constraint(kind, index);
}

}  // namespace tovik::sem
