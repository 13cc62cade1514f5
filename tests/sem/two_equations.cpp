#include "sem/two_equations.hpp"

#include <cmath>

#include "evaluate/parser.hpp"
#include "sem/autosolver/solver.hpp"
#include "sem/ensemble/likelihood_lists.hpp"

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
    setup->fixed = arma::regspace<arma::Col<arma::uword>>(0, k - 1);
    setup->fixed_values =
        k == 1 ? arma::Col<double>{last_coefficient} : arma::linspace(-0.5, last_coefficient, k).eval();
    setup->mutable_columns.assign(world.data.n_cols, false);
    setup->mutable_columns[1] = setup->mutable_columns[m_column] = true;
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
  sem::level_units units;
  for (const auto& ids : world.units) units.push_back(&ids);
  sem::wire_likelihood_lists({models_.begin(), models_.end()}, units, world.data);
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
  for (unsigned L = 0; L < setup.n_levels; ++L) draw_effects(model, L);
  if (setup.fixed.is_empty())
    for (double& b : model.betas_) b = rng_.rnorm();
  const auto& rows = *setup.cluster.own_rows[0];
  arma::Col<double> value(rows.n_elem, arma::fill::zeros);
  add_fixed(setup, model.betas_, rows, value);
  for (unsigned L = 0; L < setup.n_levels; ++L)
    for (arma::uword j = 0; j < setup.z[L].n_elem; ++j)
      for (arma::uword i = 0; i < value.n_elem; ++i)
        value(i) += world.data(rows(i), setup.z[L](j)) * model.u[L]((*setup.cluster.row_cluster[L])(i), j);
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
  for (arma::uword row = 0; row < world.data.n_rows; ++row)
    world.data(row, setup.y) = value(world.units[setup.level](row));
}

void TwoEquations::draw_effects(sem::Normal& model, unsigned L) {
  arma::uword const q = model.u[L].n_cols;
  if (q == 0) return;
  if (q == 1)
    model.iSigma[L](0, 0) = rng_.rgamma(1.0, 2.0);
  else
    model.iSigma[L] = rng_.rwish(static_cast<int>(q) + 1, arma::eye(q, q));
  model.Sigma[L] = arma::inv_sympd(model.iSigma[L]);
  model.u[L] =
      rng_.randn(static_cast<int>(model.u[L].n_rows), static_cast<int>(q)) * arma::chol(model.Sigma[L]);
}

void TwoEquations::add_fixed(const sem::equation_setup& setup, const arma::Mat<double>& betas,
                             const arma::Col<arma::uword>& rows, arma::Col<double>& value) const {
  for (arma::uword j = 0; j < betas.n_elem; ++j) {
    const arma::Col<double> column = j < setup.x.n_elem
                                         ? arma::Col<double>(world.data.col(setup.x(j)))
                                         : setup.x_compute[j - setup.x.n_elem].node->eval(world.data);
    for (arma::uword i = 0; i < value.n_elem; ++i) value(i) += betas(j) * column(rows(i));
  }
}

}  // namespace tovik::tests
