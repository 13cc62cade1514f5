// A label of a correlation: its draw leaves the joint distribution of parameters, scores and data unchanged,
// whatever prior the label has and wherever else it or what is computed from it stands.

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "invariance_frame.hpp"
#include "label_bench.hpp"
#include "model/defaults.hpp"
#include "sample_tests.hpp"

namespace tovik::tests::labels_correlation_test {
namespace {

constexpr int replications = 8000;
constexpr int applications = 8;

const std::vector<std::string> names = {"m", "x", "y", "z"};

arma::mat columns(arma::uword n = 10) {
  Random rng(7, 1);
  arma::mat out = rng.randn(static_cast<int>(n), 4);
  out.col(1) += 0.3;
  out.col(3) -= 0.2;
  return out;
}

using prior_draw = std::function<double(Random&)>;

prior_draw uniform(double a, double b) {
  return [=](Random& rng) { return a + (b - a) * rng.runif(); };
}

/// A world in which the first correlation, other labels, variances and scores come from their priors, and the
/// outcomes, in the order given, from their equations.
struct CorrelationExperiment {
  Setting<bool> keep_phantoms{sem::defaults::optimize_models, false};
  label_bench bench;
  prior_draw prior;
  std::vector<std::pair<std::string, prior_draw>> others;
  std::vector<std::string> outcomes;
  std::size_t n_phantoms;

  CorrelationExperiment(const std::vector<std::string>& statements,
                        const std::vector<std::string>& parameters, prior_draw r,
                        std::vector<std::pair<std::string, prior_draw>> more, std::vector<std::string> order,
                        std::uint32_t seed, std::size_t phantoms = 1)
      : bench(names, columns(), {}, statements, parameters, {1, 1}, seed, true),
        prior(std::move(r)),
        others(std::move(more)),
        outcomes(std::move(order)),
        n_phantoms(phantoms) {}

  void draw_joint() {
    Random& rng = bench.estimator.random;
    for (const std::string& name : outcomes) {
      sem::Normal& model = bench.equation(name);
      if (model.estimate_resid) model.sigma2 = 1.0 / rng.rgamma(1.0, 2.0);
    }
    for (const auto& [name, draw] : others) bench.label(name).constraint->write(draw(rng));
    bench.phantom(0).rho.write(prior(rng));
    for (std::size_t k = 0; k < n_phantoms; ++k) bench.phantom(k).draw_start(bench.data());
    for (const std::string& name : outcomes) bench.draw_outcome(name);
  }

  std::vector<double> functions() {
    std::vector<double> out;
    const double r = bench.phantom(0).rho.value;
    out.push_back(r);
    for (const auto& [name, draw] : others) out.push_back(bench.label(name).constraint->value);
    for (std::size_t k = 0; k < n_phantoms; ++k) {
      EXPECT_EQ(bench.phantom(k).rho.value, r);
      arma::vec const P = bench.data().col(bench.phantom(k).y(0));
      out.insert(out.end(), {P(0), arma::dot(P, P)});
    }
    std::vector<arma::vec> residuals;
    for (const std::string& name : outcomes) {
      const sem::Normal& model = bench.equation(name);
      residuals.push_back(model.residual(bench.data()) / std::sqrt(model.sigma2));
      const arma::vec& e = residuals.back();
      arma::vec const y = bench.data().col(model.y(0));
      out.insert(out.end(), {std::log(model.sigma2), arma::dot(e, e), r * arma::dot(y, bench.data().col(3)),
                             arma::dot(e, bench.data().col(3))});
      for (std::size_t k = 0; k + 1 < residuals.size(); ++k) out.push_back(arma::dot(residuals[k], e));
    }
    return out;
  }

  void scan() {
    for (const auto& model : bench.models) model->draw(bench.data());
    for (sem::drawn_label& label : bench.labels) label.constraint->draw(bench.data());
  }

