#include "sem/two_equations.hpp"

#include <cmath>

#include "evaluate/parser.hpp"
#include "sem/autosolver/solver.hpp"
#include "sem/ensemble/likelihood_lists.hpp"
#include "sem/prior_states.hpp"

namespace tovik::tests {

TwoEquations::TwoEquations(unsigned levels, const nesting& sizes, std::uint32_t seed)
    : world(levels, sizes, seed), estimator_(seed), rng_(seed, 4U) {
  world.data.insert_cols(9, 3);
  for (std::size_t l = 1; l < world.units.size(); ++l)
    for (arma::uword i = 0; i < world.data.n_rows; ++i)
      world.data(i, 9 + l) = static_cast<double>(world.units[l](i)) + 1.0;
}

void TwoEquations::build(bool linked) {
  for (sem::equation_setup* setup : {&m, &y}) {
    arma::uword const k = setup->x.n_elem + setup->x_compute.size();
    setup->prior = {1, 1};
    hold_coefficients(*setup, k == 1 ? arma::Col<double>{last_coefficient}
                                     : arma::linspace(-0.5, last_coefficient, k).eval());
    let_move(*setup, world, {1, m_column});
  }
  m.y = m_column;
  if (free) {
    y.fixed.reset();
    y.fixed_values.reset();
    y.coefficients = sem::scan::coefficient_prior::ridge(1.0);
  }
  if (latent)
    m.missing_units = arma::regspace<arma::Col<arma::uword>>(0, world.first_rows[m.level].n_elem - 1);
  if (latent)
    models_ = {std::make_shared<sem::Factor>(&estimator_, m)};
  else
    models_ = {std::make_shared<sem::Normal>(&estimator_, m)};
  models_.push_back(std::make_shared<sem::Normal>(&estimator_, y));
  if (!transformation.empty())
    of_m().addTransform(evaluate::pair::transformation(evaluate::opt_ast(transformation)));
  if (!linked) return;
  sem::wire_likelihood_lists({models_.begin(), models_.end()}, world.level_units(), world.data);
}

void TwoEquations::solve(const std::string& cofactor) {
  using sem::distribution_type;
  const arma::uvec at = arma::find(y.x == m_column);
  auto how = sem::autosolver::solution::product(at, m_column);
  if (!cofactor.empty())
    how += sem::autosolver::computation(evaluate::opt_ast(cofactor), static_cast<int>(y.x.n_elem));
  auto solver = std::make_shared<sem::autosolver::solver<sem::autosolver::normal>>();
  solver->rng = &estimator_.random;
  solver->functions = {of_m().dist_self(of_m().missing_rows),
                       of_y().distributionFunc(distribution_type::compute, how, static_cast<int>(m.level),
                                               of_m().missing_rows)};
  solver->units = std::make_shared<const arma::uvec>(of_m().missing_rows);
  of_m().addDist(solver, distribution_type::fixed);
}

void TwoEquations::draw_joint(const std::function<bool(double)>& admitted) {
  draw_equation(of_m(), m, transformation, admitted);
  draw_equation(of_y(), y, "", nullptr);
}

void TwoEquations::scan() {
  of_m().draw(world.data);
  of_y().draw(world.data);
}

std::vector<double> TwoEquations::functions() {
  std::vector<double> out;
  std::vector<arma::Mat<double>> e;
  for (const auto& model : models_) {
    e.push_back(model->compute_residual(world.data));
    const double sd = std::sqrt(model->sigma2);
    if (model->estimate_resid) out.push_back(std::log(model->sigma2));
    out.push_back(std::log(arma::accu(arma::square(e.back())) / model->sigma2));
    out.push_back(arma::accu(e.back()) / sd);
    out.push_back(e.back()(0) / sd);
    if (model->fixed.is_empty())
      for (double b : model->betas_) out.insert(out.end(), {b, b * e.back()(0) / sd});
    for (const auto& u : model->u)
      if (u.n_cols > 0) out.insert(out.end(), {u(0, 0), u(1, u.n_cols - 1) * u(1, 0)});
  }
  for (arma::uword k : {arma::uword{0}, m.missing_units.n_elem - 1}) {
    arma::uword const unit = m.missing_units(k);
    arma::uword const row = world.first_rows[m.level](unit);
    const double value = world.data(row, m_column);
    out.insert(out.end(), {value, e[0](unit) / std::sqrt(of_m().sigma2), value * world.data(row, 1)});
  }
  return out;
}

void TwoEquations::draw_equation(sem::Normal& model, const sem::equation_setup& setup,
                                 const std::string& transform, const std::function<bool(double)>& admitted) {
  if (setup.estimate_resid) model.sigma2 = 1.0 / rng_.rgamma(1.0, 2.0);
  draw_covariances_and_effects(model, rng_);
  if (setup.fixed.is_empty())
    for (double& b : model.betas_) b = rng_.rnorm();
  arma::Col<double> value(setup.cluster.own_rows[0]->n_elem, arma::fill::zeros);
  add_fixed_part(world, setup, model.betas_, value);
  add_random_part(world, setup, model.u, value);
  for (double& v : value) {
    const double mean = v;
    do v = mean + std::sqrt(model.sigma2) * rng_.rnorm();
    while (admitted && !admitted(v));
  }
  if (!transform.empty()) {
    const auto forward = evaluate::opt_ast(transform);
    const auto back = forward->inverse();
    value = back->eval(static_cast<const arma::Mat<double>&>(value));
  }
  world.write(setup.level, setup.y, value);
}

}  // namespace tovik::tests
