#include "manifest/var.hpp"

#include <algorithm>
#include <cmath>

#include "sem/predictors/predictor_starts.hpp"
#include "sem/scan/blas.hpp"
#include "support/error.hpp"

namespace tovik::manifest {

namespace {

constexpr double flat = sem::component_setup::flat;

/// Units whose values tell about the parameters.
arma::Col<arma::uword> telling_units(const member& m, bool observed_only) {
  std::vector<arma::uword> out;
  arma::uword next = 0;
  for (arma::uword i = 0; i < m.values[0].n_rows; ++i) {
    const bool is_missing = next < m.missing.n_elem && m.missing[next] == i;
    next += is_missing ? 1 : 0;
    if (!is_missing || !observed_only) out.push_back(i);
  }
  return arma::Col<arma::uword>(out);
}

double observed_variance(const member& m) {
  const arma::Col<double> all = m.values[0].col(0);
  const arma::Col<double> seen = all.elem(arma::find_finite(all));
  const double variance = seen.n_elem > 1 ? arma::var(seen) : 0.0;
  if (variance > 0.0) return variance;
  throw error("ERROR: Variable '" + m.variable->name + "' does not vary.\n       Remove it and rerun.");
}

bool has_cluster_variances(const Data& data, const member& m, const options& how) {
  return how.hev && data.n_levels() == 2 && m.level == 0;
}

/// The report says that of single-level data.
int residual_prior(const Data& data, const options& how) {
  return data.n_levels() == 1 ? 1 : how.prior_resvar;
}

}  // namespace

Var::Var(Data& data, std::size_t k, const std::shared_ptr<Random>& rng, const options& how)
    : Var(data, k, rng, how, flat, {}) {
  const member& m = variable();
  const double total = observed_variance(m);
  residual_ = VarE(total, has_cluster_variances(data, m, how) ? data.row(1) : 0);
  if (residual_.by_cluster()) residual_.spread(data.above(0, 1));
  residual_.prior = residual_prior(data, how);
  residual_.unit = how.scaled ? total : 1.0;
  residual_.floor = 1e-10 * total;
  arma::Col<double> values = m.values[0].col(0);
  sem::fill_values(values, *rng_);
  score_.col(0) = values;
  data_.set(k, arma::regspace<arma::Col<arma::uword>>(0, values.n_elem - 1), score_);
  add_effects(flat, total);
}

Var::Var(Data& data, std::size_t k, const std::shared_ptr<Random>& rng, const options& how, double prior,
         const arma::Mat<double>& held)
    : data_(data),
      k_(k),
      rng_(rng),
      how_(how),
      score_(data.at(k).values[0].n_rows, data.at(k).columns.size(), arma::fill::zeros),
      predictors_(data.predictors_of(k)),
      rows_(telling_units(data.at(k), how.mice)),
      coefficient_step_(predictors_.n_elem, sem::scan::coefficient_prior::ridge(prior)),
      residual_(held.is_empty() ? arma::Mat<double>(1, 1, arma::fill::ones) : held),
      mean_(arma::size(score_), arma::fill::zeros),
      one_(1, 1, arma::fill::ones) {
  whole_.zeros(data.col(variable().level));
  gamma_.zeros(predictors_.n_elem, score_.n_cols);
  drawn_.set_size(missing().n_elem, score_.n_cols);
  sem::component_setup observed = component();
  observed.n_units -= missing().n_elem;
  sem::require_units(observed, predictors_.n_elem + 2);
  if (!held.is_empty()) add_effects(prior, 1.0);
}

sem::component_setup Var::component() const {
  const member& m = variable();
  sem::component_setup out;
  out.rng = rng_;
  out.n_units = score_.n_rows;
  out.n_predictors = predictors_.n_elem - 1;  // beside the intercept
  out.dim = score_.n_cols;
  out.name = m.variable->name;
  out.level = data_.n_levels() > 1 ? m.level + 1 : 0;
  return out;
}

/// `total`: a variance in the units of the scores.
void Var::add_effects(double prior, double total) {
  const member& m = variable();
  const std::vector<predictor>& all = data_.predictors(m.level);
  for (unsigned q = 1; q <= m.chain->n_above(); ++q) {
    intercepts_setup setup;
    setup.level = m.chain->level(q);
    setup.n_clusters = m.chain->n_units(q);
    setup.of_unit = &data_.above(m.level, setup.level);
    setup.first_unit.zeros(setup.n_clusters);
    for (arma::uword i = setup.of_unit->n_elem; i-- > 0;) setup.first_unit[(*setup.of_unit)[i]] = i;
    std::vector<arma::uword> between;
    for (arma::uword j = 0; j < predictors_.n_elem; ++j)
      if (all[predictors_[j]].constant_from >= setup.level) between.push_back(j);
    setup.between = arma::Col<arma::uword>(between);
    setup.dim = score_.n_cols;
    setup.prior = how_.prior_raneff;
    setup.unit = how_.scaled && residual_.drawn ? total : 1.0;
    setup.floor = 1e-10 * total;
    setup.coefficients = sem::scan::coefficient_prior::ridge(prior);
    sem::component_setup clusters = component();
    clusters.n_units = setup.n_clusters;
    clusters.level = setup.level + 1;
    sem::require_units(clusters, between.size() + 2);
    constexpr double start_share = 0.1;
    effects_.emplace_back(std::move(setup), start_share * total);
  }
}

void Var::oneRep() {
  drawCoefficients();
  drawEffects();
  residual_.draw(e_, rows_, residual_.by_cluster() ? &data_.above(0, 1) : nullptr, *rng_);
  drawLatent(mean_);
  impute();
}

/// G = X'X, H = X'(scores - u), over the units that tell, weighted where they differ in variance.
void Var::drawCoefficients() {
  sem::level_scores& level = data_.data(variable().level);
  const arma::Mat<double>& all = level.data();
  e_ = score_;
  for (const intercepts& one : effects_) one.add(-1.0, e_);
  arma::uword const p = predictors_.n_elem, n = rows_.n_elem;
  const double* const w = residual_.weights();
  H_.set_size(p, e_.n_cols);
  if (n == all.n_rows && w == nullptr) {
    level.products(predictors_, predictors_, G_);
    for (arma::uword c = 0; c < e_.n_cols; ++c) {
      sem::scan::multiply_transposed(1.0, all, e_.colptr(c), 0.0, whole_.memptr());
      for (arma::uword j = 0; j < p; ++j) H_(j, c) = whole_[predictors_[j]];
    }
  } else {
    X_.set_size(n, p);
    response_.set_size(n, e_.n_cols);
    for (arma::uword j = 0; j < p; ++j) {
      const double* from = all.colptr(predictors_[j]);
      double* to = X_.colptr(j);
      for (arma::uword i = 0; i < n; ++i)
        to[i] = from[rows_[i]] * (w == nullptr ? 1.0 : std::sqrt(w[rows_[i]]));
    }
    for (arma::uword c = 0; c < e_.n_cols; ++c)
      for (arma::uword i = 0; i < n; ++i)
        response_(i, c) = e_(rows_[i], c) * (w == nullptr ? 1.0 : std::sqrt(w[rows_[i]]));
    G_ = X_.t() * X_;
    H_ = X_.t() * response_;
  }
  coefficient_step_.draw(G_, H_, n, w == nullptr ? residual_.Sigma : one_, *rng_, gamma_);
}

/// e := scores - w b - u, whole. What recentring moves from u to b leaves it as it is.
void Var::drawEffects() {
  const arma::Mat<double>& all = data_.data(variable().level).data();
  for (arma::uword c = 0; c < e_.n_cols; ++c) {
    whole_.zeros();  // the columns of the variable itself count for nothing
    for (arma::uword j = 0; j < predictors_.n_elem; ++j) whole_[predictors_[j]] = gamma_(j, c);
    sem::scan::multiply(-1.0, all, whole_.memptr(), 1.0, e_.colptr(c));
  }
  for (intercepts& one : effects_) {
    one.add(1.0, e_);
    one.draw(e_, rows_, residual_.precision(), residual_.weights(), *rng_);
    one.add(-1.0, e_);
    one.recentre(all, predictors_, *rng_, gamma_);
  }
  for (intercepts& one : effects_) one.draw_variances(*rng_);
  for (arma::uword i = 0; i < mean_.n_elem; ++i) mean_[i] = score_[i] - e_[i];
}

void Var::impute() {
  const arma::Col<arma::uword>& units = missing();
  drawn_.set_size(units.n_elem, score_.n_cols);
  rng_->fill_randn(drawn_.memptr(), drawn_.n_elem);
  residual_.scale(units, drawn_);
  for (arma::uword c = 0; c < drawn_.n_cols; ++c)
    for (arma::uword i = 0; i < units.n_elem; ++i) drawn_(i, c) += mean_(units[i], c);
  take(drawn_);
}

void Var::take(const arma::Mat<double>& drawn) {
  for (arma::uword i = 0; i < drawn.n_rows; ++i) score_(missing()[i], 0) = drawn(i, 0);
  data_.set(k_, missing(), drawn);
}

}  // namespace tovik::manifest
