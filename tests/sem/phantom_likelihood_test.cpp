// Likelihoods, predictions and marginal likelihoods of an outcome that phantoms enter, against dense algebra.

#include <gtest/gtest.h>

#include <cmath>

#include "phantom_world.hpp"
#include "random/densities.hpp"
#include "support/error.hpp"

namespace tovik::tests::phantom_likelihood_test {
namespace {

using sem::equation_setup;
using sem::Normal;
using sem::phantom_term;

const nesting unbalanced = {{5, 1, 4}, {3, 7}, {2, 6}};

/// Correlations with nothing behind the phantoms: their scores are just data.
struct PhantomModel {
  World world;
  equation_setup setup;
  LoneEstimator estimator{11};
  std::unique_ptr<Normal> model;
  std::vector<std::vector<double>> rhos;

  PhantomModel(unsigned level, std::vector<arma::Col<arma::uword>> z,
               std::vector<std::vector<phantom_term>> phantoms, std::vector<std::vector<double>> correlations)
      : world(3, unbalanced, 21), rhos(std::move(correlations)) {
    world.data.insert_cols(9, 4);
    Random random(5, 0U);
    for (std::size_t place = 0; place < phantoms.size(); ++place)
      for (const phantom_term& term : phantoms[place]) {
        const auto& units = world.units[level + place];
        const arma::Mat<double> P = random.randn(static_cast<int>(units.max() + 1), 1);
        for (arma::uword i = 0; i < units.n_elem; ++i) world.data(i, term.column) = P(units(i));
      }
    simulate_outcome(world, level, 1.0, 7);
    if (level > 0)
      for (arma::uword i = 0; i < world.data.n_rows; ++i)
        world.data(i, 1) = 0.3 * static_cast<double>(world.units[level](i));
    setup = world.setup(level, {0, 6});
    setup.z = std::move(z);
    setup.phantoms = std::move(phantoms);
    model = std::make_unique<Normal>(&estimator, setup);
    model->betas_ = arma::Col<double>{0.4, -0.7};
    model->sigma2 = 1.3;
    for (unsigned L = 0; L < setup.n_levels; ++L) {
      arma::uword const q = model->u[L].n_cols;
      model->Sigma[L] = 0.8 * arma::eye(q, q) + 0.3;
      model->iSigma[L] = arma::inv_sympd(model->Sigma[L]);
    }
    for (unsigned place = 0; place < rhos.size(); ++place) {
      for (std::size_t k = 0; k < rhos[place].size(); ++k)
        model->part(place).loadings.rho(k) = rhos[place][k];
      EXPECT_TRUE(model->refresh_phantoms(place));
    }
  }