  void expect_invariant() {
    for (sem::drawn_label& label : bench.labels) label.constraint->variance = 0.2;
    bench.phantom(0).rho.variance = 0.3;
    world_leaves_joint(*this, {replications, applications});
    const std::uint64_t accepted = bench.phantom(0).rho.tune.accepted,
                        total = bench.phantom(0).rho.tune.total;
    EXPECT_EQ(total, static_cast<std::uint64_t>(replications) * applications);
    EXPECT_GT(accepted, total / 20);
    EXPECT_LT(accepted, total - total / 20);
  }
};

TEST(LabelOfACorrelation, WithAPrior) {
  CorrelationExperiment e({"m ~ 1@0.2 z@0.5", "y ~ 1@0 z@0.3", "m <-> y@r"}, {"r ~ uniform(-0.3, 0.8)"},
                          uniform(-0.3, 0.8), {}, {"m", "y"}, 501);
  e.expect_invariant();
}

TEST(LabelOfACorrelation, WithAPriorThatFavoursASign) {
  CorrelationExperiment e(
      {"m ~ 1@0.2", "y ~ 1@0", "m <-> y@r"}, {"r ~ beta(2, 3)"},
      [](Random& rng) {
        double const a = rng.rgamma(2.0, 1.0), b = rng.rgamma(3.0, 1.0);
        return a / (a + b);
      },
      {}, {"m", "y"}, 502);
  e.expect_invariant();
}

TEST(LabelOfACorrelation, TwoCorrelationsOfDifferentOutcomes) {
  CorrelationExperiment e({"m ~ 1@0", "x ~ 1@0.3", "y ~ 1@0", "z ~ 1@0", "m <-> x@r", "y <-> z@r"}, {},
                          uniform(-1.0, 1.0), {}, {"m", "x", "y", "z"}, 503, 2);
  e.expect_invariant();
}

/// |r| < 1/2, so that the outcome in the middle keeps a variance of its own.
TEST(LabelOfACorrelation, TwoCorrelationsOfOneOutcome) {
  CorrelationExperiment e({"m ~ 1@0", "x ~ 1@0.3", "y ~ 1@0", "m <-> x@r", "x <-> y@r"}, {},
                          uniform(-0.5, 0.5), {}, {"m", "x", "y"}, 504, 2);
  e.expect_invariant();
}

TEST(LabelOfACorrelation, ComputedFromItACoefficientOfItsOwnEquation) {
  CorrelationExperiment e({"m ~ 1@0.2", "y ~ 1@0 z@d", "m <-> y@r"}, {"r ~ uniform(-0.7, 0.7)", "d = 2 * r"},
                          uniform(-0.7, 0.7), {}, {"m", "y"}, 505);
  e.expect_invariant();
}

TEST(LabelOfACorrelation, ComputedFromItAndAnotherLabelInAThirdEquation) {
  CorrelationExperiment e({"m ~ 1@0.2", "y ~ 1@0", "m <-> y@r", "x ~ 1@0 z@d"},
                          {"a ~ normal(0.2, 0.3)", "d = a + r"}, uniform(-1.0, 1.0),
                          {{"a", [](Random& rng) { return 0.2 + std::sqrt(0.3) * rng.rnorm(); }}},
                          {"m", "y", "x"}, 506);
  e.expect_invariant();
}

TEST(LabelOfACorrelation, ACoefficientToo) {
  CorrelationExperiment e({"m ~ 1@0.2", "y ~ 1@0 z@r", "m <-> y@r"}, {}, uniform(-1.0, 1.0), {}, {"m", "y"},
                          507);
  e.expect_invariant();
}

TEST(LabelOfACorrelation, InsideATerm) {
  CorrelationExperiment e({"m ~ 1@0.2", "y ~ 1@0 (z*exp(r))@1", "m <-> y@r"}, {}, uniform(-1.0, 1.0), {},
                          {"m", "y"}, 508);
  e.expect_invariant();
}

}  // namespace
}  // namespace tovik::tests::labels_correlation_test
