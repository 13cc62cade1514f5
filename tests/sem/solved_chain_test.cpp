// Chains with solved distributions have the posterior of chains that walk.

#include <gtest/gtest.h>

#include <cmath>

#include "allocation_count.hpp"
#include "sample_tests.hpp"
#include "sem/outcomes/regression.hpp"
#include "sem/wiring/settings.hpp"
#include "small_run.hpp"

namespace tovik::tests::solved_chain_test {
namespace {

const std::vector<std::string> names = {"id", "x", "y", "y2", "z", "w", "o"};

/// 40 clusters of 4 rows: w varies between clusters, o is ordinal. A quarter of the cells of the columns in
/// `gaps` is missing.
arma::mat columns(const std::vector<arma::uword>& gaps) {
  Random rng(8, 1);
  arma::mat out(160, 7);
  double w = 0.0, u = 0.0;
  for (arma::uword i = 0; i < 160; ++i) {
    if (i % 4 == 0) {
      w = rng.rnorm();
      u = 0.5 * rng.rnorm();
    }
    const double z = rng.rnorm(), x = 0.5 * z + rng.rnorm(),
                 y = 0.6 * x - 0.4 * x * z + 0.5 * w + u + rng.rnorm();
    const double s = 0.7 * x + rng.rnorm();
    out.row(i) =
        arma::rowvec{static_cast<double>(i / 4),          x, y, 0.4 * y - 0.5 * w + rng.rnorm(), z, w,
                     s < -0.5 ? 1.0 : s < 0.6 ? 2.0 : 3.0};
  }
  for (arma::uword j : gaps)
    for (arma::uword i = 0; i < 160; ++i)
      if ((j == 5 ? i / 4 + j : i + j) % 4 == 0) out(i, j) = arma::datum::nan;
  return out;
}

struct Posterior {
  arma::vec mean, error, square, square_error;
};

/// After tuning. The moments of the squares are about `centre`, or the own mean.
Posterior posterior(const small_run& run, bool solved, arma::uword n, const arma::vec& centre = {}) {
  const Setting<bool> kernel(sem::sampler_settings::use_autosolver, solved);
  const auto chain = run.chain(Random(solved ? 21 : 22, 1), {1, 1});
  for (int block = 0; block < 10; ++block) {
    for (int i = 0; i < 100; ++i) chain->oneRep();
    chain->tune();
  }
  const arma::mat seen = draws(*chain, 200, n);
  Posterior out;
  out.mean = arma::mean(seen, 1);
  out.error = out.square = out.square_error = out.mean;
  for (arma::uword j = 0; j < seen.n_rows; ++j) {
    const arma::rowvec squares = arma::square(seen.row(j) - (centre.is_empty() ? out.mean[j] : centre[j]));
    out.error[j] = mean_error(seen.row(j));
    out.square[j] = arma::mean(squares);
    out.square_error[j] = mean_error(squares);
  }
  return out;
}

/// Means and variances of all rows within 4 of their Monte Carlo errors (5 for the squares, whose errors are
/// told less well).
void expect_same_posterior(const small_run& run, arma::uword n = 12000) {
  const Posterior solved = posterior(run, true, n), walked = posterior(run, false, 4 * n, solved.mean);
  for (arma::uword j = 0; j < solved.mean.n_elem; ++j) {
    if (!(walked.square[j] > 1e-20)) {
      EXPECT_NEAR(solved.mean[j], walked.mean[j], 1e-9) << "row " << j;
      continue;
    }
    EXPECT_LT(std::fabs(solved.mean[j] - walked.mean[j]), 4.0 * std::hypot(solved.error[j], walked.error[j]))
        << "mean of row " << j;
    EXPECT_LT(std::fabs(solved.square[j] - walked.square[j]),
              5.0 * std::hypot(solved.square_error[j], walked.square_error[j]))
        << "variance of row " << j;
  }
}

small_run with(const std::vector<arma::uword>& gaps, const std::vector<std::string>& ids,
               const std::vector<std::string>& statements, const std::vector<std::string>& parameters = {},
               const std::vector<std::string>& ordinal = {}) {
  small_run run(names, columns(gaps), ids, statements, parameters, ordinal);
  prepare(run);
  return run;
}

TEST(SolvedChain, OfAnIncompleteModeratedPredictor) {
  expect_same_posterior(with({1}, {}, {"x ~ z", "y ~ x z (x*z)", "y2 ~ y x"}));
}

TEST(SolvedChain, OfIncompleteMediatorsWithRandomEffects) {
  expect_same_posterior(with({1, 2}, {"id"}, {"x ~ z", "y ~ x z (x*z) w | 1", "y2 ~ y w"}));
}

TEST(SolvedChain, OfAnIncompleteVariableOfClusters) {
  expect_same_posterior(with({5}, {"id"}, {"w ~ 1", "y ~ x w (w*z) | 1", "y2 ~ w | 1"}));
}

TEST(SolvedChain, OfAPropensity) {
  expect_same_posterior(with({6}, {}, {"o ~ x", "y ~ o.latent z"}, {}, {"o"}), 20000);
}

TEST(SolvedChain, OfALabelInsideATerm) {
  expect_same_posterior(with({}, {}, {"y ~ z (x*b)", "y2 ~ (y*b) w"}, {"b ~ normal(0.2, 0.1)"}));
}

TEST(SolvedChain, OfALabelWithBounds) {
  expect_same_posterior(with({}, {}, {"y ~ z (x*b)"}, {"b ~ uniform(0, 0.5)"}));
}

TEST(SolvedChain, OfALabelThatIsInTermsAndAlone) {
  expect_same_posterior(with({1}, {"id"}, {"x ~ z@b", "y ~ z (x*b) | 1"}));
}

TEST(SolvedChain, OfASharedResidualVariance) {
  expect_same_posterior(with({}, {}, {"y ~ x", "y2 ~ y", "y ~~ y@s", "y2 ~~ y2@s"}));
  expect_same_posterior(with({}, {}, {"y ~ x", "y ~~ y@s"}, {"s ~ invgamma(3, 2)"}));
}

TEST(SolvedChain, OfWhatMembersOfABlockRead) {
  expect_same_posterior(with({1}, {}, {"x ~ z", "y ~ x z", "y2 ~ x", "y <-> y2"}));
}

TEST(SolvedChain, OfALabelInAMemberOfABlock) {
  expect_same_posterior(with({}, {}, {"y ~ z (x*b)", "y2 ~ w (z*b)", "y <-> y2"}, {"b ~ normal(0, 1)"}));
}

/// Some proposal was made in a chain.
bool proposes(const small_run& run, bool solved) {
  const Setting<bool> kernel(sem::sampler_settings::use_autosolver, solved);
  const auto chain = run.chain(Random(3, 1), {1, 1});
  for (int i = 0; i < 20; ++i) chain->oneRep();
  return chain->hasTuningInfo();
}

TEST(SolvedChain, MakesNoProposals) {
  const small_run run = with({1, 5}, {"id"}, {"w ~ 1", "x ~ z w", "y ~ x z (x*b) w"}, {"b ~ normal(0, 1)"});
  EXPECT_FALSE(proposes(run, true));
  EXPECT_TRUE(proposes(run, false));
}

TEST(SolvedChain, AllocatesNothingInAScan) {
  const small_run run = with(
      {1, 5, 6}, {"id"},
      {"w ~ 1", "x ~ z w", "o ~ x | 1", "y ~ x z (x*z) w (x*b) o.latent | 1", "y2 ~ y@b (y*w)", "y2 ~~ y2@s"},
      {"b ~ normal(0, 1)", "s ~ invgamma(1, 1)"}, {"o"});
  const auto chain = run.chain(Random(12, 1), {1, 1});
  EXPECT_EQ(allocations_of_scans(50, [&] { chain->oneRep(); }), 0U);
}

}  // namespace
}  // namespace tovik::tests::solved_chain_test
