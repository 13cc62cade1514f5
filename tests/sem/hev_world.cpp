#include "sem/hev_world.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "data/variable.hpp"
#include "sem/autosolver/normal.hpp"
#include "sem/autosolver/solution.hpp"
#include "sem/prior_states.hpp"

namespace tovik::tests {

using sem::NormalHev;

HevWorld::HevWorld(unsigned levels, const nesting& sizes, std::uint32_t seed)
    : world(levels, sizes, seed), estimator(seed), rng(seed, 2U) {
  world.data.insert_cols(9, 4);
  world.data.cols(9, 12).zeros();
}

sem::equation_setup& HevWorld::add(unsigned level, arma::Col<arma::uword> x) {
  sem::equation_setup setup = world.setup(level, std::move(x));
  setup.y = setups.empty() ? 1 : 9;
  setup.prior = {1, 1};
  hold_coefficients(setup);
  let_move(setup, world, {1, 9, 12});
  setups.push_back(std::move(setup));
  return setups.back();
}

sem::equation_setup& HevWorld::add_with_prior(unsigned level, arma::Col<arma::uword> x) {
  sem::equation_setup& setup = add(level, std::move(x));
  setup.fixed.reset();
  setup.fixed_values.reset();
  setup.coefficients = sem::scan::coefficient_prior::ridge(1.0);
  return setup;
}

void HevWorld::build() {
  models.clear();
  for (std::size_t m = 0; m < setups.size(); ++m) {
    if (tied) {
      setups[m].phantoms.assign(setups[m].n_levels + 1, {});
      setups[m].phantoms[0] = {{11, 0, m == 1}};
    }
    models.push_back(std::make_unique<NormalHev>(&estimator, setups[m]));
  }
  if (tied) connect_phantom();
  connect_values();
  if (!published) return;
  NormalHev& owner = *models[0];
  arma::Col<arma::uword> columns(owner.u[0].n_cols, arma::fill::value(data::variable::no_column));
  columns(0) = 12;
  owner.addIndicator(columns, sem::indicator_type::random_effect);
  owner.addLL(contributions(models), sem::likelihood_type::random_effect);
}

void HevWorld::connect_phantom() {
  sem::phantom_setup setup;
  setup.column = 11;
  setup.level = 0;
  setup.cluster = world.clusters(0);
  setup.n_levels = static_cast<unsigned>(world.units.size()) - 1;
  phantom = std::make_unique<sem::Phantom>(&estimator, setup);
  for (const auto& model : models) phantom->attach(model->correlated(11));
  const auto group = std::make_shared<sem::phantom_group>();
  phantom->join(group);
  group->connect();
  group->set_before_models(true);
}

/// The values of the first outcome, which the second equation holds as its second predictor.
void HevWorld::connect_values() {
  NormalHev& first = *models[0];
  if (missing == values::predictive) return;
  if (missing != values::solved) {
    first.addLL(contributions(models), sem::likelihood_type::imputed);
    return;
  }
  auto solver = std::make_shared<sem::autosolver::solver<sem::autosolver::normal>>();
  solver->rng = &rng;
  const auto units = std::make_shared<const arma::Col<arma::uword>>(first.missing_rows);
  solver->functions.push_back(first.dist_self(*units));
  solver->functions.push_back(models[1]->distributionFunc(sem::distribution_type::fixed,
                                                          sem::autosolver::solution::constant(1, 1),
                                                          static_cast<int>(first.level), *units));
  solver->units = units;
  first.addDist(solver, sem::distribution_type::fixed);
}

void HevWorld::draw_parameters(NormalHev& model, const sem::equation_setup& setup) {
  for (double& v : model.sigma2s) v = 1.0 / rng.rgamma(1.0 / t, t / s0);
  model.shared.s0 = s0;
  model.shared.t = t;
  model.variances_changed();
  draw_covariances_and_effects(model, rng);
  if (setup.fixed.is_empty())
    for (double& b : model.betas_) b = rng.rnorm();
}

void HevWorld::draw_joint() {
  double rho = 0.0;
  if (tied) {
    rho = 2.0 * rng.runif() - 1.0;
    for (double& score : world.data.col(11)) score = rng.rnorm();
    phantom->addStarts({rho});
  }
  for (std::size_t m = 0; m < models.size(); ++m) {
    draw_parameters(*models[m], setups[m]);
    draw_outcome(m, rho);
    if (published) models[0]->publish_effects(world.data);
  }
}

void HevWorld::draw_outcome(std::size_t m, double rho) {
  NormalHev& model = *models[m];
  const sem::equation_setup& setup = setups[m];
  const auto& rows = *setup.cluster.own_rows[0];
  const double load = (m == 1 && rho < 0.0 ? -1.0 : 1.0) * std::sqrt(std::fabs(rho));
  arma::Col<double> y(rows.n_elem);
  for (arma::uword i = 0; i < y.n_elem; ++i) {
    const double score = tied ? world.data(rows(i), 11) : 0.0;
    const double e = load * score + std::sqrt(1.0 - std::fabs(rho)) * rng.rnorm();
    y(i) = std::sqrt(model.sigma2s((*setup.cluster.row_cluster[0])(i))) * e;
  }
  add_fixed_part(world, setup, model.betas_, y);
  add_random_part(world, setup, model.u, y);
  world.write(setup.level, setup.y, y);
}

void HevWorld::scan() {
  if (phantom != nullptr) phantom->draw(world.data);
  for (const auto& model : models) {
    model->draw(world.data);
    model->shared.s0 = s0;
    model->shared.t = t;
  }
}

std::vector<double> HevWorld::functions() const {
  std::vector<double> out;
  for (std::size_t m = 0; m < models.size(); ++m) {
    const NormalHev& model = *models[m];
    const auto& rows = *setups[m].cluster.own_rows[0];
    const auto& of = *setups[m].cluster.row_cluster[0];
    const arma::Col<double> y = world.data.col(setups[m].y), v = model.sigma2s;
    const arma::Mat<double> whole = model.compute_residual(world.data);
    arma::Col<double> e(whole.n_elem);
    for (arma::uword i = 0; i < e.n_elem; ++i) e(i) = whole(i) / std::sqrt(v(of(i)));
    out.insert(out.end(), {std::log(v(0)), std::log(v(1)), std::log(v.back()), std::log(arma::mean(v))});
    out.insert(out.end(), {y(rows(0)), y(rows(5)) / std::sqrt(v(of(5))), e(0), e(5) * e(0), arma::accu(e),
                           std::log(arma::dot(e, e)), e(0) * v(of(0)) / v(0)});
    if (setups[m].fixed.is_empty())
      out.insert(out.end(), {model.betas_(0), model.betas_(1), model.betas_(0) * y(rows(0))});
    for (unsigned L = 0; L < model.n_levels; ++L) {
      const auto& u = model.u[L];
      if (u.n_cols == 0) continue;
      const double scale = std::sqrt(model.Sigma[L](0, 0));
      out.insert(out.end(), {std::log(model.Sigma[L](0, 0)), std::log(arma::det(model.Sigma[L])), u(0, 0),
                             u(1, u.n_cols - 1) / scale, u(0, 0) * e(0) / scale,
                             std::log(arma::accu(u % (u * model.iSigma[L])))});
    }
    if (!tied) continue;
    const arma::Col<double> P = world.data.col(11);
    out.insert(out.end(), {arma::dot(e, P.elem(rows)), e(0) * P(0)});
  }
  if (models.size() == 2) out.push_back(world.data(0, 1) * world.data(0, 9));
  if (tied)
    out.insert(out.end(), {phantom->rho.value, world.data(0, 11), phantom->rho.value * world.data(0, 11)});
  return out;
}

}  // namespace tovik::tests
