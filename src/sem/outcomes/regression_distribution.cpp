// What an equation says of an unknown that stands in it: normal factors of a variable or a coefficient,
// inverse gamma factors of the residual variance.

#include <algorithm>
#include <cmath>
#include <utility>

#include "sem/autosolver/inv_gamma.hpp"
#include "sem/autosolver/normal.hpp"
#include "sem/autosolver/normal_1D.hpp"
#include "sem/outcomes/regression.hpp"
#include "sem/outcomes/solved_units.hpp"
#include "sem/scan/blas.hpp"
#include "support/error.hpp"

namespace tovik::sem {

namespace {

/// The units of the clusters `which`, one cluster after another.
arma::Col<arma::uword> units_in(const estimator::selector& clusters, const arma::Col<arma::uword>& which,
                                std::vector<arma::uword>& counts) {
  counts.clear();
  std::vector<arma::uword> out;
  for (arma::uword c : which) {
    counts.push_back(clusters.count[c]);
    for (arma::uword i = 0; i < clusters.count[c]; ++i) out.push_back(clusters.start[c] + i);
  }
  return arma::Col<arma::uword>(out);
}

arma::Col<arma::uword> all_units(arma::uword n) {
  return n == 0 ? arma::Col<arma::uword>() : arma::regspace<arma::Col<arma::uword>>(0, n - 1);
}

}  // namespace

void Regression::response_at(const arma::Mat<double>& data, const arma::Col<arma::uword>& units,
                             double* out) const {
  arma::Col<double>& all = means_.e;
  all.set_size(n_units);
  copy_response(data, all.memptr());
  for (arma::uword k = 0; k < units.n_elem; ++k) out[k] = all(units(k));
}

void Regression::predict_solved(const arma::Mat<double>& data, solved_units& at) const {
  read_variances(data, at.all ? nullptr : at.units.memptr(), at.units.n_elem);
  if (at.all)
    predictor(data, at.mu);
  else
    predictor_at(data, at.units, at.mu.memptr());
}

void Regression::read_responses(const arma::Mat<double>& data, solved_units& at) const {
  if (at.all)
    copy_response(data, at.e.data());
  else
    response_at(data, at.units, at.e.data());
}

/// A, and e = y - eta + A x at the current value x of the unknown.
void Regression::read_solved(const arma::Mat<double>& data, const autosolver::solution& how,
                             solved_units& at) const {
  how.A_at(data, betas_, at.at_rows(), at.A.data());
  if (at.all && how.only_position() >= 0) {
    read_variances(data, nullptr, n_units);
    read_without(data, static_cast<arma::uword>(how.only_position()), at);
    return;
  }
  predict_solved(data, at);
  how.values_at(data, at.at_rows(), at.x.data());
  read_responses(data, at);
  for (arma::uword k = 0; k < at.units.n_elem; ++k) at.e[k] += at.A[k] * at.x[k] - at.mu(k);
}

/// e of every unit, for an unknown that is one column: eta without it.
void Regression::read_without(const arma::Mat<double>& data, arma::uword position, solved_units& at) const {
  copy_response(data, at.e.data());
  arma::Col<double> e(at.e.data(), n_units, false, true);
  const auto& columns = scan_->terms().terms.x;
  arma::Col<double>& scratch = means_.column;
  for (arma::uword j = 0; j < betas_.n_elem; ++j) {
    if (j == position || betas_(j) == 0.0) continue;
    scan::add_scaled(n_units, -betas_(j), columns.at(j, data, unit_rows(), scratch), e.memptr());
  }
  add_random(data, -1.0, e);
  add_phantoms(data, -1.0, e);
}

Regression::told Regression::told_of_shift(const arma::Mat<double>& data, const autosolver::solution& how,
                                           solved_units& at) const {
  how.A_at(data, betas_, at.at_rows(), at.A.data());
  predict_solved(data, at);
  read_responses(data, at);
  const scan::row_scale r = variances();
  told out = {0.0, 0.0};
  for (arma::uword k = 0; k < at.units.n_elem; ++k) {
    const double w = at.A[k] * r.precision(at.units(k));
    out.q += w * at.A[k];
    out.d += w * (at.e[k] - at.mu(k));
  }
  return out;
}

Regression::told Regression::told_of_scale(const arma::Mat<double>& data, const autosolver::solution& how,
                                           solved_units& at) const {
  read_solved(data, how, at);
  how.values_at(data, at.at_rows(), at.x.data());
  const scan::row_scale r = variances();
  told out = {0.0, 0.0};
  for (arma::uword k = 0; k < at.units.n_elem; ++k) {
    const double part = at.A[k] * at.x[k], w = part * r.precision(at.units(k));
    out.q += w * part;
    out.d += w * at.e[k];
  }
  return out;
}

autosolver::normal Regression::_dist_compute(const arma::Mat<double>& data, autosolver::normal previous,
                                             const autosolver::solution& how, solved_units& at) const {
  read_solved(data, how, at);
  const scan::row_scale r = at.counts.empty() ? variances() : effects_scale();
  if (at.all && at.counts.empty() && r.is_one() && how.only_position() >= 0) {
    const double a = betas_(static_cast<arma::uword>(how.only_position()));
    previous.multiply(a * a / r.value(), a / r.value(), at.e.data(), at.n());
    return previous;
  }
  at.sum([&](arma::uword k, double& q, double& d) {
    const double w = at.A[k] * r.precision(at.units(k));
    q += w * at.A[k];
    d += w * at.e[k];
  });
  previous.multiply(at.q.data(), at.d.data(), at.n());
  return previous;
}

autosolver::normal Regression::_dist_self(const arma::Mat<double>& data, autosolver::normal previous,
                                          solved_units& at) const {
  predict_solved(data, at);
  const scan::row_scale r = variances();
  previous.set_size(at.units.n_elem);
  for (arma::uword k = 0; k < at.units.n_elem; ++k) {
    previous.mean(k) = at.mu(k);
    previous.variance(k) = r.variance(at.units(k));
  }
  return previous;
}

// The values E of a place are N(Lambda P, C) in each unit: with l the loadings of one phantom, precision
// l'inv(C)l and linear term l'inv(C)(E - other phantoms).
autosolver::normal Regression::_dist_phantom(const arma::Mat<double>& data, autosolver::normal previous,
                                             unsigned place, arma::uword k) {
  read_values(place, data);
  const phantom_loadings& here = parts_[place].loadings;
  const arma::Mat<double>& E = parts_[place].values();
  const arma::Col<arma::uword>* rows = phantom_rows(place);
  const arma::Col<double> l = here.loadings().col(k);
  const arma::Col<double> w = here.precision() * l;
  const std::vector<double> q(E.n_rows, arma::dot(l, w));
  arma::Col<double> d = E * w;
  for (arma::uword j = 0; j < here.size(); ++j) {
    const double shared = j == k ? 0.0 : arma::dot(here.loadings().col(j), w);
    if (shared == 0.0) continue;
    const double* P = data.colptr(here.terms()[j].column);
    for (arma::uword i = 0; i < d.n_elem; ++i) d(i) -= shared * P[rows == nullptr ? i : (*rows)(i)];
  }
  previous.multiply(q.data(), d.memptr(), d.n_elem);
  return previous;
}

autosolver::normal_1D Regression::_dist_param(const arma::Mat<double>& data, autosolver::normal_1D previous,
                                              const autosolver::solution& how, solved_units& at) const {
  read_solved(data, how, at);
  const scan::row_scale r = scale();
  double q = 0.0, d = 0.0;
  for (arma::uword k = 0; k < at.units.n_elem; ++k) {
    const double w = at.A[k] * r.precision(at.units(k));
    q += w * at.A[k];
    d += w * at.e[k];
  }
  return previous.multiply(q, d);
}

// Precisions of rows are weights over the residual variance, so that the weights alone are left.
autosolver::inv_gamma Regression::_dist_variance(const arma::Mat<double>& data,
                                                 autosolver::inv_gamma previous, solved_units& at) const {
  if (at.units.is_empty()) throw error_debug("Null distribuiton not allowed.");
  read_variances(data, nullptr, 0);
  predictor(data, at.mu);
  response_at(data, at.units, at.e.data());
  const scan::row_scale r = scale();
  const double v = residual_variance();
  double squares = 0.0;
  for (arma::uword k = 0; k < at.units.n_elem; ++k) {
    const double e = at.e[k] - at.mu(k);
    squares += e * e * (r.is_one() ? 1.0 : v * r.precision(k));
  }
  previous.shape += 0.5 * static_cast<double>(at.units.n_elem);
  previous.scale += 0.5 * squares;
  return previous;
}

std::shared_ptr<solved_units> Regression::units_within(const int& at,
                                                       const arma::Col<arma::uword>& units) const {
  const int above = at - static_cast<int>(level);
  if (above < 0 || static_cast<unsigned>(above) > cluster.n_levels())
    throw error_debug("Unable to get autosolver function for Normal.");
  std::vector<arma::uword> counts;
  arma::Col<arma::uword> own =
      above == 0 ? units : units_in(*cluster.selectors[static_cast<std::size_t>(above) - 1], units, counts);
  auto out = std::make_shared<solved_units>(std::move(own), unit_rows(), n_units);
  out->counts = std::move(counts);
  return out;
}

std::shared_ptr<solved_units> Regression::every_unit() const {
  return units_within(static_cast<int>(level), all_units(n_units));
}

autosolver::contribution<autosolver::normal> Regression::distributionFunc(
    const distribution_type& kind, const autosolver::solution& how, const int& at,
    const arma::Col<arma::uword>& units) const {
  if (kind != distribution_type::fixed && kind != distribution_type::compute)
    throw error_debug("Unable to get autosolver function for Normal.");
  return [this, how, place = units_within(at, units)](const arma::Mat<double>& data,
                                                      autosolver::normal previous) {
    return _dist_compute(data, std::move(previous), how, *place);
  };
}

autosolver::contribution<autosolver::normal> Regression::phantomFunc(unsigned place, arma::uword k) {
  if (place >= parts_.size() || k >= parts_[place].loadings.size())
    throw error_debug("The outcome has no such phantom.");
  return [this, place, k](const arma::Mat<double>& data, autosolver::normal previous) {
    return _dist_phantom(data, std::move(previous), place, k);
  };
}

autosolver::contribution<autosolver::normal_1D> Regression::distributionFunc(
    const distribution_type& kind, const autosolver::solution& how) const {
  if (kind != distribution_type::param) throw error_debug("Unable to get autosolver function for Normal.");
  return [this, how, place = every_unit()](const arma::Mat<double>& data, autosolver::normal_1D previous) {
    return _dist_param(data, std::move(previous), how, *place);
  };
}

autosolver::contribution<autosolver::inv_gamma> Regression::varianceFunc() const {
  if (!has_units() || phantoms_of_residual() || !variances().is_one())
    throw error_debug("Unable to get autosolver function for Normal.");
  return [this, place = every_unit()](const arma::Mat<double>& data, autosolver::inv_gamma previous) {
    return _dist_variance(data, previous, *place);
  };
}

autosolver::contribution<autosolver::normal> Regression::dist_self(
    const arma::Col<arma::uword>& units) const {
  return [this, place = units_within(static_cast<int>(level), units)](const arma::Mat<double>& data,
                                                                      autosolver::normal previous) {
    return _dist_self(data, std::move(previous), *place);
  };
}

}  // namespace tovik::sem
