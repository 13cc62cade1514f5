// The draw of a shared parameter leaves the joint distribution of parameters and data unchanged, wherever the
// parameter stands and whatever its prior is.

#include <gtest/gtest.h>

#include <boost/math/distributions/beta.hpp>
#include <cmath>
#include <functional>

#include "kernel_samples.hpp"
#include "label_bench.hpp"

namespace tovik::tests::label_invariance_test {
namespace {

constexpr int replications = 12000;
constexpr int applications = 10;

const std::vector<std::string> names = {"m", "x", "y", "z"};

arma::mat columns(arma::uword n = 12) {
  Random rng(7, 1);
  arma::mat out = rng.randn(static_cast<int>(n), 4);
  out.col(1) += 0.3;
  out.col(3) -= 0.2;
  return out;
}

using prior_draw = std::function<double(Random&)>;

/// One world in which labels come from their priors and the outcomes, in the order given, from their
/// equations.
struct Experiment {
  label_bench bench;
  std::vector<std::pair<std::string, prior_draw>> priors;
  std::vector<std::string> outcomes;
  bool rebuild = false;  ///< models keep what they know of the data: make them anew

  void draw_joint() {
    if (rebuild) bench.build();
    Random& rng = bench.estimator.random;
    for (const std::string& name : outcomes) {
      sem::Normal& model = bench.equation(name);
      if (model.estimate_resid) model.sigma2 = 1.0 / rng.rgamma(1.0, 2.0);
      for (unsigned L = 0; L < model.n_levels; ++L) {
        if (model.u[L].n_cols == 0) continue;
        model.iSigma[L](0, 0) = rng.rgamma(1.0, 2.0);
        model.Sigma[L](0, 0) = 1.0 / model.iSigma[L](0, 0);
        for (double& u : model.u[L]) u = std::sqrt(model.Sigma[L](0, 0)) * rng.rnorm();
      }
    }
    for (const auto& [name, draw] : priors) bench.label(name).constraint->write(draw(rng));
    for (const std::string& name : outcomes) bench.draw_outcome(name);
    if (rebuild) keep_state();
  }

  /// The models are made for data that stand: once more at the new outcomes, with the same state.
  void keep_state() {
    std::vector<double> values;
    for (const auto& [name, draw] : priors) values.push_back(bench.label(name).constraint->value);
    std::vector<arma::vec> states;
    for (const std::string& name : outcomes) states.push_back(bench.equation(name).params());
    bench.build();
    for (std::size_t k = 0; k < outcomes.size(); ++k) bench.equation(outcomes[k]).addStarts(states[k]);
    for (std::size_t k = 0; k < priors.size(); ++k) bench.label(priors[k].first).constraint->write(values[k]);
  }

  std::vector<double> functions() {
    std::vector<double> out;
    for (const auto& [name, draw] : priors) {
      const double value = bench.label(name).constraint->value;
      out.push_back(value);
      for (const std::string& outcome : outcomes) {
        sem::Normal& model = bench.equation(outcome);
        const arma::vec y = bench.data().col(model.y(0));
        out.push_back(value * arma::dot(y, bench.data().col(1)));
        out.push_back(value * arma::dot(y, bench.data().col(3)));
      }
    }
    for (const std::string& outcome : outcomes) {
      sem::Normal& model = bench.equation(outcome);
      const arma::mat e = model.compute_residual(bench.data());
      out.push_back(std::log(model.sigma2));
      out.push_back(std::log(arma::accu(arma::square(e)) / model.sigma2));
      out.push_back(arma::dot(e, bench.data().col(1)) / std::sqrt(model.sigma2));
      out.push_back(arma::dot(e, bench.data().col(3)) / std::sqrt(model.sigma2));
      for (const arma::mat& Sigma : model.Sigma) {
        if (!Sigma.is_empty()) out.push_back(std::log(Sigma(0, 0)));
      }
    }
    return out;
  }

  void scan() {
    for (const auto& model : bench.models) model->draw(bench.data());
    for (sem::drawn_label& label : bench.labels) label.constraint->draw(bench.data());
  }

