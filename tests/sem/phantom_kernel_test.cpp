// The steps of correlations that phantoms carry leave the joint distribution of everything unchanged: the
// correlations, the scores, the variances that enter the loadings, the effects that the scores shift.

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>

#include "kernel_samples.hpp"
#include "phantom_world.hpp"
#include "sample_tests.hpp"
#include "sem/estimator.hpp"

namespace tovik::tests {
namespace {

using sem::Normal;
using sem::normal_setup;
using sem::Phantom;
using sem::phantom_term;

constexpr int replications = 12000;
constexpr int applications = 8;

nesting const small = {{5, 1, 3}, {3, 4}, {4, 2, 3, 1}};

/// One correlation: the phantom's column and level, and where it stands: (model, place, effect) twice; the
/// second carries the sign.
struct tie {
  arma::uword column;
  unsigned level;
  struct end {
    std::size_t model;
    unsigned place;
    arma::uword effect;
  } ends[2];
};

/// Outcomes with known coefficients and correlations among them.
struct CorrelatedWorld {
  World world;
  std::vector<normal_setup> setups;
  std::vector<tie> ties;
  LoneEstimator estimator;
  Random rng;
  std::vector<std::unique_ptr<Normal>> models;
  std::vector<std::unique_ptr<Phantom>> phantoms;

  CorrelatedWorld(unsigned levels, nesting const& sizes, std::uint32_t seed)
      : world(levels, sizes, seed), estimator(seed), rng(seed, 2U) {
    world.data.insert_cols(9, 8);  // 9, 10: outcomes; 11 on: phantoms
    world.data.cols(9, 16).zeros();
  }

  normal_setup& add(unsigned level, arma::uword y, arma::Col<arma::uword> x) {
    normal_setup setup = world.setup(level, std::move(x));
    setup.y = y;
    setup.prior = {1, 1};
    setup.fixed = arma::regspace<arma::Col<arma::uword>>(0, setup.x.n_elem - 1);
    setup.fixed_values = arma::linspace(-0.5, 0.5, setup.x.n_elem);
    setup.phantoms.resize(setup.n_levels + 1);
    setups.push_back(std::move(setup));
    return setups.back();
  }

  /// Terms of a place, in the order of the ties.
  void finish() {
    for (tie const& t : ties)
      for (int side : {0, 1})
        setups[t.ends[side].model].phantoms[t.ends[side].place].push_back(
            {t.column, t.ends[side].effect, side == 1});
  }

  void build() {
    models.clear();
    phantoms.clear();
    for (normal_setup const& setup : setups) models.push_back(std::make_unique<Normal>(&estimator, setup));
    auto const group = std::make_shared<sem::phantom_group>();
    for (tie const& t : ties) {
      sem::phantom_setup setup;
      setup.column = t.column;
      setup.level = t.level;
      setup.cluster = world.clusters(t.level);
      setup.n_levels = static_cast<unsigned>(world.units.size()) - t.level - 1;
      phantoms.push_back(std::make_unique<Phantom>(&estimator, setup));
      for (auto const& end : t.ends) phantoms.back()->attach(models[end.model]->correlated(t.column));
      phantoms.back()->join(group);
    }
    group->connect();
  }

  std::vector<double> rhos_of(std::size_t model, unsigned place, std::vector<double> const& all) const {
    std::vector<double> out;
    for (std::size_t k = 0; k < ties.size(); ++k)
      for (auto const& end : ties[k].ends)
        if (end.model == model && end.place == place) out.push_back(all[k]);
    return out;
  }

  /// Variances, correlations, scores, effects and outcomes from their joint distribution.
  void draw_joint() {
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
    for (tie const& t : ties) {
      auto const& units = world.units[t.level];
      arma::Mat<double> const P = rng.randn(static_cast<int>(units.max() + 1), 1);
      for (arma::uword i = 0; i < units.n_elem; ++i) world.data(i, t.column) = P(units(i));
    }
    for (std::size_t m = 0; m < models.size(); ++m) draw_outcome(m, S[m], rhos);
    for (std::size_t k = 0; k < ties.size(); ++k) phantoms[k]->addStarts({rhos[k]});
  }

  /// Rows of `place` given the phantoms: Lambda P + noise with what is left.
  arma::Mat<double> draw_place(std::size_t m, unsigned place, arma::Mat<double> const& S,
                               std::vector<double> const& rhos) {
    auto const& terms = setups[m].phantoms[place];
    auto const& rows = *setups[m].cluster.own_rows[place];
    arma::Mat<double> const Lambda = dense_loadings(S, terms, rhos_of(m, place, rhos));
    arma::Mat<double> P(rows.n_elem, terms.size());
    for (std::size_t k = 0; k < terms.size(); ++k) {
      arma::Col<double> const column = world.data.col(terms[k].column);
      P.col(k) = column.elem(rows);
    }
    arma::Mat<double> const root = arma::chol(arma::Mat<double>(S - Lambda * Lambda.t()));
    return P * Lambda.t() + rng.randn(static_cast<int>(rows.n_elem), static_cast<int>(S.n_rows)) * root;
  }

