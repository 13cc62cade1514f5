// What a normal outcome tells of the data at its current parameters: predictions, residuals, log likelihoods.

#include <algorithm>
#include <cmath>

#include "random/densities.hpp"
#include "sem/outcomes/normal.hpp"
#include "sem/scan/blas.hpp"
#include "sem/scan/marginal.hpp"
#include "support/error.hpp"

namespace tovik::sem {

arma::Col<double> Normal::outcome_values(arma::Mat<double> const& data) const {
  if (level == 0 && !scale_.has_transform()) return data.col(y(0));
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

double Normal::residual_error(arma::Mat<double> const& data) const {
  if (scan_->uses_products() || scan_->r().n_elem != n_units) return 0.0;
  arma::Mat<double> const r = compute_residual(data);
  double worst = 0.0, size = 1.0;
  for (arma::uword i = 0; i < n_units; ++i) {
    worst = std::max(worst, std::fabs(r(i) - scan_->r()(i)));
    size = std::max(size, std::fabs(scan_->y()(i)));
  }
  return worst / size;
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

arma::Col<double> Normal::compute_logLiklihood(arma::Mat<double> const& data, int const& at_level) const {
  int const above = at_level - static_cast<int>(level);
  if (above > 0 && parts_[0].empty()) {
    scan::cluster_statistics* sums = scan_->statistics(betas_);
    arma::Col<double> out;
    if (sums != nullptr &&
        sums->conditional(betas_.memptr(), u, residVar(), static_cast<unsigned>(above), out))
      return out;
  }
  arma::Col<double> values = outcome_values(data);
  subtract_fixed(data, values);
  subtract_random(data, values);
  subtract_phantoms(data, values);
  double const v = residVar(), each = -0.5 * (1.8378770664093453 + std::log(v)), w = 0.5 / v;
  for (double& value : values) value = each - w * value * value;
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

/// The part of Xb at some units that belongs to columns which never change: one that was just computed for
/// the same units and coefficients serves again, for Metropolis steps ask twice.
double const* Normal::static_part(arma::Mat<double> const& data, arma::Col<arma::uword> const& units) const {
  arma::uword const n = units.n_elem, k = betas_.n_elem;
  auto const& columns = scan_->terms().terms.x;
  if (part_.was_filled == columns.filled() && part_.of_units.size() == n && part_.of_betas.size() == k &&
      std::equal(units.begin(), units.end(), part_.of_units.begin()) &&
      std::equal(betas_.begin(), betas_.end(), part_.of_betas.begin()))
    return part_.fixed.data();
  part_.was_filled = columns.filled();
  part_.of_units.assign(units.begin(), units.end());
  part_.of_betas.assign(betas_.begin(), betas_.end());
  part_.fixed.assign(n, 0.0);
  arma::uword const* unit = units.memptr();
  for (arma::uword j = 0; j < k; ++j) {
    if (!columns.is_kept(j)) continue;
    double const b = betas_(j);
    double const* column = columns.stored(j, data, unit_rows());
    for (arma::uword i = 0; i < n; ++i) part_.fixed[i] += b * column[unit[i]];
  }
  return part_.fixed.data();
}

/// y - Xb - Zu at some units of the outcome.
void Normal::residuals_at(arma::Mat<double> const& data, arma::Col<arma::uword> const& units,
                          double* r) const {
  arma::uword const n = units.n_elem;
  arma::uword const* unit = units.memptr();
  double const* fixed_part = static_part(data, units);
  if (double const* cells = scale_.cells(data)) {
    for (arma::uword i = 0; i < n; ++i) r[i] = cells[unit[i]] - fixed_part[i];
  } else {
    for (arma::uword i = 0; i < n; ++i) r[i] = scale_.at(data, unit[i]) - fixed_part[i];
  }
  if (part_.column.size() < n) part_.column.resize(n);
  double* term = part_.column.data();
  auto const* rows = unit_rows();
  auto const& design = scan_->terms().terms;
  for (arma::uword j = 0; j < betas_.n_elem; ++j) {
    if (design.x.is_kept(j)) continue;
    double const b = betas_(j);
    if (double const* column = design.x.stored(j, data, rows)) {
      for (arma::uword i = 0; i < n; ++i) r[i] -= b * column[unit[i]];
      continue;
    }
    design.x.at_units(j, data, rows, units, term);
    scan::add_scaled(n, -b, term, r);
  }
  for (unsigned L = 0; L < n_levels; ++L) {
    arma::uword const* clusters = cluster.row_cluster[L]->memptr();
    for (arma::uword j = 0; j < u[L].n_cols; ++j) {
      double const* effect = u[L].colptr(j);
      if (double const* column = design.z[L].stored(j, data, rows)) {
        for (arma::uword i = 0; i < n; ++i) r[i] -= column[unit[i]] * effect[clusters[unit[i]]];
        continue;
      }
      design.z[L].at_units(j, data, rows, units, term);
      for (arma::uword i = 0; i < n; ++i) r[i] -= term[i] * effect[clusters[unit[i]]];
    }
  }
  auto const& phantoms_of_residual = parts_[0].loadings;
  for (arma::uword k = 0; k < phantoms_of_residual.size(); ++k) {
    double const loading = phantoms_of_residual.loadings()(0, k);
    double const* P = data.colptr(phantoms_of_residual.terms()[k].column);
    for (arma::uword i = 0; i < n; ++i) r[i] -= loading * P[rows == nullptr ? unit[i] : (*rows)(unit[i])];
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
  if (scan::cluster_statistics* sums = n_levels > 0 ? scan_->statistics(betas_) : nullptr)
    if (sums->marginal(betas_.memptr(), Sigma, residVar(), r)) return r;
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
