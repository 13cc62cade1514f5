// A transformed outcome whose residuals, or effects, are correlated with those of others: the draws of
// lambda, alone and within scans, leave the joint distribution of everything unchanged, and lambda has the
// density that the block gives it.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "block_world.hpp"
#include "correlated_world.hpp"
#include "evaluate/functions.hpp"
#include "kernel_samples.hpp"
#include "sample_tests.hpp"
#include "yjt_world.hpp"

namespace tovik::tests::yjt_correlated_invariance_test {
namespace {

constexpr int replications = 8000;
constexpr int applications = 5;
constexpr double lower = 0.05, upper = 1.95;

const nesting small = {{5, 1, 3}, {3, 4}};

enum class how { scans, lambda_alone, by_its_label };

sem::yjt<sem::Normal>& transformed(BlockWorld& w, std::size_t m) {
  return dynamic_cast<sem::yjt<sem::Normal>&>(*w.models[m]);
}

/// The handle that a label of lambda moves it by, under the prior.
std::shared_ptr<sem::estimator::constraint> label_of(BlockWorld& w, std::size_t m) {
  auto out = transformed(w, m).constraint(sem::parameter_type::lambda, 0, 0);
  const lambda_bounds within = w.lambda[m];
  out->add_once([within](const double& x, const arma::Mat<double>&) {
    return x > within.lower && x < within.upper ? 0.0 : -arma::datum::inf;
  });
  out->variance = 0.09;
  return out;
}

void leaves_joint(BlockWorld& w, how drawn) {
  w.finish();
  Samples fresh, after;
  for (int rep = 0; rep < replications; ++rep) {
    w.build();
    w.draw_joint();
    fresh.add(w.functions());
    w.draw_joint();
    const auto label = drawn == how::by_its_label ? label_of(w, 0) : nullptr;
    if (label != nullptr) label->value = lambda_of(*w.models[0]);
    for (int t = 0; t < applications; ++t) {
      if (label != nullptr) label->draw(w.world.data);
      if (drawn == how::lambda_alone)
        transformed(w, 0).draw_lambda(w.world.data);
      else
        w.scan();
    }
    after.add(w.functions());
  }
  expect_same_distribution(fresh, after);
}

/// Two transformed outcomes and one that reads the first of them.
void three_outcomes(BlockWorld& w) {
  w.add(0, {0, 2});
  w.transform(lower, upper);
  w.add(0, {0});
  w.transform(0.4, 1.6);
  w.add(0, {0, 1});
}

TEST(YeoJohnsonInABlock, ScansLeaveTheJointDistribution) {
  BlockWorld w(1, {{10}}, 820);
  three_outcomes(w);
  w.setups[1].missing_units = {0, 3, 7};
  leaves_joint(w, how::scans);
}

TEST(YeoJohnsonInABlock, TheDrawOfLambdaLeavesTheJointDistribution) {
  BlockWorld w(1, {{10}}, 821);
  three_outcomes(w);
  leaves_joint(w, how::lambda_alone);
}

TEST(YeoJohnsonInABlock, ALabelOfLambdaLeavesTheJointDistribution) {
  BlockWorld w(1, {{10}}, 822);
  three_outcomes(w);
  leaves_joint(w, how::by_its_label);
}

TEST(YeoJohnsonInABlock, WithThreeEffectsAndAKnownCorrelation) {
  BlockWorld w(2, small, 823);
  three_outcomes(w);
  w.setups[0].z = {{0, 3, 4}};
  w.setups[2].z = {{0}};
  w.hold_correlation(1, 0, 0.6);
  leaves_joint(w, how::scans);
}

TEST(YeoJohnsonInABlock, OfClusters) {
  BlockWorld w(3, {{2, 1, 3}, {2, 1}, {1, 2, 1}, {2}}, 824);
  w.add(1, {0, 6}).z = {{0}};
  w.transform(lower, upper);
  w.add(1, {0}).missing_units = {2};
  w.hold_correlation(1, 0, 0.8);
  leaves_joint(w, how::scans);
}

// Given all else lambda has the density of the residuals of all members at once times the derivatives of the
// transformation.
TEST(YeoJohnsonInABlock, LambdaHasTheDensityOfTheBlock) {
  constexpr int cells = 2000;
  BlockWorld w(2, {{6, 1, 9}, {7, 8, 1}}, 825);
  three_outcomes(w);
  w.setups[0].z = {{0}};
  w.finish();
  w.build();
  w.draw_joint();
  sem::yjt<sem::Normal>& model = transformed(w, 0);
  const arma::vec y = w.world.data.col(1), mu = model.compute_predicted(w.world.data);
  arma::mat E(y.n_elem, 3);
  for (std::size_t m = 1; m < 3; ++m) E.col(m) = w.models[m]->compute_residual(w.world.data);
  const arma::mat Omega = arma::inv_sympd(w.block->covariance());
  std::vector<double> log_density, F = {0.0};
  for (int k = 0; k < cells; ++k) {
    const double lambda = lower + (upper - lower) * (k + 0.5) / cells;
    double slopes = 0.0;
    for (arma::uword i = 0; i < y.n_elem; ++i) {
      E(i, 0) = evaluate::yjt(y(i), lambda) - mu(i);
      slopes += (y(i) < 0.0 ? -1.0 : 1.0) * std::log1p(std::fabs(y(i)));
    }
    log_density.push_back((lambda - 1.0) * slopes - 0.5 * arma::trace(E.t() * E * Omega));
  }
  const double top = *std::max_element(log_density.begin(), log_density.end());
  for (double one : log_density) F.push_back(F.back() + std::exp(one - top));
  const auto draws = sample(4000, [&] {
    for (int t = 0; t < 40; ++t) model.draw_lambda(w.world.data);
    return model.lambda();
  });
  EXPECT_LT(kolmogorov(draws,
                       [&](double lambda) {
                         const double at = (lambda - lower) / (upper - lower) * cells;
                         const auto k = std::min(static_cast<std::size_t>(at), std::size_t{cells - 1});
                         return (F[k] + (at - static_cast<double>(k)) * (F[k + 1] - F[k])) / F.back();
                       }),
            2.5);
}

void phantoms_leave_joint(CorrelatedWorld& w) {
  w.finish();
  Samples fresh, after;
  for (int rep = 0; rep < replications; ++rep) {
    w.build();
    w.draw_joint();
    fresh.add(w.functions());
    w.draw_joint();
    for (int t = 0; t < applications; ++t) w.scan();
    after.add(w.functions());
  }
  expect_same_distribution(fresh, after);
}

TEST(YeoJohnsonWithPhantoms, OfResidualsLeavesTheJointDistribution) {
  CorrelatedWorld w(1, {{9}}, 830);
  w.lambda = {{lower, upper}, {}, {0.4, 1.6}};
  w.add(0, 1, {0, 2}).missing_units = {2, 5};
  w.add(0, 9, {0});
  w.add(0, 10, {0, 3});
  w.ties = {{11, 0, {{0, 0, 0}, {1, 0, 0}}}, {12, 0, {{2, 0, 0}, {0, 0, 0}}}};
  phantoms_leave_joint(w);
}

TEST(YeoJohnsonWithPhantoms, OfEffectsLeavesTheJointDistribution) {
  CorrelatedWorld w(2, {{5, 1, 3}, {3, 4}, {4, 2, 3, 1}}, 831);
  w.lambda = {{lower, upper}};
  w.add(0, 1, {0}).z = {{0, 2}};
  w.add(0, 9, {0}).z = {{0}};
  w.ties = {{11, 1, {{0, 1, 0}, {1, 1, 0}}}, {12, 0, {{1, 0, 0}, {0, 0, 0}}}};
  phantoms_leave_joint(w);
}

}  // namespace
}  // namespace tovik::tests::yjt_correlated_invariance_test
