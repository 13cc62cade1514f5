// Correlations between the latent residuals of logistic and count outcomes and other outcomes: the steps of
// correlations, scores and equations leave the joint distribution of everything unchanged.

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <numeric>

#include "correlated_world.hpp"
#include "count_world.hpp"
#include "invariance_frame.hpp"
#include "logistic_world.hpp"
#include "prior_states.hpp"
#include "sample_tests.hpp"

namespace tovik::tests::logistic_phantom_kernel_test {
namespace {

using sem::equation_setup;
using sem::Logistic;
using sem::NBinomial;
using sem::Normal;
using sem::Phantom;
using sem::Regression;

constexpr int replications = 12000;
constexpr int applications = 8;
constexpr double prior_variance = 0.5;

enum class kind { normal, binary, count };

/// Logistic, count and normal outcomes with correlations among them; coefficients of the normal ones are
/// known.
struct MixedWorld : TiedWorld {
  std::vector<kind> kinds;
  std::vector<std::unique_ptr<Regression>> models;
  const Setting<bool> check{Regression::check_residuals, true};
  const ShortSeries series{20};

  using TiedWorld::TiedWorld;

  equation_setup& add(kind what, unsigned level, arma::uword y, arma::Col<arma::uword> x) {
    equation_setup& setup = TiedWorld::add(level, y, std::move(x));
    kinds.push_back(what);
    if (what == kind::normal) return setup;
    setup.fixed.reset();
    setup.fixed_values.reset();
    setup = logistic(setup, prior_variance);
    return setup;
  }
  void build() {
    models.clear();
    for (std::size_t m = 0; m < setups.size(); ++m) {
      if (kinds[m] == kind::binary)
        models.push_back(std::make_unique<Logistic>(&estimator, setups[m]));
      else if (kinds[m] == kind::count)
        models.push_back(std::make_unique<NBinomial>(&estimator, setups[m]));
      else
        models.push_back(std::make_unique<Normal>(&estimator, setups[m]));
    }
    connect(models);
  }

  /// Rows of Lambda P + noise with what is left.
  arma::Mat<double> draw_place(Regression& model, unsigned place) {
    const auto& loadings = model.part(place).loadings;
    const auto& rows = *model.cluster.own_rows[place];
    const arma::Mat<double> left =
        place == 0 ? arma::Mat<double>{model.residVar()} : model.Sigma_s(static_cast<int>(place) - 1);
    arma::Mat<double> out =
        rng.randn(static_cast<int>(rows.n_elem), static_cast<int>(left.n_rows)) * arma::chol(left);
    for (arma::uword k = 0; k < loadings.size(); ++k) {
      const arma::uword t = loadings.terms()[k].effect;
      const arma::Col<double> P = world.data.col(loadings.terms()[k].column);
      out.col(t) += loadings.loadings()(t, k) * P.elem(rows);
    }
    return out;
  }
  void draw_outcome(Regression& model) {
    for (unsigned L = 0; L < model.n_levels; ++L)
      if (model.u[L].n_cols > 0) model.u[L] = draw_place(model, L + 1);
    if (auto* logit = dynamic_cast<Logistic*>(&model)) {
      draw_binary(world, *logit, rng);
      return;
    }
    if (auto* count = dynamic_cast<NBinomial*>(&model)) {
      draw_counts(world, *count, rng);
      return;
    }
    draw_normal(world, model, rng);  // with what the phantoms add
  }
  void draw_joint() {
    for (bool valid = false; !valid;) {
      // Variances and correlations are there when phantoms have theirs.
      for (const auto& model : models) draw_starts(*model, prior_variance, rng);
      for (const auto& phantom : phantoms) phantom->rho.write(2.0 * rng.runif() - 1.0);
      valid = true;
      for (const auto& phantom : phantoms) valid = phantom->feasible() && valid;
    }
    draw_scores();
    for (const auto& model : models) draw_outcome(*model);
  }