  void expect_invariant(double proposal_sd) {
    Samples fresh, after;
    unsigned accepted = 0, total = 0;
    for (int rep = 0; rep < replications; ++rep) {
      draw_joint();
      fresh.add(functions());
      draw_joint();
      for (sem::drawn_label& label : bench.labels) {
        label.constraint->variance = proposal_sd * proposal_sd;
        label.constraint->tune = sem::estimator::tune_obj(1.0, label.constraint->tune.kind);
      }
      for (int t = 0; t < applications; ++t) scan();
      after.add(functions());
      for (sem::drawn_label& label : bench.labels) {
        accepted += label.constraint->tune.accepted;
        total += label.constraint->tune.total;
      }
    }
    expect_same_distribution(fresh, after);
    // A kernel that never moves would leave everything unchanged as well.
    EXPECT_GT(accepted, total / 20);
    EXPECT_LT(accepted, total - total / 20);
  }
};

Experiment make(const std::vector<std::string>& statements, const std::vector<std::string>& parameters,
                std::vector<std::pair<std::string, prior_draw>> priors, std::vector<std::string> outcomes,
                std::uint32_t seed, bool rebuild = false) {
  return {label_bench(names, columns(), {}, statements, parameters, {1, 1}, seed, !rebuild),
          std::move(priors), std::move(outcomes), rebuild};
}

prior_draw normal(double mean, double variance) {
  return [=](Random& rng) { return mean + std::sqrt(variance) * rng.rnorm(); };
}

prior_draw default_variance() {
  return [](Random& rng) { return 1.0 / rng.rgamma(1.0, 2.0); };
}

TEST(LabelInvariance, TwoPlacesOfOneModelWithEachPrior) {
  const std::vector<std::pair<std::string, prior_draw>> families = {
      {"normal(0.3, 0.5)", normal(0.3, 0.5)},
      {"gamma(2, 0.4)", [](Random& rng) { return rng.rgamma(2.0, 0.4); }},
      {"invgamma(3, 1)", [](Random& rng) { return 1.0 / rng.rgamma(3.0, 1.0); }},
      {"beta(2, 3)",
       [](Random& rng) {
         return boost::math::quantile(boost::math::beta_distribution<>(2, 3), rng.runif());
       }},
      {"laplace(0.2, 0.4)",
       [](Random& rng) {
         const double e = -std::log(1.0 - rng.runif());
         return 0.2 + (rng.runif() < 0.5 ? -0.4 : 0.4) * e;
       }},
      {"cauchy(0.1, 0.3)",
       [](Random& rng) { return 0.1 + 0.3 * std::tan(arma::datum::pi * (rng.runif() - 0.5)); }},
      {"uniform(-1, 2)", [](Random& rng) { return -1.0 + 3.0 * rng.runif(); }},
      {"truncate(-1, 1)", [](Random& rng) { return -1.0 + 2.0 * rng.runif(); }},
  };
  std::uint32_t seed = 300;
  for (const auto& [text, draw] : families) {
    SCOPED_TRACE(text);
    Experiment e = make({"y ~ 1@0.5 x@a z@a"}, {"a ~ " + text}, {{"a", draw}}, {"y"}, ++seed);
    e.expect_invariant(0.5);
  }
}

TEST(LabelInvariance, TwoModels) {
  Experiment e = make({"m ~ 1@0 x@a", "y ~ 1@0.2 z@a m@a"}, {"a ~ normal(0.3, 0.3)"},
                      {{"a", normal(0.3, 0.3)}}, {"m", "y"}, 320);
  e.expect_invariant(0.4);
}

TEST(LabelInvariance, FromCrossProducts) {
  Experiment e =
      make({"y ~ 1@0.5 x@a z@a"}, {"a ~ normal(0.3, 0.5)"}, {{"a", normal(0.3, 0.5)}}, {"y"}, 321, true);
  e.expect_invariant(0.4);
}

TEST(LabelInvariance, ResidualVarianceOfTwoModels) {
  Experiment e = make({"m ~ 1@0 x@0.4", "y ~ 1@0.2 z@0.3 m@0.5", "m ~~ m@v", "y ~~ y@v"}, {},
                      {{"v", default_variance()}}, {"m", "y"}, 330);
  e.expect_invariant(0.5);
}

TEST(LabelInvariance, ResidualVarianceWithItsOwnPrior) {
  Experiment e = make({"y ~ 1@0.2 z@0.3", "y ~~ y@v"}, {"v ~ gamma(2, 0.7)"},
                      {{"v", [](Random& rng) { return rng.rgamma(2.0, 0.7); }}}, {"y"}, 331);
  e.expect_invariant(0.5);
}

TEST(LabelInvariance, InsideAComputedTerm) {
  Experiment e =
      make({"y ~ 1@0 x@k (x*exp(k*z))@1"}, {"k ~ normal(0, 0.2)"}, {{"k", normal(0, 0.2)}}, {"y"}, 340);
  e.expect_invariant(0.3);
}

TEST(LabelInvariance, ComputedParametersThatFeedModels) {
  Experiment e = make({"m ~ 1@0 x@a", "y ~ 1@0 m@b x@c (z*d)@1"},
                      {"a ~ normal(0.2, 0.3)", "b ~ normal(0, 0.3)", "c = a * b", "d = c + a"},
                      {{"a", normal(0.2, 0.3)}, {"b", normal(0, 0.3)}}, {"m", "y"}, 350);
  e.expect_invariant(0.4);
}

TEST(LabelInvariance, ComputedResidualVariance) {
  Experiment e = make({"m ~ 1@0 x@a", "y ~ 1@0 m@0.5", "y ~~ y@v"}, {"a ~ normal(0.2, 0.3)", "v = exp(a)"},
                      {{"a", normal(0.2, 0.3)}}, {"m", "y"}, 351);
  e.expect_invariant(0.4);
}

TEST(LabelInvariance, BesideRandomEffectsAndAHandleOnTheirVariance) {
  arma::mat data = columns(14);
  data.insert_cols(0, 1);
  const std::vector<double> schools = {1, 1, 1, 2, 3, 3, 3, 3, 4, 4, 5, 5, 5, 5};
  data.col(0) = arma::vec(schools);
  Experiment e = {label_bench({"school", "m", "x", "y", "z"}, data, {"school"}, {"y ~ 1@0.1 x@a z@a | 1@v"},
                              {"a ~ normal(0.3, 0.5)", "s = sqrt(v)"}, {1, 1}, 360, true),
                  {{"a", normal(0.3, 0.5)}},
                  {"y"},
                  false};
  e.expect_invariant(0.4);
  EXPECT_EQ(e.bench.cell("v"), e.bench.equation("y").Sigma[0](0, 0));
}

}  // namespace
}  // namespace tovik::tests::label_invariance_test
