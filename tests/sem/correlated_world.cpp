#include "sem/correlated_world.hpp"

#include <cmath>
#include <utility>

namespace tovik::tests {

CorrelatedWorld::CorrelatedWorld(unsigned levels, const nesting& sizes, std::uint32_t seed)
    : world(levels, sizes, seed), estimator(seed), rng(seed, 2U) {
  world.data.insert_cols(9, 8);  // 9, 10: outcomes; 11 on: phantoms
  world.data.cols(9, 16).zeros();
}

sem::equation_setup& CorrelatedWorld::add(unsigned level, arma::uword y, arma::Col<arma::uword> x) {
  sem::equation_setup setup = world.setup(level, std::move(x));
  setup.y = y;
  setup.prior = {1, 1};
  setup.fixed = arma::regspace<arma::Col<arma::uword>>(0, setup.x.n_elem - 1);
  setup.fixed_values = arma::linspace(-0.5, 0.5, setup.x.n_elem);
  setup.phantoms.resize(setup.n_levels + 1);
  setups.push_back(std::move(setup));
  return setups.back();
}

void CorrelatedWorld::finish() {
  for (const tie& t : ties)
    for (int side : {0, 1})
      setups[t.ends[side].model].phantoms[t.ends[side].place].push_back(
          {t.column, t.ends[side].effect, side == 1});
}

std::unique_ptr<sem::Normal> CorrelatedWorld::make(std::size_t m) {
  if (!is_transformed(m)) return std::make_unique<sem::Normal>(&estimator, setups[m]);
  auto out = transformed_normal(estimator, setups[m], lambda[m].lower, lambda[m].upper);
  std::vector<sem::estimator::tune_obj*> proposals;
  out->addProposals(proposals);
  proposals.front()->value = 0.4;
  return out;
}

void CorrelatedWorld::build() {
  models.clear();
  phantoms.clear();
  for (std::size_t m = 0; m < setups.size(); ++m) models.push_back(make(m));
  const auto group = std::make_shared<sem::phantom_group>();
  for (const tie& t : ties) {
    sem::phantom_setup setup;
    setup.column = t.column;
    setup.level = t.level;
    setup.cluster = world.clusters(t.level);
    setup.n_levels = static_cast<unsigned>(world.units.size()) - t.level - 1;
    phantoms.push_back(std::make_unique<sem::Phantom>(&estimator, setup));
    for (const auto& end : t.ends) phantoms.back()->attach(models[end.model]->correlated(t.column));
    phantoms.back()->join(group);
  }
  group->connect();
  group->set_before_models(pairs);
}

std::vector<double> CorrelatedWorld::rhos_of(std::size_t model, unsigned place,
                                             const std::vector<double>& all) const {
  std::vector<double> out;
  for (std::size_t k = 0; k < ties.size(); ++k)
    for (const auto& end : ties[k].ends)
      if (end.model == model && end.place == place) out.push_back(all[k]);
  return out;
}

void CorrelatedWorld::draw_joint() {
  std::vector<std::vector<arma::Mat<double>>> S(models.size());
  std::vector<double> rhos(ties.size());
  for (bool valid = false; !valid;) {
    valid = true;
    for (double& rho : rhos) rho = 2.0 * rng.runif() - 1.0;
    for (std::size_t m = 0; m < models.size(); ++m) {
      S[m].clear();
      for (unsigned place = 0; place <= setups[m].n_levels; ++place) {
        arma::uword const q = place == 0 ? 1 : setups[m].z[place - 1].n_elem;
        S[m].push_back(q == 0 ? arma::Mat<double>(0, 0) : draw_prior_covariance(q, rng));
        if (q > 0)
          valid = valid && leaves_variance(S[m].back(), setups[m].phantoms[place], rhos_of(m, place, rhos));
      }
    }
  }
  for (const tie& t : ties) {
    const auto& units = world.units[t.level];
    const arma::Mat<double> P = rng.randn(static_cast<int>(units.max() + 1), 1);
    for (arma::uword i = 0; i < units.n_elem; ++i) world.data(i, t.column) = P(units(i));
  }
  for (std::size_t m = 0; m < models.size(); ++m) draw_outcome(m, S[m], rhos);
  for (std::size_t k = 0; k < ties.size(); ++k) phantoms[k]->addStarts({rhos[k]});
}

arma::Mat<double> CorrelatedWorld::draw_place(std::size_t m, unsigned place, const arma::Mat<double>& S,
                                              const std::vector<double>& rhos) {
  const auto& terms = setups[m].phantoms[place];
  const auto& rows = *setups[m].cluster.own_rows[place];
  const arma::Mat<double> Lambda = dense_loadings(S, terms, rhos_of(m, place, rhos));
  arma::Mat<double> P(rows.n_elem, terms.size());
  for (std::size_t k = 0; k < terms.size(); ++k) {
    const arma::Col<double> column = world.data.col(terms[k].column);
    P.col(k) = column.elem(rows);
  }
  const arma::Mat<double> root = arma::chol(arma::Mat<double>(S - Lambda * Lambda.t()));
  return P * Lambda.t() + rng.randn(static_cast<int>(rows.n_elem), static_cast<int>(S.n_rows)) * root;
}

void CorrelatedWorld::draw_outcome(std::size_t m, const std::vector<arma::Mat<double>>& S,
                                   const std::vector<double>& rhos) {
  sem::Normal& model = *models[m];
  const sem::equation_setup& setup = setups[m];
  model.sigma2 = S[0](0, 0);
  arma::Mat<double> y = draw_place(m, 0, S[0], rhos);
  const auto& rows = *setup.cluster.own_rows[0];
  for (unsigned L = 0; L < setup.n_levels; ++L) {
    if (model.u[L].n_cols == 0) continue;
    model.Sigma[L] = S[L + 1];
    model.iSigma[L] = arma::inv_sympd(S[L + 1]);
    model.u[L] = draw_place(m, L + 1, S[L + 1], rhos);
    for (arma::uword i = 0; i < y.n_elem; ++i)
      for (arma::uword j = 0; j < setup.z[L].n_elem; ++j)
        y(i) += world.data(rows(i), setup.z[L](j)) * model.u[L]((*setup.cluster.row_cluster[L])(i), j);
  }
  for (arma::uword i = 0; i < y.n_elem; ++i)
    for (arma::uword j = 0; j < setup.x.n_elem; ++j)
      y(i) += world.data(rows(i), setup.x(j)) * setup.fixed_values(j);
  arma::Col<double> values = y.as_col();
  if (is_transformed(m)) draw_lambda(model, lambda[m], values, rng);
  for (arma::uword row = 0; row < world.data.n_rows; ++row)
    world.data(row, setup.y) = values(world.units[setup.level](row));
}

void CorrelatedWorld::scan() {
  for (const auto& phantom : phantoms) phantom->draw(world.data);
  for (const auto& model : models) model->draw(world.data);
}

std::vector<double> CorrelatedWorld::functions() const {
  std::vector<double> out;
  for (std::size_t k = 0; k < ties.size(); ++k) {
    const arma::Col<double> P = world.data.col(ties[k].column);
    const double rho = phantoms[k]->rho.value;
    out.insert(out.end(), {rho, P(0), arma::dot(P, P), rho * P(0)});
    for (const auto& end : ties[k].ends) {
      const sem::Normal& model = *models[end.model];
      const auto& rows = *setups[end.model].cluster.own_rows[end.place];
      arma::Col<double> e;
      double sd = 0;
      if (end.place == 0) {
        e = model.compute_residual(world.data);
        sd = std::sqrt(model.sigma2);
      } else {
        e = model.u[end.place - 1].col(end.effect);
        sd = std::sqrt(model.Sigma[end.place - 1](end.effect, end.effect));
      }
      out.insert(out.end(), {arma::dot(e, P.elem(rows)) / sd, e(0) / sd, std::log(arma::dot(e, e))});
    }
  }
  for (std::size_t m = 0; m < models.size(); ++m) {
    if (!is_transformed(m)) continue;
    const double l = lambda_of(*models[m]) - lambda[m].middle(),
                 y0 = world.data((*setups[m].cluster.own_rows[0])(0), setups[m].y);
    out.insert(out.end(), {l, y0, l * y0, l * std::log(models[m]->sigma2)});
    for (const auto& phantom : phantoms) out.push_back(l * phantom->rho.value);
  }
  for (const auto& model : models) {
    out.push_back(std::log(model->sigma2));
    for (unsigned L = 0; L < model->n_levels; ++L) {
      if (model->u[L].n_cols == 0) continue;
      out.push_back(std::log(arma::det(model->Sigma[L])));
      out.push_back(std::log(model->Sigma[L](0, 0)));
      if (model->u[L].n_cols > 1) out.push_back(model->Sigma[L](0, 1) / model->Sigma[L](0, 0));
      out.push_back(std::log(arma::accu(model->u[L] % (model->u[L] * model->iSigma[L]))));
    }
  }
  return out;
}

}  // namespace tovik::tests
