#include "sem/correlated_world.hpp"

#include <cmath>
#include <utility>

#include "sem/prior_states.hpp"

namespace tovik::tests {

TiedWorld::TiedWorld(unsigned levels, const nesting& sizes, std::uint32_t seed)
    : world(levels, sizes, seed), estimator(seed), rng(seed, 2U) {
  world.data.insert_cols(9, 8);  // 9, 10: outcomes; 11 on: phantoms
  world.data.cols(9, 16).zeros();
}

sem::equation_setup& TiedWorld::add(unsigned level, arma::uword y, arma::Col<arma::uword> x) {
  sem::equation_setup setup = world.setup(level, std::move(x));
  setup.y = y;
  setup.prior = {1, 1};
  hold_coefficients(setup);
  setup.phantoms.resize(setup.n_levels + 1);
  setups.push_back(std::move(setup));
  return setups.back();
}

void TiedWorld::finish() {
  for (const tie& t : ties)
    for (int side : {0, 1})
      setups[t.ends[side].model].phantoms[t.ends[side].place].push_back(
          {t.column, t.ends[side].effect, side == 1});
}

std::unique_ptr<sem::Phantom> TiedWorld::phantom_of(const tie& t) {
  sem::phantom_setup setup;
  setup.column = t.column;
  setup.level = t.level;
  setup.cluster = world.clusters(t.level);
  setup.n_levels = static_cast<unsigned>(world.units.size()) - t.level - 1;
  return std::make_unique<sem::Phantom>(&estimator, setup);
}

void TiedWorld::draw_scores() {
  for (const tie& t : ties) {
    const arma::Mat<double> P = rng.randn(static_cast<int>(world.units[t.level].max() + 1), 1);
    world.write(t.level, t.column, P);
  }
}

std::unique_ptr<sem::Normal> CorrelatedWorld::make(std::size_t m) {
  if (!is_transformed(m)) return std::make_unique<sem::Normal>(&estimator, setups[m]);
  auto out = transformed_normal(estimator, setups[m], lambda[m].lower, lambda[m].upper);
  set_first_step(*out, 0.4);
  return out;
}

void CorrelatedWorld::build() {
  models.clear();
  for (std::size_t m = 0; m < setups.size(); ++m) models.push_back(make(m));
  connect(models, pairs);
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
  draw_scores();
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
  arma::Col<double> y = draw_place(m, 0, S[0], rhos);
  for (unsigned L = 0; L < setup.n_levels; ++L) {
    if (model.u[L].n_cols == 0) continue;
    model.Sigma[L] = S[L + 1];
    model.iSigma[L] = arma::inv_sympd(S[L + 1]);
    model.u[L] = draw_place(m, L + 1, S[L + 1], rhos);
  }
  add_random_part(world, setup, model.u, y);
  add_fixed_part(world, setup, setup.fixed_values, y);
  if (is_transformed(m)) draw_lambda(model, lambda[m], y, rng);
  world.write(setup.level, setup.y, y);
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
