// What a regression tells of the data at its current parameters: predictions, residuals, log likelihoods.

#include <algorithm>
#include <cmath>
#include <utility>

#include "random/constants.hpp"
#include "random/densities.hpp"
#include "sem/outcomes/multi.hpp"
#include "sem/outcomes/regression.hpp"
#include "sem/scan/blas.hpp"
#include "sem/scan/cross_products.hpp"
#include "sem/scan/marginal.hpp"
#include "sem/wiring/weights.hpp"
#include "support/error.hpp"

namespace tovik::sem {

// r += sign X b.
void Regression::add_fixed(const arma::Mat<double>& data, double sign, arma::Col<double>& r) const {
  const auto& columns = scan_->terms().terms.x;
  if (columns.all_static() && columns.values().n_rows == r.n_elem) {
    scan::multiply(sign, columns.values(), betas_.memptr(), 1.0, r.memptr());
    return;
  }
  arma::Col<double>& scratch = means_.column;
  for (arma::uword j = 0; j < betas_.n_elem; ++j)
    scan::add_scaled(r.n_elem, sign * betas_(j), columns.at(j, data, unit_rows(), scratch), r.memptr());
}

// mu := X b; the first column sets what the others add to.
void Regression::set_fixed(const arma::Mat<double>& data, arma::Col<double>& mu) const {
  const auto& columns = scan_->terms().terms.x;
  if (betas_.is_empty()) {
    mu.zeros();
  } else if (columns.all_static() && columns.values().n_rows == mu.n_elem) {
    scan::multiply(1.0, columns.values(), betas_.memptr(), 0.0, mu.memptr());
  } else {
    arma::Col<double>& scratch = means_.column;
    const double* first = columns.at(0, data, unit_rows(), scratch);
    for (arma::uword i = 0; i < mu.n_elem; ++i) mu[i] = betas_(0) * first[i];
    for (arma::uword j = 1; j < betas_.n_elem; ++j)
      scan::add_scaled(mu.n_elem, betas_(j), columns.at(j, data, unit_rows(), scratch), mu.memptr());
  }
}

// r += sign times the sum over levels of Z u.
void Regression::add_random(const arma::Mat<double>& data, double sign, arma::Col<double>& r) const {
  arma::Col<double>& scratch = means_.column;
  for (unsigned L = 0; L < n_levels; ++L) {
    const auto& columns = scan_->terms().terms.z[L];
    for (arma::uword j = 0; j < u[L].n_cols; ++j)
      scan::add_effect(sign, columns.at(j, data, unit_rows(), scratch), u[L].colptr(j), *cluster.selectors[L],
                       r.memptr());
  }
}

void Regression::add_predictor(const arma::Mat<double>& data, double sign, arma::Col<double>& r) const {
  add_fixed(data, sign, r);
  add_random(data, sign, r);
  add_phantoms(data, sign, r);
}

void Regression::predictor(const arma::Mat<double>& data, arma::Col<double>& mu) const {
  mu.set_size(n_units);
  set_fixed(data, mu);
  add_random(data, 1.0, mu);
  add_phantoms(data, 1.0, mu);
}

arma::Mat<double> Regression::compute_residual(const arma::Mat<double>& data) const {
  arma::Col<double> r(n_units);
  copy_response(data, r.memptr());
  add_predictor(data, -1.0, r);
  return r;
}

double Regression::residual_error(const arma::Mat<double>& data) const {
  if (scan_->uses_products() || scan_->r().n_elem != n_units) return 0.0;
  const arma::Mat<double> r = Regression::compute_residual(data);
  double worst = 0.0, size = 1.0;
  for (arma::uword i = 0; i < n_units; ++i) {
    const double others = link == nullptr ? 0.0 : given_others_(i);
    worst = std::max(worst, std::fabs(r(i) - others - scan_->r()(i)));
    size = std::max(size, std::fabs(scan_->y()(i)));
  }
  return worst / size;
}

arma::Mat<double> Regression::compute_predicted(const arma::Mat<double>& data) const {
  arma::Col<double> mu;
  predictor(data, mu);
  return mu;
}

arma::Mat<double> Regression::at_rows(const arma::Mat<double>& units) const {
  if (level == 0) return units;
  arma::Mat<double> out(cluster.rows->n_units(), units.n_cols);
  for (arma::uword j = 0; j < units.n_cols; ++j)
    for (arma::uword c = 0; c < units.n_rows; ++c)
      std::fill_n(out.colptr(j) + cluster.rows->start[c], cluster.rows->count[c], units(c, j));
  return out;
}

// What phantoms carry is part of the residual that a reader of the output sees.
arma::Mat<double> Regression::residual(const arma::Mat<double>& data) const {
  arma::Mat<double> r = compute_residual(data);
  if (!parts_[0].empty()) r += phantom_means(data);
  return at_rows(r);
}

arma::Mat<double> Regression::predicted(const arma::Mat<double>& data) const {
  arma::Mat<double> p = compute_predicted(data);
  if (!parts_[0].empty()) p -= phantom_means(data);
  return at_rows(p);
}

arma::Mat<double> Regression::compute_latent(const arma::Mat<double>&) const {
  arma::uword const n = n_units;
  arma::uword terms = 0;
  for (const auto& effects : u) terms += effects.n_cols;
  arma::Mat<double> out(n, terms);
  arma::uword at = 0;
  for (unsigned L = 0; L < n_levels; ++L)
    for (arma::uword j = 0; j < u[L].n_cols; ++j, ++at)
      for (arma::uword i = 0; i < n; ++i) out(i, at) = u[L]((*cluster.row_cluster[L])(i), j);
  return out;
}

arma::Mat<double> Regression::latent(const arma::Mat<double>& data) const {
  return at_rows(compute_latent(data));
}

void Regression::validate_level(int above) const {
  if (above < 0 || static_cast<unsigned>(above) > cluster.n_levels())
    throw error_debug("The outcome has no likelihood at this level.");
}

arma::Col<double> Regression::compute_logLiklihood(const arma::Mat<double>& data, const int& at_level) const {
  const int above = at_level - static_cast<int>(level);
  validate_level(above);
  arma::Col<double> sums;
  if (above > 0 && link == nullptr && log_likelihood_from_sums(static_cast<unsigned>(above), sums))
    return sums;
  arma::Col<double> values;
  densities(data, values);
  if (sampling() != nullptr) weigh(sampling()->rows, values);
  return sums_at(static_cast<unsigned>(above), std::move(values));
}

/// The values of the units, summed in the clusters of the level above with this number.
arma::Col<double> Regression::sums_at(unsigned above, arma::Col<double> values) const {
  if (above == 0) return values;
  return cluster.selectors[above - 1]->sums(values);
}

arma::Col<double> Regression::observed_logLiklihood(const arma::Mat<double>& data,
                                                    const int& at_level) const {
  if (link != nullptr) throw error_debug("The observed cells of a block have one density.");
  if (missing_rows.is_empty()) return compute_logLiklihood(data, at_level);
  const int above = at_level - static_cast<int>(level);
  validate_level(above);
  arma::Col<double> values;
  predictor(data, values);
  unit_log_density(data, nullptr, values.n_elem, values.memptr(), values.memptr());
  if (sampling() != nullptr) weigh(sampling()->rows, values);
  for (arma::uword i : missing_rows) values(i) = 0.0;
  return sums_at(static_cast<unsigned>(above), std::move(values));
}

// What an unknown value moves, one of a unit of this equation or of a whole cluster: see weighted.
arma::Col<double> Regression::logLiklihood(const arma::Mat<double>& data, const int& at_level) const {
  if (sampling() == nullptr) return compute_logLiklihood(data, at_level);
  const int above = at_level - static_cast<int>(level);
  validate_level(above);
  arma::Col<double> values;
  densities(data, values);
  if (above > 0) weigh(sampling()->within, values);
  return sums_at(static_cast<unsigned>(above), std::move(values));
}

/// The part of Xb at some units that belongs to columns which never change: one that was just computed for
/// the same units and coefficients serves again, for Metropolis steps ask twice.
const double* Regression::static_part(const arma::Mat<double>& data,
                                      const arma::Col<arma::uword>& units) const {
  arma::uword const n = units.n_elem, k = betas_.n_elem;
  const auto& columns = scan_->terms().terms.x;
  if (part_.was_filled == columns.filled() && part_.of_units.size() == n && part_.of_betas.size() == k &&
      std::equal(units.begin(), units.end(), part_.of_units.begin()) &&
      std::equal(betas_.begin(), betas_.end(), part_.of_betas.begin()))
    return part_.fixed.data();
  part_.was_filled = columns.filled();
  part_.of_units.assign(units.begin(), units.end());
  part_.of_betas.assign(betas_.begin(), betas_.end());
  part_.fixed.assign(n, 0.0);
  const arma::uword* unit = units.memptr();
  for (arma::uword j = 0; j < k; ++j) {
    if (!columns.is_kept(j)) continue;
    const double b = betas_(j);
    const double* column = columns.stored(j, data, unit_rows());
    for (arma::uword i = 0; i < n; ++i) part_.fixed[i] += b * column[unit[i]];
  }
  return part_.fixed.data();
}

void Regression::predictor_at(const arma::Mat<double>& data, const arma::Col<arma::uword>& units,
                              double* mu) const {
  arma::uword const n = units.n_elem;
  const arma::uword* unit = units.memptr();
  std::copy_n(static_part(data, units), n, mu);
  if (part_.column.size() < n) part_.column.resize(n);
  double* term = part_.column.data();
  const auto* rows = unit_rows();
  const auto& design = scan_->terms().terms;
  for (arma::uword j = 0; j < betas_.n_elem; ++j) {
    if (design.x.is_kept(j)) continue;
    const double b = betas_(j);
    if (const double* column = design.x.stored(j, data, rows)) {
      for (arma::uword i = 0; i < n; ++i) mu[i] += b * column[unit[i]];
      continue;
    }
    design.x.at_units(j, data, rows, units, term);
    scan::add_scaled(n, b, term, mu);
  }
  for (unsigned L = 0; L < n_levels; ++L) {
    const arma::uword* clusters = cluster.row_cluster[L]->memptr();
    for (arma::uword j = 0; j < u[L].n_cols; ++j) {
      const double* effect = u[L].colptr(j);
      if (const double* column = design.z[L].stored(j, data, rows)) {
        for (arma::uword i = 0; i < n; ++i) mu[i] += column[unit[i]] * effect[clusters[unit[i]]];
        continue;
      }
      design.z[L].at_units(j, data, rows, units, term);
      for (arma::uword i = 0; i < n; ++i) mu[i] += term[i] * effect[clusters[unit[i]]];
    }
  }
  const auto& phantoms_of_residual = parts_[0].loadings;
  const scan::row_scale scale_of = phantom_scale();
  for (arma::uword k = 0; k < phantoms_of_residual.size(); ++k) {
    const double loading = phantoms_of_residual.loadings()(0, k);
    const double* P = data.colptr(phantoms_of_residual.terms()[k].column);
    for (arma::uword i = 0; i < n; ++i) {
      const double sd = scale_of.is_one() ? 1.0 : scale_of.sd(unit[i]);
      mu[i] += sd * loading * P[rows == nullptr ? unit[i] : (*rows)(unit[i])];
    }
  }
}

const double* Regression::log_densities_at(const arma::Mat<double>& data,
                                           const arma::Col<arma::uword>& units) const {
  arma::uword const n = units.n_elem;
  if (part_.mu.size() < n) part_.mu.resize(n);
  if (link != nullptr) {
    link->densities_at(data, units, part_.mu.data());
    return part_.mu.data();
  }
  predictor_at(data, units, part_.mu.data());
  unit_log_density(data, units.memptr(), n, part_.mu.data(), part_.mu.data());
  return part_.mu.data();
}

void Regression::addLogLiklihood(const arma::Mat<double>& data, const int& at_level,
                                 const arma::Col<arma::uword>& units, double* out) const {
  const int above = at_level - static_cast<int>(level);
  validate_level(above);
  if (above == 0) {
    const double* each = log_densities_at(data, units);
    for (arma::uword k = 0; k < units.n_elem; ++k) out[k] += each[k];
    return;
  }
  const auto& clusters = *cluster.selectors[static_cast<std::size_t>(above) - 1];
  arma::uword const n = clusters.list_units(units, part_.units);
  const double* each = log_densities_at(data, arma::Col<arma::uword>(part_.units.data(), n, false, true));
  if (sampling() != nullptr) {
    const arma::Col<double>& g = sampling()->within;
    if (part_.column.size() < n) part_.column.resize(n);
    for (arma::uword i = 0; i < n; ++i) part_.column[i] = g(part_.units[i]) * each[i];
    each = part_.column.data();
  }
  clusters.add_sums(units, each, out);
}

double Regression::logLiklihood(const arma::Mat<double>& data) const {
  return arma::accu(compute_logLiklihood(data, static_cast<int>(level)));
}

estimator::likelihood_function Regression::likelihoodFunc(const likelihood_type& kind) const {
  using units_of = arma::Col<arma::uword>;
  if (kind == likelihood_type::random_effect) {
    return {source(), [this](const arma::Mat<double>& data, const int& at) {
              return compute_Us_LL(data, at - static_cast<int>(level) - 1);
            }};
  }
  return {source(), [this](const arma::Mat<double>& data, const int& at) { return logLiklihood(data, at); },
          [this](const arma::Mat<double>& data, const int& at, const units_of& units, double* out) {
            addLogLiklihood(data, at, units, out);
          }};
}

arma::Col<double> Regression::compute_Us_LL(const arma::Mat<double>& data, const int& L) const {
  const auto index = static_cast<std::size_t>(L);
  if (L < 0 || index >= u.size()) throw error_debug("The outcome has no random effects at this level.");
  const arma::Mat<double>* mu = effect_means(data, static_cast<unsigned>(L));
  if (mu == nullptr) return logMvnrmPDF(u[index], Sigma[index]);
  return logMvnrmPDF(arma::Mat<double>(u[index] - *mu), Sigma_s(L));
}

arma::Mat<double> Regression::covariance(unsigned place) const {
  if (place > 0) return Sigma[place - 1];
  return arma::Mat<double>{has_one_variance() ? residual_variance() : 1.0};
}

arma::Col<double> Regression::fixed_residual(const arma::Mat<double>& data) const {
  arma::Col<double> r(n_units);
  copy_response(data, r.memptr());
  add_fixed(data, -1.0, r);
  return r;
}

arma::Col<double> Regression::compute_marginal_logLiklihood(const arma::Mat<double>& data) const {
  if (link != nullptr) throw error_debug("The effects of a block have one density.");
  arma::Col<double> out;
  const bool serves = n_levels > 0 && !has_phantoms() && variances().is_one();
  if (scan::cluster_statistics* sums = serves ? scan_->statistics(betas_) : nullptr)
    if (sums->marginal(betas_.memptr(), Sigma, residVar(), out)) return out;
  return integrated_density(data, {});
}

arma::Col<double> Regression::observed_marginal_logLiklihood(const arma::Mat<double>& data) const {
  return missing_rows.is_empty() ? marginal_logLiklihood(data) : integrated_density(data, missing_rows);
}

/// The density with the random effects integrated out, phantoms given: then the residual and the effects have
/// the mean that these imply and what they leave of the variances. A unit that is left out loses its residual
/// and its row of Z, which makes it an independent 0 with variance v: its density is taken off again. Where
/// units differ in variance they are brought to variance 1 by their standard deviations, whose logarithms are
/// the Jacobian.
arma::Col<double> Regression::integrated_density(const arma::Mat<double>& data,
                                                 const arma::Col<arma::uword>& left_out) const {
  arma::Col<double> r = fixed_residual(data);
  add_phantoms(data, -1.0, r);
  read_variances(data, nullptr, 0);
  const scan::row_scale each = variances();
  if (n_levels == 0) {
    arma::Col<double> v(n_units);
    for (arma::uword i = 0; i < n_units; ++i) v(i) = each.variance(i);
    arma::Col<double> out = logNormPDF(r, v);
    for (arma::uword i : left_out) out(i) = 0.0;
    return out;
  }
  std::vector<arma::Mat<double>> designs = effect_designs(data), left;
  for (unsigned L = 0; L < n_levels; ++L) {
    left.push_back(Sigma_s(static_cast<int>(L)));
    const arma::Mat<double>* mu = effect_means(data, L);
    if (mu != nullptr) scan::subtract_effects(designs[L], *mu, *cluster.selectors[L], r.memptr());
  }
  for (arma::uword i : left_out) {
    r(i) = 0.0;
    for (auto& Z : designs) Z.row(i).zeros();
  }
  if (!each.is_one()) {
    for (arma::uword i = 0; i < n_units; ++i) {
      const double inverse_sd = std::sqrt(each.precision(i));
      r(i) *= inverse_sd;
      for (auto& Z : designs) Z.row(i) *= inverse_sd;
    }
  }
  const double v = each.is_one() ? each.value() : 1.0;
  arma::Col<double> out = scan::marginal_log_likelihood(r, designs, left, v, cluster);
  const arma::Col<arma::uword>& tops = *cluster.row_cluster[n_levels - 1];
  for (arma::uword i : left_out) out(tops(i)) += 0.5 * (log_2_pi + std::log(each.variance(i)));
  for (arma::uword i = 0; i < n_units && !each.is_one(); ++i)
    out(tops(i)) += 0.5 * std::log(each.precision(i));
  return out;
}

std::vector<arma::Mat<double>> Regression::effect_designs(const arma::Mat<double>& data) const {
  std::vector<arma::Mat<double>> designs;
  arma::Col<double> scratch;
  for (unsigned L = 0; L < n_levels; ++L) {
    designs.emplace_back(n_units, n_random(L));
    for (arma::uword j = 0; j < n_random(L); ++j)
      std::copy_n(scan_->terms().terms.z[L].at(j, data, unit_rows(), scratch), n_units, designs[L].colptr(j));
  }
  return designs;
}

arma::Col<double> Regression::marginal_logLiklihood(const arma::Mat<double>& data) const {
  return compute_marginal_logLiklihood(data);
}

}  // namespace tovik::sem