  std::vector<double> functions() const {
    std::vector<double> out;
    for (std::size_t k = 0; k < ties.size(); ++k) {
      const arma::Col<double> P = world.data.col(ties[k].column);
      const double rho = phantoms[k]->rho.value;
      out.insert(out.end(), {rho, rho * std::fabs(rho), P(0), arma::dot(P, P), rho * P(0)});
      for (const auto& end : ties[k].ends) {
        const Regression& model = *models[end.model];
        const auto& rows = *model.cluster.own_rows[end.place];
        const arma::Col<double> scores = P.elem(rows);
        arma::Col<double> e(rows.n_elem);
        if (end.place > 0)
          e = model.u[end.place - 1].col(end.effect);
        else if (kinds[end.model] == kind::binary)
          for (arma::uword i = 0; i < e.n_elem; ++i) e(i) = world.data(rows(i), model.y(0)) - 0.5;
        else if (kinds[end.model] == kind::count)
          for (arma::uword i = 0; i < e.n_elem; ++i) e(i) = std::log1p(world.data(rows(i), model.y(0))) - 0.5;
        else
          e = arma::Col<double>(model.compute_residual(world.data));
        out.insert(out.end(), {arma::dot(e, scores), e(0) * scores(0), rho * e(0) * scores(0)});
      }
    }
    for (std::size_t m = 0; m < models.size(); ++m) {
      const Regression& model = *models[m];
      const arma::Col<double> l = model.logLiklihood(world.data, static_cast<int>(model.level));
      out.insert(out.end(), {arma::accu(l), l(0)});
      if (kinds[m] != kind::normal)
        for (double b : model.betas()) out.push_back(b);
      if (kinds[m] != kind::binary)
        out.push_back(std::log(model.params()(model.n_params() - model.betas().n_elem - 1)));
      for (unsigned L = 0; L < model.n_levels; ++L)
        if (model.u[L].n_cols > 0)
          out.insert(out.end(), {std::log(model.Sigma[L](0, 0)), model.u[L](0, 0), model.u[L](1, 0)});
    }
    return out;
  }
  void scan() {
    for (const auto& phantom : phantoms) phantom->draw(world.data);
    for (const auto& model : models) model->draw(world.data);
  }
  void scans_leave_joint() {
    world_leaves_joint(*this, {replications, applications, [&] { build(); }});
  }
};

TEST(LogisticPhantoms, ABinaryAndANormalOutcome) {
  MixedWorld w(1, {{8}}, 321);
  w.add(kind::binary, 0, 1, {0, 2}).missing_units = {1, 4};
  w.add(kind::normal, 0, 9, {0, 3}).missing_units = {1, 2};
  w.ties = {{11, 0, {{0, 0, 0}, {1, 0, 0}}}};
  w.finish();
  w.scans_leave_joint();
}

TEST(LogisticPhantoms, TwoBinaryOutcomesAndANormalOne) {
  MixedWorld w(1, {{9}}, 322);
  w.add(kind::binary, 0, 1, {0, 2});
  w.add(kind::binary, 0, 9, {0});
  w.add(kind::normal, 0, 10, {0, 3});
  w.ties = {
      {11, 0, {{0, 0, 0}, {1, 0, 0}}}, {12, 0, {{2, 0, 0}, {0, 0, 0}}}, {13, 0, {{1, 0, 0}, {2, 0, 0}}}};
  w.finish();
  w.scans_leave_joint();
}

// A binary outcome of the second level and the effects of a normal one of the rows.
TEST(LogisticPhantoms, ABinaryOutcomeAndEffectsOfItsLevel) {
  MixedWorld w(2, {{5, 1, 3}, {3, 4}, {4, 2, 3, 1}}, 323);
  w.add(kind::binary, 1, 1, {0, 6});
  w.add(kind::normal, 0, 9, {0}).z = {{0, 3}};
  w.ties = {{11, 1, {{0, 0, 0}, {1, 1, 0}}}, {12, 1, {{0, 0, 0}, {1, 1, 1}}}};
  w.finish();
  w.scans_leave_joint();
}

TEST(LogisticPhantoms, EffectsOfABinaryOutcomeAndOfANormalOne) {
  MixedWorld w(2, {{5, 1, 3}, {3, 4}, {4, 2, 3, 1}}, 324);
  w.add(kind::binary, 0, 1, {0, 2}).z = {{0}};
  w.add(kind::normal, 0, 9, {0}).z = {{0}};
  w.ties = {{11, 1, {{0, 1, 0}, {1, 1, 0}}}};
  w.finish();
  w.scans_leave_joint();
}

// The whole latent variance is what the phantoms carry and the logistic variance beside them.
TEST(LogisticPhantoms, LoadingsGiveTheLatentScaleItsCorrelations) {
  MixedWorld w(1, {{8}}, 325);
  w.add(kind::binary, 0, 1, {0});
  w.add(kind::normal, 0, 9, {0});
  w.add(kind::normal, 0, 10, {0});
  w.ties = {{11, 0, {{0, 0, 0}, {1, 0, 0}}}, {12, 0, {{2, 0, 0}, {0, 0, 0}}}};
  w.finish();
  w.build();
  w.phantoms[0]->rho.write(0.3);
  w.phantoms[1]->rho.write(-0.5);
  const double noise = 3.289868133696453, V = noise / 0.2;
  const arma::Mat<double>& l = w.models[0]->part(0).loadings.loadings();
  EXPECT_NEAR(l(0, 0), std::sqrt(0.3 * V), 1e-12);
  EXPECT_NEAR(l(0, 1), -std::sqrt(0.5 * V), 1e-12);
  EXPECT_NEAR(arma::accu(l % l) + noise, V, 1e-12);
  const double other = w.models[1]->part(0).loadings.loadings()(0, 0);  // of variance 1
  EXPECT_NEAR(l(0, 0) * other / std::sqrt(V), 0.3, 1e-12);
  w.phantoms[0]->rho.write(0.5);
  EXPECT_FALSE(w.phantoms[0]->feasible());
  w.phantoms[0]->rho.write(0.7);
  EXPECT_FALSE(w.phantoms[0]->feasible());
}

TEST(CountPhantoms, ACountAndANormalOutcome) {
  MixedWorld w(1, {{8}}, 326);
  w.add(kind::count, 0, 1, {0, 2}).missing_units = {1, 4};
  w.add(kind::normal, 0, 9, {0, 3}).missing_units = {1, 2};
  w.ties = {{11, 0, {{0, 0, 0}, {1, 0, 0}}}};
  w.finish();
  w.scans_leave_joint();
}

TEST(CountPhantoms, TwoCountsAndABinaryOutcome) {
  MixedWorld w(1, {{7}}, 327);
  w.add(kind::count, 0, 1, {0, 2});
  w.add(kind::count, 0, 9, {0}).missing_units = {3};
  w.add(kind::binary, 0, 10, {0, 3});
  w.ties = {{11, 0, {{0, 0, 0}, {1, 0, 0}}}, {12, 0, {{2, 0, 0}, {0, 0, 0}}}};
  w.finish();
  w.scans_leave_joint();
}

TEST(CountPhantoms, EffectsOfACountAndOfANormalOutcome) {
  MixedWorld w(2, {{5, 1, 3}, {3, 4}}, 328);
  w.world.data.col(4).fill(0.15);
  w.add(kind::count, 0, 1, {0, 2}).z = {{4}};
  w.add(kind::normal, 0, 9, {0}).z = {{0}};
  w.ties = {{11, 1, {{0, 1, 0}, {1, 1, 0}}}};
  w.finish();
  w.scans_leave_joint();
}

// A phantom moves the mean of a count by exp(1) at the most for each of its standard deviations.
TEST(CountPhantoms, LoadingsAreRootsOfCorrelations) {
  MixedWorld w(1, {{8}}, 329);
  w.add(kind::count, 0, 1, {0});
  w.add(kind::normal, 0, 9, {0});
  w.ties = {{11, 0, {{1, 0, 0}, {0, 0, 0}}}};
  w.finish();
  w.build();
  w.phantoms[0]->rho.write(-0.36);
  EXPECT_NEAR(w.models[0]->part(0).loadings.loadings()(0, 0), -0.6, 1e-12);
}

}  // namespace
}  // namespace tovik::tests::logistic_phantom_kernel_test
