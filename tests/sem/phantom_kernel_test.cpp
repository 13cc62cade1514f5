// The steps of correlations that phantoms carry leave the joint distribution of everything unchanged: the
// correlations, the scores, the variances that enter the loadings, the effects that the scores shift.

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>

#include "correlated_world.hpp"
#include "invariance_frame.hpp"
#include "sample_tests.hpp"
#include "sem/wiring/estimator.hpp"

namespace tovik::tests::phantom_kernel_test {
namespace {

using sem::equation_setup;
using sem::Normal;
using sem::Phantom;
using sem::phantom_term;

constexpr int replications = 12000;
constexpr int applications = 8;

const nesting small = {{5, 1, 3}, {3, 4}, {4, 2, 3, 1}};

void scans_leave_joint(CorrelatedWorld& w) {
  world_leaves_joint(w, {replications, applications, [&] { w.build(); }});
}

void two_residuals(CorrelatedWorld& w) {
  w.add(0, 1, {0, 2});
  w.add(0, 9, {0});
  w.ties = {{11, 0, {{0, 0, 0}, {1, 0, 0}}}};
  w.finish();
}

TEST(PhantomKernels, ResidualsOfTwoOutcomes) {
  CorrelatedWorld w(1, {{8}}, 301);
  two_residuals(w);
  scans_leave_joint(w);
}

TEST(PhantomKernels, ThreeResidualsWithAMissingValue) {
  CorrelatedWorld w(1, {{7}}, 303);
  w.add(0, 1, {0, 2}).missing_units = {2, 5};
  w.add(0, 9, {0});
  w.add(0, 10, {0, 3});
  w.ties = {{11, 0, {{0, 0, 0}, {1, 0, 0}}}, {12, 0, {{2, 0, 0}, {0, 0, 0}}}};
  w.finish();
  scans_leave_joint(w);
}

TEST(PhantomKernels, EveryPairOfThreeResiduals) {
  CorrelatedWorld w(1, {{9}}, 307);
  w.add(0, 1, {0, 2});
  w.add(0, 9, {0});
  w.add(0, 10, {0, 3}).missing_units = {1};
  w.ties = {
      {11, 0, {{0, 0, 0}, {1, 0, 0}}}, {12, 0, {{2, 0, 0}, {0, 0, 0}}}, {13, 0, {{1, 0, 0}, {2, 0, 0}}}};
  w.finish();
  scans_leave_joint(w);
}

/// Residuals and effects of the same equations: two sets of values, and several phantoms in each.
TEST(PhantomKernels, SeveralEffectsAndResiduals) {
  CorrelatedWorld w(2, small, 308);
  w.add(0, 1, {0}).z = {{0, 2}};
  w.add(0, 9, {0}).z = {{0, 3}};
  w.add(0, 10, {0});
  w.ties = {{11, 1, {{0, 1, 0}, {1, 1, 0}}},
            {12, 1, {{1, 1, 1}, {0, 1, 1}}},
            {13, 0, {{0, 0, 0}, {1, 0, 0}}},
            {14, 0, {{1, 0, 0}, {2, 0, 0}}}};
  w.finish();
  scans_leave_joint(w);
}

TEST(PhantomKernels, EffectsOfTwoOutcomes) {
  CorrelatedWorld w(2, small, 304);
  w.add(0, 1, {0}).z = {{0, 2}};
  w.add(0, 9, {0}).z = {{0}};
  w.ties = {{11, 1, {{0, 1, 0}, {1, 1, 0}}}, {12, 1, {{1, 1, 0}, {0, 1, 1}}}};
  w.finish();
  scans_leave_joint(w);
}

TEST(PhantomKernels, EffectsAtLevelThreeAndResiduals) {
  CorrelatedWorld w(3, small, 305);
  w.add(0, 1, {0}).z = {{0}, {0, 3}};
  w.add(0, 9, {0}).z = {{}, {0}};
  w.ties = {{11, 2, {{1, 2, 0}, {0, 2, 1}}}, {12, 0, {{0, 0, 0}, {1, 0, 0}}}};
  w.finish();
  scans_leave_joint(w);
}

TEST(PhantomKernels, ResidualOfLevelTwoWithAnInterceptBelow) {
  CorrelatedWorld w(3, small, 306);
  w.add(0, 1, {0}).z = {{0, 4}, {}};
  w.add(1, 9, {0}).z = {{0}};
  w.ties = {{11, 1, {{0, 1, 0}, {1, 0, 0}}}};
  w.finish();
  scans_leave_joint(w);
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
    const arma::Col<double> y = w.world.data.col(1), P = w.world.data.col(11);
    const arma::Col<double> e = y + 0.5 - 0.5 * w.world.data.col(2);
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
      const double t = low + (high - low) * i / n;
      top = std::max(top, log_density(std::exp(t)) + t);
    }
    for (int i = 1; i <= n; ++i) {
      const double t = low + (high - low) * (i - 0.5) / n;
      cdf[static_cast<std::size_t>(i)] =
          cdf[static_cast<std::size_t>(i) - 1] + std::exp(log_density(std::exp(t)) + t - top);
    }
    const auto draws = sample(4000, [&] {
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
    equation_setup& first = w.add(0, 1, {0});
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
    const arma::Mat<double> S0 = {{1.0, 0.3}, {0.3, 0.8}};
    model.u[0] = w.rng.randn(12, 2) * arma::chol(S0);
    model.sigma2 = 1e-12;
    for (arma::uword i = 0; i < w.world.data.n_rows; ++i)
      w.world.data(i, 1) =
          0.5 + model.u[0](w.world.units[1](i), 0) + model.u[0](w.world.units[1](i), 1) * w.world.data(i, 2);
    w.phantoms[0]->addStarts({0.5});
    arma::Mat<double> P(12, 1);
    for (arma::uword c = 0; c < 12; ++c) P(c) = w.world.data(w.world.first_rows[1](c), 11);
    const arma::Mat<double> u = model.u[0], SS = u.t() * u;

    std::vector<std::vector<double>> reference;
    std::vector<double> weights;
    double top = -1e300;
    const int df = prior == 1 ? 12 + 3 : prior == 2 ? 12 - 3 : 12;
    const arma::Mat<double> scale = prior == 1 ? arma::Mat<double>(SS + arma::eye(2, 2)) : SS;
    for (int t = 0; t < 40000; ++t) {
      const arma::Mat<double> S = arma::inv_sympd(w.rng.rwish(df, arma::inv_sympd(scale)));
      const std::vector<phantom_term> terms = {{11, 1, false}};
      if (!leaves_variance(S, terms, {0.5})) continue;
      const arma::Mat<double> Lambda = dense_loadings(S, terms, {0.5});
      const arma::Mat<double> C = S - Lambda * Lambda.t(), d = u - P * Lambda.t();
      const double gain =
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
      const auto& S = model.Sigma[0];
      drawn.add({std::log(S(0, 0)), std::log(S(1, 1)), S(0, 1)});
    }
    expect_same_distribution(exact, drawn);
  }
}

}  // namespace
}  // namespace tovik::tests::phantom_kernel_test
