// Scans of outcomes with correlated residuals leave the joint distribution of everything unchanged: of the
// members' coefficients, effects, missing values and propensities, and of the covariance matrix, whatever is
// known of it.

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "block_world.hpp"
#include "invariance_frame.hpp"
#include "random/densities.hpp"
#include "sample_tests.hpp"
#include "sem/wiring/likelihood.hpp"

namespace tovik::tests::block_kernel_test {
namespace {

constexpr int replications = 8000;
constexpr int applications = 6;

const nesting small = {{5, 1, 3}, {3, 4}};

void scans_leave_joint(BlockWorld& w) {
  world_leaves_joint(w, {replications, applications});
}

void three_outcomes(BlockWorld& w) {
  w.add(0, {0, 2});
  w.add(0, {0});
  w.add(0, {0, 3});
}

/// The densities that hold y of the first member, which the block has in one.
void give_list(BlockWorld& w) {
  auto list = contributions(w.models);
  ASSERT_EQ(list->size(), 1u);
  w.models[0]->addLL(std::move(list), sem::likelihood_type::imputed);
}

TEST(BlockKernels, FreeMatrixAndMembersWithEffects) {
  BlockWorld w(2, small, 801);
  three_outcomes(w);
  w.setups[0].z = {{0, 2}};
  w.setups[1].z = {{0}};
  w.setups[2].missing_units = {1, 4, 9};
  w.finish();
  w.build();
  scans_leave_joint(w);
}

TEST(BlockKernels, MissingValuesThatAnotherMemberReads) {
  BlockWorld w(1, {{9}}, 802);
  w.add(0, {0, 2}).missing_units = {0, 3, 7};
  w.add(0, {0, 1});
  w.add(0, {0, 3}).missing_units = {3, 5};
  w.finish();
  w.build();
  give_list(w);
  scans_leave_joint(w);
}

TEST(BlockKernels, MissingValuesThatAnotherMemberReadsSolved) {
  BlockWorld w(1, {{9}}, 813);
  w.add(0, {0, 2}).missing_units = {0, 3, 7};
  w.add(0, {0, 1});
  w.add(0, {0, 3, 1}).missing_units = {3, 5};
  w.finish();
  w.build();
  w.solve(0);
  scans_leave_joint(w);
}

TEST(BlockKernels, FactorThatNobodyReads) {
  BlockWorld w(2, small, 814);
  w.add(0, {0, 2}).z = {{0}};
  w.make_factor();
  w.add(0, {0, 3});
  w.finish();
  w.build();
  scans_leave_joint(w);
}

TEST(BlockKernels, FactorThatOtherMembersRead) {
  for (const bool solved : {false, true}) {
    BlockWorld w(2, small, 815);
    w.add(0, {0, 2}).z = {{0}};
    w.make_factor();
    w.add(0, {0, 3, 1});
    w.add(0, {0, 1}).missing_units = {2};
    w.finish();
    w.build();
    if (solved)
      w.solve(0);
    else
      give_list(w);
    scans_leave_joint(w);
  }
}

TEST(BlockKernels, TwoFactorsOfLevelTwo) {
  BlockWorld w(3, {{2, 1, 3}, {2, 1}, {1, 2, 1}, {2}}, 816);
  w.add(1, {0, 6}).z = {{0}};
  w.make_factor();
  w.add(1, {0});
  w.make_factor();
  w.add(1, {0, 1});
  w.finish();
  w.build();
  w.solve(0);
  scans_leave_joint(w);
}

/// A member of a block keeps Metropolis steps where slices are asked for.
TEST(BlockKernels, MissingValuesThatAnotherMemberReadsWithSlicesOn) {
  const Setting<bool> slices(sem::estimator::Outcome::ess_sampler, true);
  BlockWorld w(1, {{8}}, 803);
  w.add(0, {0, 2}).missing_units = {0, 3};
  w.add(0, {0, 1});
  w.finish();
  w.build();
  give_list(w);
  scans_leave_joint(w);
}

TEST(BlockKernels, PropensityOfABinaryMember) {
  BlockWorld w(2, small, 804);
  w.add(0, {0, 2});
  w.add(0, {0, 3}, true).z = {{0}};
  w.add(0, {0}).missing_units = {2};
  w.finish();
  w.build();
  scans_leave_joint(w);
}

TEST(BlockKernels, OutcomesOfLevelTwo) {
  BlockWorld w(3, {{2, 1, 3}, {2, 1}, {1, 2, 1}, {2}}, 805);
  w.add(1, {0, 6}).z = {{0}};
  w.add(1, {0}).missing_units = {2};
  w.finish();
  w.build();
  scans_leave_joint(w);
}

TEST(BlockKernels, CorrelationHeldAtZero) {
  BlockWorld w(1, {{9}}, 806);
  three_outcomes(w);
  w.hold_correlation(2, 0, 0.0);
  w.finish();
  w.build();
  scans_leave_joint(w);
}

TEST(BlockKernels, CorrelationHeldAtAValue) {
  BlockWorld w(1, {{9}}, 807);
  three_outcomes(w);
  w.hold_correlation(1, 0, 0.6);
  w.finish();
  w.build();
  scans_leave_joint(w);
}

TEST(BlockKernels, CorrelationsHeldAtZeroAndAtAValue) {
  BlockWorld w(1, {{8}}, 808);
  three_outcomes(w);
  w.hold_correlation(1, 0, -0.5);
  w.hold_correlation(2, 1, 0.0);
  w.finish();
  w.build();
  scans_leave_joint(w);
}

TEST(BlockKernels, VarianceHeld) {
  BlockWorld w(1, {{9}}, 809);
  three_outcomes(w);
  w.hold_variance(1, 0.8);
  w.setups[1].estimate_resid = false;
  w.setups[1].resid_value = 0.8;
  w.finish();
  w.build();
  scans_leave_joint(w);
}

TEST(BlockKernels, LabelledCorrelation) {
  BlockWorld w(1, {{9}}, 810);
  three_outcomes(w);
  w.label_correlation(2, 0);
  w.hold_correlation(1, 0, 0.4);
  w.finish();
  w.build();
  scans_leave_joint(w);
}

/// b ~ N(b0 + inv(X'X) X'(y - c), s inv(X'X)), by the definition of c and s.
TEST(BlockKernels, CoefficientsGivenTheOtherResidualsAreNormal) {
  BlockWorld w(1, {{12}}, 811);
  three_outcomes(w);
  w.setups[0].coefficients = {};
  w.finish();
  w.build();
  w.draw_joint();
  const arma::mat Sigma = w.block->covariance();
  const arma::uvec own = {0}, others = {1, 2};
  const arma::mat slopes = Sigma(own, others) * arma::inv_sympd(Sigma(others, others));
  const double s = Sigma(0, 0) - arma::as_scalar(slopes * Sigma(others, own));
  EXPECT_NEAR(w.block->residVar(0), s, 1e-10 * s);
  EXPECT_NEAR(w.models[0]->residVar(), s, 1e-10 * s);
  const arma::mat e = arma::join_rows(w.models[1]->compute_residual(w.world.data),
                                      w.models[2]->compute_residual(w.world.data));
  const arma::mat X = w.world.data.cols(arma::uvec{0, 2});
  const arma::vec y = w.world.data.col(1) - e * slopes.t();
  const arma::mat V = s * arma::inv_sympd(arma::mat(X.t() * X));
  const arma::vec mean = V * X.t() * y / s;
  constexpr int n = 40000;
  arma::mat draws(n, 2);
  for (int t = 0; t < n; ++t) {
    w.models[0]->draw(w.world.data);
    draws.row(static_cast<arma::uword>(t)) = w.models[0]->betas_.t();
  }
  // Independent draws: five standard errors of their mean and of their variance.
  for (arma::uword j = 0; j < 2; ++j) {
    EXPECT_NEAR(arma::mean(draws.col(j)), mean(j), 5.0 * std::sqrt(V(j, j) / n));
    EXPECT_NEAR(arma::var(draws.col(j)), V(j, j), 5.0 * V(j, j) * std::sqrt(2.0 / n));
  }
}

// With the scores integrated out, the free threshold t of three categories has the density prod_i
// P(category_i), each under the normal of the equation given the residuals of the other member.
TEST(BlockKernels, ThresholdsOfAnOrdinalMember) {
  BlockWorld w(1, {{40}}, 812);
  w.add(0, {0, 2});
  w.add(0, {0}, true);
  w.finish();
  w.build();
  w.draw_joint();
  auto& ordinal = dynamic_cast<sem::Ordinal&>(*w.models[1]);
  sem::equation_setup setup = w.setups[1];
  setup.fixed = {0};
  setup.fixed_values = {0.3};
  sem::ordered_values observed{{0.0, 1.0, 2.0}, arma::uvec(40), 1};
  for (arma::uword i = 0; i < 40; ++i) {
    const double score = ordinal.propensity.values(i) - ordinal.betas_(0) + 0.3;
    observed.of_unit(i) = score > 0.9 ? 2 : score > 0.0 ? 1 : 0;
  }
  sem::Ordinal model(&w.estimator, setup, observed);
  sem::block_setup together;
  together.members = {w.models[0].get(), &model};
  together.prior = {1, 1};
  together.correlations = {{1.0, 0.7}, {0.7, 1.0}};
  together.elements.zeros(2, 2);
  together.known_variances = {0, 1};
  auto block = std::make_shared<sem::MultiStruct>(&w.estimator, together);
  block->register_ptrs();
  block->addStarts({2.0, 0.7 * std::sqrt(2.0), 1.0});
  model.addStarts(arma::join_cols(arma::vec{1.0, 0.3}, arma::vec{0.8}));
  const arma::vec c = 0.7 / std::sqrt(2.0) * w.models[0]->compute_residual(w.world.data);
  const double sd = std::sqrt(1.0 - 0.49);
  const auto log_density = [&](double t) {
    double sum = 0.0;
    for (arma::uword i = 0; i < 40; ++i) {
      const double at = (t - 0.3 - c(i)) / sd, zero = (-0.3 - c(i)) / sd;
      if (observed.of_unit(i) == 1) sum += std::log(phi(at) - phi(zero));
      if (observed.of_unit(i) == 2) sum += std::log1p(-phi(at));
    }
    return sum;
  };
  constexpr int cells = 8000;
  constexpr double high = 4.0;
  std::vector<double> cdf(cells + 1, 0.0);
  const double top = log_density(0.9);
  for (int i = 0; i < cells; ++i)
    cdf[static_cast<std::size_t>(i) + 1] =
        cdf[static_cast<std::size_t>(i)] + std::exp(log_density(high * (i + 0.5) / cells) - top);
  const auto draws = sample(4000, [&] {
    for (int t = 0; t < 40; ++t) model.draw(w.world.data);
    return model.tau()(1);
  });
  EXPECT_LT(kolmogorov(draws,
                       [&](double t) {
                         const double at = std::min(t / high, 1.0) * cells;
                         const auto i = std::min(static_cast<std::size_t>(at), std::size_t{cells - 1});
                         return (cdf[i] + (at - static_cast<double>(i)) * (cdf[i + 1] - cdf[i])) / cdf.back();
                       }),
            2.5);
}

}  // namespace
}  // namespace tovik::tests::block_kernel_test
