// Labels at the coefficients of counts: the joint distribution of parameters and data stays as it is, the
// posterior is that of the same equations without labels, and counts of thousands mix.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "chain_posterior.hpp"
#include "count_world.hpp"
#include "label_data.hpp"
#include "label_experiment.hpp"
#include "sem/small_run.hpp"

namespace tovik::tests::label_count_kernel_test {
namespace {

using named_priors = std::vector<std::pair<std::string, prior_draw>>;

arma::mat twelve_rows() {
  Random rng(17, 1);
  arma::mat out = rng.randn(12, 4);
  out.cols(arma::uvec{1, 3}) *= 0.5;
  out.col(3) += 0.4 * out.col(1);
  return out;
}

LabelExperiment make(const std::vector<std::string>& statements, const std::vector<std::string>& parameters,
                     named_priors priors, std::vector<std::string> outcomes, std::uint32_t seed) {
  constexpr int replications = 5000, applications = 8;
  return {label_bench(names, twelve_rows(), {}, statements, parameters, {1, 1}, seed, true),
          std::move(priors),
          std::move(outcomes),
          false,
          replications,
          applications};
}

/// With these outcomes as counts.
void expect_invariant(LabelExperiment& e, const std::vector<std::string>& counts) {
  const ShortSeries series(20);
  for (const std::string& name : counts) e.bench.run.vars.find(name)->type = data::type::count;
  e.bench.build();
  e.expect_invariant();
}

TEST(LabelsOfCounts, OneAtTwoPredictorsAndTheIntercept) {
  LabelExperiment e = make({"y ~ 1@c x@a z@a"}, {"a ~ normal(0.3, 0.5)", "c ~ normal(4, 1)"},
                           {{"a", normal_prior(0.3, 0.5)}, {"c", normal_prior(4, 1)}}, {"y"}, 500);
  expect_invariant(e, {"y"});
}

TEST(LabelsOfCounts, WithinBoundsBesideAFreeCoefficient) {
  LabelExperiment e = make({"y ~ 1@c x@a z"}, {"a ~ uniform(-0.5, 0.7)", "c ~ truncate(2, 5)"},
                           {{"a", uniform_prior(-0.5, 0.7)}, {"c", uniform_prior(2, 5)}}, {"y"}, 501);
  expect_invariant(e, {"y"});
}

TEST(LabelsOfCounts, OfTwoEquations) {
  LabelExperiment e = make({"m ~ 1@c x@a", "y ~ 1@c z@a x"}, {"a ~ normal(0.3, 0.5)", "c ~ normal(2, 1)"},
                           {{"a", normal_prior(0.3, 0.5)}, {"c", normal_prior(2, 1)}}, {"m", "y"}, 502);
  ASSERT_EQ(e.bench.blocks.size(), 1u);
  expect_invariant(e, {"m", "y"});
}

TEST(LabelsOfCounts, OfANormalEquationToo) {
  LabelExperiment e = make({"m ~ 1@0 x@a", "y ~ 1@c x@a z"}, {"a ~ normal(0.3, 0.5)", "c ~ normal(2, 1)"},
                           {{"a", normal_prior(0.3, 0.5)}, {"c", normal_prior(2, 1)}}, {"m", "y"}, 503);
  ASSERT_EQ(e.bench.blocks.size(), 1u);
  expect_invariant(e, {"y"});
}

/// Rows of schools, some of one row, and counts y and m that x, z and the school predict, of mean exp(about).
arma::mat counts_of_schools(double about) {
  Random rng(18, 1);
  arma::mat out = rng.randn(90, 5);
  double u = 0.0, school = 0.0;
  for (arma::uword i = 0; i < 90; ++i) {
    if (i < 4 || i % 6 == 0) {
      school += 1.0;
      u = 0.4 * rng.rnorm();
    }
    out(i, 0) = school;
    out(i, 2) += 10.0;
    const double eta = about + u + 0.5 * (out(i, 2) - 10.0) - 0.3 * out(i, 4);
    out(i, 1) = simulate_counts(arma::vec{eta + 0.2}, 2.0, rng)(0);
    out(i, 3) = simulate_counts(arma::vec{eta}, 3.0, rng)(0);
  }
  return out;
}

small_run run_of(double about, const std::vector<std::string>& statements,
                 const std::vector<std::string>& parameters) {
  small_run out({"school", "m", "x", "y", "z"}, counts_of_schools(about), {"school"}, statements, parameters);
  for (const char* name : {"m", "y"}) out.vars.find(name)->type = data::type::count;
  return out;
}

/// Of a series that is one of the first order.
double share_of_draws(const arma::rowvec& series) {
  const arma::rowvec e = series - arma::mean(series);
  arma::uword const n = e.n_elem;
  const double r = arma::dot(e.head(n - 1), e.tail(n - 1)) / arma::dot(e, e);
  return (1.0 - r) / (1.0 + r);
}

// Given the weights a scan would keep about one draw of a thousand.
TEST(LabelsOfCounts, CountsOfThousandsMix) {
  const ShortSeries series(20);
  const small_run run = run_of(8.0, {"y ~ 1@a x@b z"}, {"a ~ normal(0, 100)", "b ~ normal(0, 100)"});
  const auto chain = run.chain(Random(4, 1), {1, 1});
  const arma::mat draw = draws(*chain, 300, 3000);
  for (const char* row : {"   Fixed : Intercept", "   Fixed : x", "   Fixed : z"})
    EXPECT_GT(share_of_draws(draw.row(row_of(run, "y", row))), 0.2) << row;
}

TEST(LabelsOfCounts, ALabelOfTwoEquationsMixesInThousands) {
  const ShortSeries series(20);
  const small_run run = run_of(8.0, {"y ~ x@b z", "m ~ x@b z@c"}, {"c ~ normal(0, 100)"});
  const auto chain = run.chain(Random(4, 1), {1, 1});
  const arma::mat draw = draws(*chain, 300, 3000);
  for (const char* outcome : {"y", "m"})
    for (const char* row : {"   Fixed : Intercept", "   Fixed : x", "   Fixed : z"})
      EXPECT_GT(share_of_draws(draw.row(row_of(run, outcome, row))), 0.2) << outcome << row;
}

// The prior of the labels is that of a coefficient without one. Small counts, which the plain scan mixes too.
TEST(LabelsOfCounts, HaveThePosteriorOfCoefficientsWithoutLabels) {
  const ShortSeries series(20);
  const auto posterior = [](const std::vector<std::string>& parameters, const std::string& statement,
                            std::uint32_t seed) {
    const small_run run = run_of(1.5, {statement}, parameters);
    const auto chain = run.chain(Random(seed, 1), {1, 1});
    for (int block = 0; block < 5; ++block) {
      for (int i = 0; i < 100; ++i) chain->oneRep();
      chain->tune();
    }
    std::vector<arma::uword> rows;
    for (const char* row : {"   Fixed : Intercept", "   Fixed : x", "   Fixed : z"})
      rows.push_back(row_of(run, "y", row));
    return ChainPosterior(
        [&]() -> arma::rowvec {
          for (int thin = 0; thin < 3; ++thin) chain->oneRep();
          const arma::vec all = chain->getParams();
          return all.elem(arma::uvec(rows)).t();
        },
        30, 100);
  };
  const std::vector<std::string> priors = {"a ~ normal(0, 5)", "b ~ normal(0, 5)"};
  expect_same_posterior(posterior(priors, "y ~ 1@a x@b z | x", 5), posterior({}, "y ~ x z | x", 6), 0.02,
                        0.05, 0.6);
}

}  // namespace
}  // namespace tovik::tests::label_count_kernel_test
