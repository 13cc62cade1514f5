// What a normal outcome tells of the data at its current parameters: predictions, residuals, log likelihoods.

#include <algorithm>
#include <cmath>

#include "sem/densities.hpp"
#include "sem/outcomes/normal.hpp"
#include "sem/scan/blas.hpp"
#include "sem/scan/marginal.hpp"
#include "support/error.hpp"

namespace tovik::sem {

arma::Col<double> Normal::outcome_values(arma::Mat<double> const& data) const {
  arma::Col<double> out(level == 0 ? data.n_rows : cluster.own_rows[0]->n_elem);
  for (arma::uword i = 0; i < out.n_elem; ++i) out(i) = scale_.at(data, i);
  return out;
}

// r -= X b.
void Normal::subtract_fixed(arma::Mat<double> const& data, arma::Col<double>& r) const {
  auto const& columns = scan_->terms().terms.x;
  if (columns.all_static() && columns.values().n_rows == r.n_elem) {
    scan::multiply(-1.0, columns.values(), betas_.memptr(), 1.0, r.memptr());
    return;
  }
  arma::Col<double> scratch;
  for (arma::uword j = 0; j < betas_.n_elem; ++j)
    scan::add_scaled(r.n_elem, -betas_(j), columns.at(j, data, unit_rows(), scratch), r.memptr());
}

// r -= sum over levels of Z u.
void Normal::subtract_random(arma::Mat<double> const& data, arma::Col<double>& r) const {
  arma::Col<double> scratch;
  for (unsigned L = 0; L < n_levels; ++L) {
    auto const& columns = scan_->terms().terms.z[L];
    for (arma::uword j = 0; j < u[L].n_cols; ++j)
      scan::subtract_effect(columns.at(j, data, unit_rows(), scratch), u[L].colptr(j), *cluster.selectors[L],
                            r.memptr());
  }
}

arma::Mat<double> Normal::compute_residual(arma::Mat<double> const& data) const {
  arma::Col<double> r = outcome_values(data);
  subtract_fixed(data, r);
  subtract_random(data, r);
  subtract_phantoms(data, r);
  return r;
}

arma::Mat<double> Normal::compute_predicted(arma::Mat<double> const& data) const {
  arma::Col<double> r(level == 0 ? data.n_rows : cluster.own_rows[0]->n_elem, arma::fill::zeros);
  subtract_fixed(data, r);
  subtract_random(data, r);
  subtract_phantoms(data, r);
  r *= -1.0;
  return r;
}

arma::Mat<double> Normal::at_rows(arma::Mat<double> const& units) const {
  if (level == 0) return units;
  arma::Mat<double> out(cluster.rows->n_units(), units.n_cols);
  for (arma::uword j = 0; j < units.n_cols; ++j)
    for (arma::uword c = 0; c < units.n_rows; ++c)
      std::fill_n(out.colptr(j) + cluster.rows->start[c], cluster.rows->count[c], units(c, j));
  return out;
}

// What phantoms carry is part of the residual that a reader of the output sees.
arma::Mat<double> Normal::residual(arma::Mat<double> const& data) const {
  arma::Mat<double> r = compute_residual(data);
  if (!parts_[0].empty()) {
    parts_[0].loadings.means(data, unit_rows(), means_.residual);
    r += means_.residual;
  }
  return at_rows(r);
}

arma::Mat<double> Normal::predicted(arma::Mat<double> const& data) const {
  arma::Mat<double> p = compute_predicted(data);
  if (!parts_[0].empty()) {
    parts_[0].loadings.means(data, unit_rows(), means_.residual);
    p -= means_.residual;
  }
  return at_rows(p);
}

arma::Mat<double> Normal::compute_latent(arma::Mat<double> const& data) const {
  arma::uword const n = level == 0 ? data.n_rows : cluster.own_rows[0]->n_elem;
  arma::uword terms = 0;
  for (auto const& effects : u) terms += effects.n_cols;
  arma::Mat<double> out(n, terms);
  arma::uword at = 0;
  for (unsigned L = 0; L < n_levels; ++L)
    for (arma::uword j = 0; j < u[L].n_cols; ++j, ++at)
      for (arma::uword i = 0; i < n; ++i) out(i, at) = u[L]((*cluster.row_cluster[L])(i), j);
  return out;
}

arma::Mat<double> Normal::latent(arma::Mat<double> const& data) const {
  return at_rows(compute_latent(data));
}

// From products within clusters, without a pass over the units; empty when they do not serve.
arma::Col<double> Normal::cluster_log_likelihood() const {
  arma::Col<double> out;
  if (n_levels != 1 || !scan_->cluster_squares(betas_, &u[0], residVar(), out)) return {};
  double const v = residVar();
  double const each = -0.5 * (1.8378770664093453 + std::log(v));
  auto const& counts = cluster.selectors[0]->count;
  for (arma::uword c = 0; c < out.n_elem; ++c)
    out(c) = static_cast<double>(counts[c]) * each - 0.5 * out(c) / v;
  return out;
}

arma::Col<double> Normal::compute_logLiklihood(arma::Mat<double> const& data, int const& at_level) const {
  if (at_level == static_cast<int>(level) + 1) {
    arma::Col<double> sums = cluster_log_likelihood();
    if (!sums.is_empty()) return sums;
  }
  arma::Col<double> const r = compute_residual(data);
  arma::Col<double> const values = logNormPDF(r, residVar());
  int const above = at_level - static_cast<int>(level);
  if (above == 0) return values;
  if (above < 0 || static_cast<unsigned>(above) > cluster.n_levels())
    throw error_debug("The outcome has no likelihood at this level.");
  auto const& clusters = *cluster.selectors[static_cast<std::size_t>(above) - 1];
  arma::Col<double> sums(clusters.size());
  for (arma::uword c = 0; c < clusters.size(); ++c) {
    double sum = 0.0;
    for (arma::uword i = clusters.start[c]; i < clusters.start[c] + clusters.count[c]; ++i) sum += values(i);
    sums(c) = sum;
  }
  return sums;
}

arma::Col<double> Normal::logLiklihood(arma::Mat<double> const& data, int const& at_level) const {
  return compute_logLiklihood(data, at_level);
}

/// y - Xb - Zu at some units of the outcome.
void Normal::residuals_at(arma::Mat<double> const& data, arma::Col<arma::uword> const& units,
                          double* r) const {
  arma::uword const n = units.n_elem;
  for (arma::uword i = 0; i < n; ++i) r[i] = scale_.at(data, units(i));
  if (part_.column.size() < n) part_.column.resize(n);
  double* term = part_.column.data();
  auto const& design = scan_->terms().terms;
  for (arma::uword j = 0; j < betas_.n_elem; ++j) {
    design.x.at_units(j, data, unit_rows(), units, term);
    scan::add_scaled(n, -betas_(j), term, r);
  }
  for (unsigned L = 0; L < n_levels; ++L) {
    auto const& clusters = *cluster.row_cluster[L];
    for (arma::uword j = 0; j < u[L].n_cols; ++j) {
      design.z[L].at_units(j, data, unit_rows(), units, term);
      double const* effect = u[L].colptr(j);
      for (arma::uword i = 0; i < n; ++i) r[i] -= term[i] * effect[clusters(units(i))];
    }
  }
  auto const& phantoms_of_residual = parts_[0].loadings;
  for (arma::uword k = 0; k < phantoms_of_residual.size(); ++k) {
    double const loading = phantoms_of_residual.loadings()(0, k);
    double const* P = data.colptr(phantoms_of_residual.terms()[k].column);
    for (arma::uword i = 0; i < n; ++i)
      r[i] -= loading * P[level == 0 ? units(i) : (*cluster.own_rows[0])(units(i))];
  }
}

void Normal::addLogLiklihood(arma::Mat<double> const& data, int const& at_level,
                             arma::Col<arma::uword> const& units, double* out) const {
  int const above = at_level - static_cast<int>(level);
  if (above < 0 || static_cast<unsigned>(above) > cluster.n_levels())
    throw error_debug("The outcome has no likelihood at this level.");
  double const v = residVar();
  double const each = -0.5 * (1.8378770664093453 + std::log(v));
  double const w = 0.5 / v;
  arma::uword n = units.n_elem;
  if (above == 0) {
    if (part_.r.size() < n) part_.r.resize(n);
    residuals_at(data, units, part_.r.data());
    for (arma::uword k = 0; k < n; ++k) out[k] += each - w * part_.r[k] * part_.r[k];
    return;
  }
  auto const& clusters = *cluster.selectors[static_cast<std::size_t>(above) - 1];
  n = 0;
  for (arma::uword c : units) n += clusters.count[c];
  if (part_.units.size() < n) part_.units.resize(n);
  if (part_.r.size() < n) part_.r.resize(n);
  arma::uword at = 0;
  for (arma::uword c : units)
    for (arma::uword i = 0; i < clusters.count[c]; ++i) part_.units[at++] = clusters.start[c] + i;
  arma::Col<arma::uword> const members(part_.units.data(), n, false, true);
  residuals_at(data, members, part_.r.data());
  double const* r = part_.r.data();
  for (arma::uword k = 0; k < units.n_elem; ++k) {
    double sum = 0.0;
    arma::uword const count = clusters.count[units(k)];
    for (arma::uword i = 0; i < count; ++i, ++r) sum += each - w * *r * *r;
    out[k] += sum;
  }
}

double Normal::logLiklihood(arma::Mat<double> const& data) const {
  return arma::accu(compute_logLiklihood(data, static_cast<int>(level)));
}

arma::Col<double> Normal::compute_Us_LL(arma::Mat<double> const& data, int const& L) const {
  auto const index = static_cast<std::size_t>(L);
  if (L < 0 || index >= u.size()) throw error_debug("The outcome has no random effects at this level.");
  arma::Mat<double> const* mu = effect_means(data, static_cast<unsigned>(L));
  if (mu == nullptr) return logMvnrmPDF(u[index], Sigma[index]);
  return logMvnrmPDF(arma::Mat<double>(u[index] - *mu), Sigma_s(L));
}

arma::Col<double> Normal::compute_marginal_logLiklihood(arma::Mat<double> const& data) const {
  arma::Col<double> r;
  if (has_phantoms()) return marginal_with_phantoms(data);
  if (n_levels == 1 && scan_->cluster_squares(betas_, nullptr, residVar(), r))
    return scan::marginal_log_likelihood(r, scan_->effect_sums(), scan_->within(0).values(),
                                         cluster.selectors[0]->count, Sigma[0], residVar());
  r = outcome_values(data);
  subtract_fixed(data, r);
  if (n_levels == 0) return logNormPDF(r, residVar());
  return scan::marginal_log_likelihood(r, effect_designs(data), Sigma, residVar(), cluster);
}

std::vector<arma::Mat<double>> Normal::effect_designs(arma::Mat<double> const& data) const {
  std::vector<arma::Mat<double>> designs;
  arma::Col<double> scratch;
  for (unsigned L = 0; L < n_levels; ++L) {
    designs.emplace_back(n_units, n_random(L));
    for (arma::uword j = 0; j < n_random(L); ++j)
      std::copy_n(scan_->terms().terms.z[L].at(j, data, unit_rows(), scratch), n_units, designs[L].colptr(j));
  }
  return designs;
}

arma::Col<double> Normal::marginal_logLiklihood(arma::Mat<double> const& data) const {
  return compute_marginal_logLiklihood(data);
}

}  // namespace tovik::sem