  void draw_outcome(std::size_t m, std::vector<arma::Mat<double>> const& S, std::vector<double> const& rhos) {
    Normal& model = *models[m];
    normal_setup const& setup = setups[m];
    model.sigma2 = S[0](0, 0);
    arma::Mat<double> y = draw_place(m, 0, S[0], rhos);
    auto const& rows = *setup.cluster.own_rows[0];
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
    for (arma::uword row = 0; row < world.data.n_rows; ++row)
      world.data(row, setup.y) = y(world.units[setup.level](row));
  }

  void scan() {
    for (auto const& phantom : phantoms) phantom->draw(world.data);
    for (auto const& model : models) model->draw(world.data);
  }

  std::vector<double> functions() const {
    std::vector<double> out;
    for (std::size_t k = 0; k < ties.size(); ++k) {
      arma::Col<double> const P = world.data.col(ties[k].column);
      double const rho = phantoms[k]->rho.value;
      out.insert(out.end(), {rho, P(0), arma::dot(P, P), rho * P(0)});
      for (auto const& end : ties[k].ends) {
        Normal const& model = *models[end.model];
        auto const& rows = *setups[end.model].cluster.own_rows[end.place];
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
    for (auto const& model : models) {
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

  void scans_leave_joint() {
    Samples fresh, after;
    for (int rep = 0; rep < replications; ++rep) {
      build();
      draw_joint();
      fresh.add(functions());
      draw_joint();
      for (int t = 0; t < applications; ++t) scan();
      after.add(functions());
    }
    expect_same_distribution(fresh, after);
  }
};

void two_residuals(CorrelatedWorld& w) {
  w.add(0, 1, {0, 2});
  w.add(0, 9, {0});
  w.ties = {{11, 0, {{0, 0, 0}, {1, 0, 0}}}};
  w.finish();
}

TEST(PhantomKernels, ResidualsOfTwoOutcomes) {
  CorrelatedWorld w(1, {{8}}, 301);
  two_residuals(w);
  w.scans_leave_joint();
}

TEST(PhantomKernels, ThreeResidualsWithAMissingValue) {
  CorrelatedWorld w(1, {{7}}, 303);
  w.add(0, 1, {0, 2}).missing_units = {2, 5};
  w.add(0, 9, {0});
  w.add(0, 10, {0, 3});
  w.ties = {{11, 0, {{0, 0, 0}, {1, 0, 0}}}, {12, 0, {{2, 0, 0}, {0, 0, 0}}}};
  w.finish();
  w.scans_leave_joint();
}

TEST(PhantomKernels, EffectsOfTwoOutcomes) {
  CorrelatedWorld w(2, small, 304);
  w.add(0, 1, {0}).z = {{0, 2}};
  w.add(0, 9, {0}).z = {{0}};
  w.ties = {{11, 1, {{0, 1, 0}, {1, 1, 0}}}, {12, 1, {{1, 1, 0}, {0, 1, 1}}}};
  w.finish();
  w.scans_leave_joint();
}

TEST(PhantomKernels, EffectsAtLevelThreeAndResiduals) {
  CorrelatedWorld w(3, small, 305);
  w.add(0, 1, {0}).z = {{0}, {0, 3}};
  w.add(0, 9, {0}).z = {{}, {0}};
  w.ties = {{11, 2, {{1, 2, 0}, {0, 2, 1}}}, {12, 0, {{0, 0, 0}, {1, 0, 0}}}};
  w.finish();
  w.scans_leave_joint();
}

TEST(PhantomKernels, ResidualOfLevelTwoWithAnInterceptBelow) {
  CorrelatedWorld w(3, small, 306);
  w.add(0, 1, {0}).z = {{0, 4}, {}};
  w.add(1, 9, {0}).z = {{0}};
  w.ties = {{11, 1, {{0, 1, 0}, {1, 0, 0}}}};
  w.finish();
  w.scans_leave_joint();
}

/// The residual variance alone, at known residuals and scores, against its density on a grid.
TEST(PhantomKernels, ResidualVarianceUnderThreePriors) {
  for (int prior : {1, 2, 3}) {
    CorrelatedWorld w(1, {{12}}, 310);
    two_residuals(w);
    w.setups[0].prior = {prior, 1};
    w.build();
    w.draw_joint();
    w.phantoms[0]->addStarts({-0.4});
    Normal& model = *w.models[0];
    arma::Col<double> const y = w.world.data.col(1), P = w.world.data.col(11);
    arma::Col<double> const e = y + 0.5 - 0.5 * w.world.data.col(2);
    auto log_density = [&](double v) {
      double const l = std::sqrt(0.4 * v), left = 0.6 * v;
      double sum = prior == 1 ? -2.0 * std::log(v) - 0.5 / v : prior == 3 ? -std::log(v) : 0.0;
      for (arma::uword i = 0; i < e.n_elem; ++i)
        sum -= 0.5 * (std::log(left) + (e(i) - l * P(i)) * (e(i) - l * P(i)) / left);
      return sum;
    };
    constexpr int n = 20000;
    constexpr double low = -6.0, high = 8.0;  // of log v
    std::vector<double> cdf(n + 1, 0.0);
    double top = -1e300;
    for (int i = 0; i <= n; ++i) {
      double const t = low + (high - low) * i / n;
      top = std::max(top, log_density(std::exp(t)) + t);
    }
    for (int i = 1; i <= n; ++i) {
      double const t = low + (high - low) * (i - 0.5) / n;
      cdf[static_cast<std::size_t>(i)] =
          cdf[static_cast<std::size_t>(i) - 1] + std::exp(log_density(std::exp(t)) + t - top);
    }
    auto const draws = sample(4000, [&] {
      for (int t = 0; t < 15; ++t) model.draw(w.world.data);
      return std::log(model.sigma2);
    });
    EXPECT_LT(kolmogorov(draws,
                         [&](double t) {
                           double const at = std::min(std::max((t - low) / (high - low), 0.0), 1.0) * n;
                           auto const i = std::min(static_cast<std::size_t>(at), std::size_t{n - 1});
                           double const inside = at - static_cast<double>(i);
                           return (cdf[i] + inside * (cdf[i + 1] - cdf[i])) / cdf[n];
                         }),
              2.5)
        << "prior " << prior;
  }
}

/// A covariance matrix at known effects (the residual variance is next to nothing), against draws without
/// phantoms weighted by the ratio of the densities.
TEST(PhantomKernels, CovarianceMatrixUnderThreePriors) {
  for (int prior : {1, 2, 3}) {
    CorrelatedWorld w(2, {{6, 6, 6, 6}, {6, 6, 6, 6}, {6, 6, 6, 6}}, 320);
    normal_setup& first = w.add(0, 1, {0});
    first.z = {{0, 2}};
    first.prior = {1, prior};
    first.estimate_resid = false;
    first.resid_value = 1e-12;
    w.add(0, 9, {0}).z = {{0}};
    w.ties = {{11, 1, {{0, 1, 1}, {1, 1, 0}}}};
    w.finish();
    w.build();
    w.draw_joint();
    Normal& model = *w.models[0];
    arma::Mat<double> const S0 = {{1.0, 0.3}, {0.3, 0.8}};
    model.u[0] = w.rng.randn(12, 2) * arma::chol(S0);
    model.sigma2 = 1e-12;
    for (arma::uword i = 0; i < w.world.data.n_rows; ++i)
      w.world.data(i, 1) =
          0.5 + model.u[0](w.world.units[1](i), 0) + model.u[0](w.world.units[1](i), 1) * w.world.data(i, 2);
    w.phantoms[0]->addStarts({0.5});
    arma::Mat<double> P(12, 1);
    for (arma::uword c = 0; c < 12; ++c) P(c) = w.world.data(w.world.first_rows[1](c), 11);
    arma::Mat<double> const u = model.u[0], SS = u.t() * u;

    std::vector<std::vector<double>> reference;
    std::vector<double> weights;
    double top = -1e300;
    int const df = prior == 1 ? 12 + 3 : prior == 2 ? 12 - 3 : 12;
    arma::Mat<double> const scale = prior == 1 ? arma::Mat<double>(SS + arma::eye(2, 2)) : SS;
    for (int t = 0; t < 40000; ++t) {
      arma::Mat<double> const S = arma::inv_sympd(w.rng.rwish(df, arma::inv_sympd(scale)));
      std::vector<phantom_term> const terms = {{11, 1, false}};
      if (!leaves_variance(S, terms, {0.5})) continue;
      arma::Mat<double> const Lambda = dense_loadings(S, terms, {0.5});
      arma::Mat<double> const C = S - Lambda * Lambda.t(), d = u - P * Lambda.t();
      double const gain =
          -6.0 * (std::log(arma::det(C)) - std::log(arma::det(S))) -
          0.5 * (arma::trace(arma::inv_sympd(C) * d.t() * d) - arma::trace(arma::inv_sympd(S) * SS));
      weights.push_back(gain);
      top = std::max(top, gain);
      reference.push_back({std::log(S(0, 0)), std::log(S(1, 1)), S(0, 1)});
    }
    Samples exact, drawn;
    double bound = 0.0;
    for (double& weight : weights) bound = std::max(bound, weight = std::exp(weight - top));
    for (std::size_t t = 0; t < weights.size(); ++t)
      if (w.rng.runif() * bound < weights[t]) exact.add(reference[t]);
    ASSERT_GT(exact.columns()[0].size(), 1000u);
    for (int t = 0; t < 4000; ++t) {
      for (int k = 0; k < 20; ++k) model.draw(w.world.data);
      auto const& S = model.Sigma[0];
      drawn.add({std::log(S(0, 0)), std::log(S(1, 1)), S(0, 1)});
    }
    expect_same_distribution(exact, drawn);
  }
}

}  // namespace
}  // namespace tovik::tests
