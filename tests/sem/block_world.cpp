#include "sem/block_world.hpp"

#include <cmath>
#include <stdexcept>

#include "sem/autosolver/solver.hpp"
#include "sem/prior_states.hpp"

namespace tovik::tests {

using sem::block_setup;

block_prior::block_prior(arma::Mat<double> correlations, arma::Mat<unsigned char> elements,
                         arma::Col<double> known_variances)
    : correlations_(std::move(correlations)),
      elements_(std::move(elements)),
      known_(std::move(known_variances)) {
  if (is_free()) return;
  Random rng(99, 9U);
  arma::Mat<double> R;
  for (int t = 0; t < 20000; ++t) {
    draw_correlations(R, rng);
    bound_ = std::max(bound_, mass(R));
  }
  bound_ *= 8.0;
}

void block_prior::draw_correlations(arma::Mat<double>& R, Random& rng) const {
  arma::Mat<double> root;
  do {
    R = correlations_;
    for (arma::uword j = 0; j < R.n_cols; ++j)
      for (arma::uword i = j + 1; i < R.n_rows; ++i)
        if (elements_(i, j) != block_setup::known) R(i, j) = R(j, i) = 2.0 * rng.runif() - 1.0;
  } while (!arma::chol(root, R));
}

/// Of the inverse gamma of a variance: v^-(shape + 1) = v^(q / 2 - p - 1).
double block_prior::shape(arma::uword j) const {
  double q = 0.0;
  for (arma::uword k = 0; k < known_.n_elem; ++k)
    if (k != j && elements_(k, j) == block_setup::drawn) ++q;
  return static_cast<double>(known_.n_elem) - 0.5 * q;
}

double block_prior::mass(const arma::Mat<double>& R) const {
  const arma::Col<double> w = arma::inv_sympd(R).eval().diag();
  double log_mass = -static_cast<double>(R.n_rows + 1) * std::log(arma::det(R));
  for (arma::uword j = 0; j < w.n_elem; ++j)
    log_mass -= std::isnan(known_(j)) ? shape(j) * std::log(w(j)) : 0.5 * w(j) / known_(j);
  return std::exp(log_mass);
}

bool block_prior::is_free() const {
  return known_.has_nan() && arma::find_finite(known_).eval().is_empty() &&
         !arma::any(arma::vectorise(elements_));
}

arma::Mat<double> block_prior::draw(Random& rng) {
  if (is_free()) return draw_prior_covariance(known_.n_elem, rng);
  arma::Mat<double> R;
  for (double f = 0.0;;) {
    draw_correlations(R, rng);
    f = mass(R);
    if (f > bound_) throw std::runtime_error("The bound of the rejection is too low.");
    if (rng.runif() * bound_ <= f) break;
  }
  const arma::Col<double> w = arma::inv_sympd(R).eval().diag();
  arma::Col<double> sd(w.n_elem);
  for (arma::uword j = 0; j < w.n_elem; ++j)
    sd(j) = std::sqrt(std::isnan(known_(j)) ? 1.0 / rng.rgamma(shape(j), 2.0 / w(j)) : known_(j));
  return arma::diagmat(sd) * R * arma::diagmat(sd);
}

BlockWorld::BlockWorld(unsigned levels, const nesting& sizes, std::uint32_t seed)
    : world(levels, sizes, seed), estimator(seed), rng(seed, 2U) {}

sem::equation_setup& BlockWorld::add(unsigned level, const arma::Col<arma::uword>& x, bool binary) {
  sem::equation_setup setup = world.setup(level, x);
  setup.y = column(setups.size());
  if (setup.y >= world.data.n_cols) {
    world.data.resize(world.data.n_rows, setup.y + 1);
    world.data.col(setup.y).zeros();
  }
  setup.prior = {1, 1};
  setup.coefficients = sem::scan::coefficient_prior::ridge(1.0);
  setup.response_moves = binary;
  setup.mutable_columns.assign(20, false);
  for (arma::uword y : {1, 9, 10, 11}) setup.mutable_columns[y] = true;
  setups.push_back(std::move(setup));
  is_binary.push_back(binary);
  is_factor.push_back(false);
  lambda.emplace_back();
  arma::uword const p = setups.size();
  correlations.eye(p, p);
  elements.zeros(p, p);
  known_variances.resize(p);
  known_variances(p - 1) = binary ? 1.0 : arma::datum::nan;
  return setups.back();
}

void BlockWorld::make_factor() {
  is_factor.back() = true;
  setups.back() = sem::Factor::without_values(setups.back());
}

void BlockWorld::transform(double lower, double upper) {
  lambda.back() = {lower, upper};
  setups.back().response_moves = true;
}

void BlockWorld::hold_correlation(arma::uword i, arma::uword j, double value) {
  correlations(i, j) = correlations(j, i) = value;
  elements(i, j) = elements(j, i) = block_setup::known;
}

void BlockWorld::label_correlation(arma::uword i, arma::uword j) {
  elements(i, j) = elements(j, i) = block_setup::labelled;
}

void BlockWorld::hold_variance(arma::uword j, double value) {
  known_variances(j) = value;
}

bool BlockWorld::has_label() const {
  return arma::any(arma::vectorise(elements) == static_cast<unsigned char>(block_setup::labelled));
}

void BlockWorld::finish() {
  prior_ = std::make_unique<block_prior>(correlations, elements, known_variances);
}

void BlockWorld::build_member(std::size_t m) {
  const sem::equation_setup& setup = setups[m];
  if (is_factor[m]) {
    models.push_back(std::make_shared<sem::MultiFactor>(&estimator, data::type::latent, setup));
    return;
  }
  if (lambda[m].is_set()) {
    build_transformed(m);
    return;
  }
  if (!is_binary[m]) {
    models.push_back(std::make_shared<sem::MultiNormal>(&estimator, data::type::continuous, setup));
    return;
  }
  const auto& rows = *setup.cluster.own_rows[0];
  sem::ordered_values const observed{{0.0, 1.0}, arma::Col<arma::uword>(rows.n_elem, arma::fill::zeros), 0};
  models.push_back(std::make_shared<sem::Ordinal>(&estimator, setup, observed));
}

void BlockWorld::build_transformed(std::size_t m) {
  const std::shared_ptr<sem::yjt<sem::Normal>> model =
      transformed_normal(estimator, setups[m], lambda[m].lower, lambda[m].upper);
  model->estimate_resid = false;
  std::vector<sem::estimator::tune_obj*> proposals;
  model->addProposals(proposals);
  proposals.front()->value = 0.4;
  models.push_back(model);
}

void BlockWorld::build() {
  models.clear();
  for (std::size_t m = 0; m < setups.size(); ++m) build_member(m);
  block_setup setup;
  for (const auto& model : models) setup.members.push_back(model.get());
  setup.prior = {1, 1};
  setup.correlations = correlations;
  setup.elements = elements;
  setup.known_variances.set_size(models.size());
  for (std::size_t m = 0; m < models.size(); ++m)
    setup.known_variances(m) = std::isnan(known_variances(m)) ? 0 : 1;
  if (arma::any(setup.known_variances) || arma::any(arma::vectorise(elements)))
    block = std::make_shared<sem::MultiStruct>(&estimator, setup);
  else
    block = std::make_shared<sem::MultiUnstruct>(&estimator, setup);
  block->register_ptrs();
  block->start();
  if (auto* with_label = dynamic_cast<sem::MultiStruct*>(block.get()); with_label != nullptr && has_label()) {
    for (arma::uword j = 0; j < models.size(); ++j)
      for (arma::uword i = j + 1; i < models.size(); ++i)
        if (elements(i, j) == block_setup::labelled)
          with_label->drive_correlation(static_cast<unsigned>(j + i * models.size()),
                                        sem::estimator::constraint("rho"), true, false);
  }
}

void BlockWorld::solve(std::size_t m) {
  const auto units = std::make_shared<const arma::uvec>(models[m]->missing_rows);
  std::vector<sem::solved_role> roles = {{models[m].get(), {}}};
  for (std::size_t k = m + 1; k < models.size(); ++k) {
    const arma::uvec at = arma::find(setups[k].x == column(m));
    if (at.is_empty()) continue;
    roles.push_back({models[k].get(), sem::autosolver::solution::constant(static_cast<unsigned>(at(0)),
                                                                          static_cast<unsigned>(column(m)))});
  }
  auto solver = std::make_shared<sem::autosolver::solver<sem::autosolver::normal>>();
  solver->rng = &estimator.random;
  solver->units = units;
  solver->functions = {block->distributionFunc(roles, static_cast<int>(models[m]->level), *units)};
  models[m]->addDist(solver, sem::distribution_type::fixed);
}

void BlockWorld::draw_joint() {
  const arma::Mat<double> Sigma = prior_->draw(rng);
  const auto n = static_cast<int>(setups.front().cluster.own_rows[0]->n_elem);
  const arma::Mat<double> e = rng.randn(n, static_cast<int>(setups.size())) * arma::chol(Sigma);
  for (std::size_t m = 0; m < setups.size(); ++m) draw_outcome(m, e.col(m));
  arma::Col<double> v(block->n_params());
  arma::uword at = 0;
  for (arma::uword j = 0; j < Sigma.n_cols; ++j)
    for (arma::uword i = j; i < Sigma.n_rows; ++i) v(at++) = Sigma(i, j);
  block->addStarts(v);
}

void BlockWorld::draw_outcome(std::size_t m, const arma::Col<double>& e) {
  const sem::equation_setup& setup = setups[m];
  sem::Regression& model = *models[m];
  arma::Col<double> y = e;
  for (double& b : model.betas_) b = rng.rnorm();
  add_fixed_part(world, setup, model.betas_, y);
  draw_covariances_and_effects(model, rng);
  add_random_part(world, setup, model.u, y);
  if (is_binary[m]) {
    auto& ordinal = dynamic_cast<sem::Ordinal&>(model);
    arma::Col<arma::uword> categories(y.n_elem);
    for (arma::uword i = 0; i < y.n_elem; ++i) {
      ordinal.propensity.values(i) = y(i);
      categories(i) = y(i) > 0.0 ? 1 : 0;
    }
    ordinal.propensity.sets.observe(categories);
    y.transform([](double value) { return value > 0.0 ? 1.0 : 0.0; });
  }
  if (lambda[m].is_set()) draw_lambda(model, lambda[m], y, rng);
  world.write(setup.level, setup.y, y);
}

void BlockWorld::scan() {
  for (const auto& model : models) model->draw(world.data);
  block->draw(world.data);
}

std::vector<double> BlockWorld::functions() const {
  const arma::Mat<double>& Sigma = block->covariance();
  const arma::Mat<double>& R = block->correlations();
  std::vector<double> out;
  for (arma::uword j = 0; j < Sigma.n_cols; ++j) {
    if (std::isnan(known_variances(j))) out.push_back(std::log(Sigma(j, j)));
    for (arma::uword i = j + 1; i < Sigma.n_rows; ++i)
      if (elements(i, j) != block_setup::known) out.push_back(R(i, j));
  }
  out.push_back(std::log(arma::det(Sigma)));
  arma::Mat<double> e(models.front()->n_units, models.size());
  for (std::size_t m = 0; m < models.size(); ++m) {
    const sem::Regression& model = *models[m];
    e.col(m) = model.compute_residual(world.data);
    for (double b : model.betas_) out.push_back(b);
    for (unsigned L = 0; L < model.n_levels; ++L) {
      if (model.u[L].n_cols == 0) continue;
      out.push_back(std::log(arma::det(model.Sigma[L])));
      out.push_back(std::atan(model.u[L](0, 0)));
      out.push_back(std::log(arma::accu(model.u[L] % (model.u[L] * model.iSigma[L]))));
    }
    for (arma::uword i : model.missing_rows) out.push_back(e(i, m) / std::sqrt(Sigma(m, m)));
    if (!lambda[m].is_set()) continue;
    const double l = lambda_of(model) - lambda[m].middle(),
                 y0 = world.data((*setups[m].cluster.own_rows[0])(0), setups[m].y);
    out.insert(out.end(), {l, y0, l * y0, l * e(0, m), l * R(0, 1), l * std::log(Sigma(m, m))});
  }
  const arma::Mat<double> S = e.t() * e;
  out.push_back(std::log(arma::trace(S * arma::inv_sympd(Sigma))));
  for (arma::uword j = 0; j < S.n_cols; ++j)
    for (arma::uword i = j + 1; i < S.n_rows; ++i)
      out.push_back(S(i, j) / std::sqrt(Sigma(i, i) * Sigma(j, j)));
  return out;
}

}  // namespace tovik::tests