  arma::Mat<double> S(unsigned place) const {
    return place == 0 ? arma::Mat<double>{model->sigma2} : model->Sigma[place - 1];
  }
  arma::Mat<double> Lambda(unsigned place) const {
    return dense_loadings(S(place), setup.phantoms[place], rhos[place]);
  }
  arma::Mat<double> left(unsigned place) const { return S(place) - Lambda(place) * Lambda(place).t(); }
  /// P Lambda' at the units of a place.
  arma::Mat<double> means(unsigned place) const {
    const auto& rows = *setup.cluster.own_rows[place];
    arma::Mat<double> P(rows.n_elem, setup.phantoms[place].size());
    for (arma::uword k = 0; k < P.n_cols; ++k)
      P.col(k) = arma::Col<double>(world.data.col(setup.phantoms[place][k].column)).elem(rows);
    return P * Lambda(place).t();
  }
  arma::Mat<double> Z(unsigned L) const {
    const arma::Mat<double> all = world.data.cols(setup.z[L]);
    return all.rows(*setup.cluster.own_rows[0]);
  }
  /// y - Xb.
  arma::Col<double> fixed_residual() const {
    const auto& rows = *setup.cluster.own_rows[0];
    const arma::Mat<double> X = arma::Mat<double>(world.data.cols(setup.x)).rows(rows);
    return arma::Col<double>(world.data.col(1)).elem(rows) - X * model->betas_;
  }
};

void expect_dense_agreement(const PhantomModel& m) {
  const Normal& model = *m.model;
  const unsigned levels = m.setup.n_levels;
  arma::Col<double> e = m.fixed_residual(), marginal = e - m.means(0).col(0);
  arma::uword const n = e.n_elem;
  const double v = m.left(0)(0, 0);
  EXPECT_NEAR(model.residVar(), v, 1e-12);
  arma::Mat<double> V = v * arma::eye(n, n);
  for (unsigned L = 0; L < levels; ++L) {
    const auto& ids = *m.setup.cluster.row_cluster[L];
    const arma::Mat<double> Z = m.Z(L), mu = m.means(L + 1), C = m.left(L + 1);
    EXPECT_LT(arma::abs(model.Sigma_s(static_cast<int>(L)) - C).max(), 1e-12);
    EXPECT_LT(arma::abs(model.iSigma_s(static_cast<int>(L)) * C - arma::eye(C.n_rows, C.n_rows)).max(), 1e-9);
    EXPECT_LT(arma::abs(model.compute_Us_LL(m.world.data, static_cast<int>(L)) -
                        logMvnrmPDF(arma::Mat<double>(model.u[L] - mu), C))
                  .max(),
              1e-9);
    for (arma::uword i = 0; i < n; ++i) {
      e(i) -= arma::dot(Z.row(i), model.u[L].row(ids(i)));
      marginal(i) -= arma::dot(Z.row(i), mu.row(ids(i)));
      for (arma::uword j = 0; j < n; ++j)
        if (ids(i) == ids(j)) V(i, j) += arma::as_scalar(Z.row(i) * C * Z.row(j).t());
    }
  }
  const arma::Col<double> r = e - m.means(0).col(0);
  const int own = static_cast<int>(m.setup.level);
  EXPECT_LT(arma::abs(model.compute_residual(m.world.data) - r).max(), 1e-10);
  const arma::Col<double> rows = logNormPDF(r, v);
  EXPECT_LT(arma::abs(model.logLiklihood(m.world.data, own) - rows).max(), 1e-9);
  const arma::Col<arma::uword> some = {1, 3, n - 1};
  arma::Col<double> part(3, arma::fill::zeros);
  model.addLogLiklihood(m.world.data, own, some, part.memptr());
  EXPECT_LT(arma::abs(part - rows.elem(some)).max(), 1e-9);
  // The output shows the whole residual.
  const arma::Mat<double> shown = model.residual(m.world.data), fitted = model.predicted(m.world.data);
  for (arma::uword i = 0; i < m.world.data.n_rows; ++i) {
    EXPECT_NEAR(shown(i), e(m.world.units[m.setup.level](i)), 1e-10);
    EXPECT_NEAR(shown(i) + fitted(i), m.world.data(i, 1), 1e-10);
  }
  const arma::Col<double> ll = model.marginal_logLiklihood(m.world.data);
  const auto& ids = *m.setup.cluster.row_cluster[levels - 1];
  for (arma::uword c = 0; c < ll.n_elem; ++c) {
    const arma::Col<arma::uword> in = arma::find(ids == c);
    const arma::Row<double> values = marginal.elem(in).t();
    EXPECT_NEAR(ll(c), dmvnorm(values, arma::Mat<double>(V.submat(in, in))), 1e-8);
  }
}

TEST(PhantomLikelihood, OfTheResidual) {
  expect_dense_agreement(
      PhantomModel(0, {{0}, {0}}, {{{9, 0, false}, {10, 0, true}}, {}, {}}, {{0.3, -0.4}, {}, {}}));
}

TEST(PhantomLikelihood, OfEffectsOfTwoLevels) {
  expect_dense_agreement(PhantomModel(0, {{0, 2}, {0, 3}},
                                      {{{9, 0, true}}, {{10, 1, true}, {11, 0, false}}, {{12, 1, true}}},
                                      {{-0.2}, {-0.5, 0.2}, {-0.3}}));
}

TEST(PhantomLikelihood, OfAnOutcomeOfLevelTwo) {
  expect_dense_agreement(PhantomModel(1, {{0}}, {{{9, 0, true}}, {{10, 0, true}}}, {{-0.6}, {-0.5}}));
}

/// The log densities that a correlation is drawn by.
TEST(PhantomLikelihood, OfCorrelations) {
  PhantomModel m(0, {{0, 2}, {}}, {{{9, 0, true}}, {{10, 1, true}, {11, 0, false}}, {}},
                 {{-0.2}, {-0.5, 0.2}, {}});
  Normal& model = *m.model;
  EXPECT_NEAR(model.compute_LL_correlation(-0.2, m.world.data), model.logLiklihood(m.world.data), 1e-8);
  EXPECT_NEAR(model.compute_LL_correlation_L(0.0, m.world.data, 0),
              arma::accu(model.compute_Us_LL(m.world.data, 0)), 1e-8);
  model.part(0).loadings.rho(0) = 1.0;
  EXPECT_EQ(model.compute_LL_correlation(1.0, m.world.data), -INFINITY);
  model.part(0).loadings.rho(0) = 0.4;
  const double at_correlation = model.compute_LL_correlation(0.4, m.world.data);
  EXPECT_NEAR(at_correlation, model.logLiklihood(m.world.data), 1e-8);
  model.sigma2 = 2.0;
  const double at_variance = model.residVarAR(2.0, m.world.data);
  EXPECT_NEAR(at_variance, model.logLiklihood(m.world.data), 1e-8);
  EXPECT_NEAR(model.residVar(), 1.2, 1e-12);
  model.part(1).loadings.rho(0) = 0.95;
  EXPECT_EQ(model.compute_LL_correlation_L(0.95, m.world.data, 0), -INFINITY);
}

TEST(PhantomLikelihood, ASideShowsWhatThePhantomsEnter) {
  PhantomModel m(0, {{0, 2}, {}}, {{{9, 0, true}}, {{10, 1, true}, {11, 0, false}}, {}},
                 {{-0.2}, {-0.5, 0.2}, {}});
  Normal& model = *m.model;
  const auto effect = model.correlated(10), residual = model.correlated(9);
  effect->read(m.world.data);
  residual->read(m.world.data);
  EXPECT_EQ(arma::abs(effect->part().values() - model.u[0]).max(), 0.0);
  arma::mat const e = model.compute_residual(m.world.data) + m.means(0);
  EXPECT_LT(arma::abs(residual->part().values() - e).max(), 1e-12);
  EXPECT_EQ(effect->term(), 0U);
  EXPECT_EQ(*effect->rho(), -0.5);
  EXPECT_NE(effect->source(), residual->source());
  EXPECT_THROW(model.correlated(12), error_debug);
}

TEST(PhantomCorrelation, PriorIsADensityOnBothScales) {
  LoneEstimator estimator(3);
  for (double c : {2.0, 3.0, 1.5}) {
    sem::Phantom::correlation const rho(estimator.rng(), c);
    double prior = 0, steps = 0;
    constexpr int n = 20000;
    for (int i = 0; i < n; ++i) {
      const double x = -1.0 + 2.0 * (i + 0.5) / n;
      prior += std::exp(rho.log_prior(x)) / n;
      const double z = 12.0 * x;  // the density has fallen to nothing there
      steps += 12.0 * std::exp(rho.log_prior(std::tanh(z)) + rho.log_jacobian(std::tanh(z))) / n;
    }
    EXPECT_NEAR(prior, 1.0, 2e-3);
    EXPECT_NEAR(steps, 1.0, 2e-3);
    EXPECT_EQ(rho.log_prior(1.0), -INFINITY);
    EXPECT_EQ(rho.log_prior(-1.0), -INFINITY);
  }
}

}  // namespace
}  // namespace tovik::tests::phantom_likelihood_test
