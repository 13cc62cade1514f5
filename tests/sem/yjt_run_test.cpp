// Transformed outcomes in chains: rows and values, starts, lambdas with labels and priors, what is saved, and
// the densities that fit statistics take.

#include <gtest/gtest.h>

#include <cmath>

#include "evaluate/functions.hpp"
#include "sem/ensemble/output_names.hpp"
#include "sem/outcomes/factor.hpp"
#include "sem/outcomes/normal.hpp"
#include "sem/outcomes/yjt.hpp"
#include "small_run.hpp"

namespace tovik::tests::yjt_run_test {
namespace {

const std::vector<std::string> names = {"school", "y", "x", "z", "w"};

/// Sixteen schools of six rows; y is skewed, z and w go along with it.
arma::mat columns(double unit = 1.0) {
  Random rng(71, 1);
  arma::mat out(96, 5);
  double u = 0.0;
  for (arma::uword i = 0; i < 96; ++i) {
    if (i % 6 == 0) u = 0.3 * rng.rnorm();
    const double x = rng.rnorm(), y = std::exp(0.5 + u + 0.4 * x + 0.4 * rng.rnorm());
    out.row(i) = arma::rowvec{static_cast<double>(i / 6), unit * y, x, std::exp(0.2 * y + 0.3 * rng.rnorm()),
                              0.5 * y + rng.rnorm()};
  }
  return out;
}

arma::mat incomplete(double unit = 1.0) {
  arma::mat out = columns(unit);
  for (arma::uword i = 0; i < out.n_rows; i += 7) out(i, 1) = arma::datum::nan;
  return out;
}

/// The place of lambda among the values of a model: after those of params().
double lambda_of(const sem::Mcmc& chain, unsigned model) {
  return chain.outcomes()->params(model).back();
}

TEST(YeoJohnsonRun, LabelsAndValuesAgreeAndLambdaStandsBehindTheCoefficients) {
  const small_run run(names, incomplete(), {"school"}, {"yjt(y) ~ x | x", "w ~ y"});
  const auto chain = run.chain(Random(3, 1), {1, 1});
  chain->oneRep();
  const arma::vec rows = chain->getParams();
  ASSERT_TRUE(rows.is_finite());
  for (unsigned i = 0; i < run.models.size(); ++i) {
    if (run.models[i].link != model::link::yjt) continue;
    const auto& outcome = dynamic_cast<const sem::yjt<sem::Normal>&>(chain->outcomes()->outcome(i));
    EXPECT_EQ(run.models[i].parameters().size(), outcome.params().n_elem);
    EXPECT_EQ(lambda_of(*chain, i), outcome.lambda());
    EXPECT_EQ(outcome.n_estimated(), 3U + 2U + 1U + 1U);
    EXPECT_EQ(outcome.tuneResults().front().what, "lambda");
  }
}

TEST(YeoJohnsonRun, TheTransformationStartsAsTheIdentityUnlessTheUserSaysMore) {
  const auto start = [](const std::string& text, const std::vector<std::string>& priors = {}) {
    const small_run run(names, columns(), {}, {text}, priors);
    return lambda_of(*run.chain(Random(3, 1)), 0);
  };
  EXPECT_EQ(start("yjt(y) ~ x"), 1.0);
  EXPECT_EQ(start("yjt(y, %0.5) ~ x"), 0.5);
  EXPECT_EQ(start("yjt(y, 0.25) ~ x"), 0.25);
  EXPECT_NEAR(start("yjt(y, %7) ~ x"), 2.85, 1e-12);
  EXPECT_NEAR(start("yjt(y, lam) ~ x", {"lam ~ uniform(-2, 0)"}), -0.1, 1e-12);
  EXPECT_EQ(start("yjt(y, lam) ~ x", {"lam ~ normal(0, 4)"}), 1.0);
}

// Starts at another lambda are in its units: residuals as large as the residual variance says.
TEST(YeoJohnsonRun, StartsAreInTheUnitsOfTheTransformedValues) {
  for (const double unit : {1.0, 1000.0})
    for (const std::string text : {"yjt(y, %0.2) ~ x", "yjt(y, lam) ~ x"}) {
      const small_run run(names, columns(unit), {}, {text}, {"lam ~ uniform(2.1, 3)"});
      const auto chain = run.chain(Random(3, 1));
      unsigned at = 0;
      while (run.models[at].link != model::link::yjt) ++at;
      const auto& outcome = dynamic_cast<const sem::yjt<sem::Normal>&>(chain->outcomes()->outcome(at));
      const arma::mat e = outcome.compute_residual(chain->working().data);
      const double share = arma::mean(arma::mean(arma::square(e))) / outcome.sigma2;
      EXPECT_GT(share, 0.01) << text << unit;
      EXPECT_LT(share, 100.0) << text << unit;
    }
}

TEST(YeoJohnsonRun, AKnownLambdaStays) {
  const small_run run(names, incomplete(), {}, {"yjt(y, 0.25) ~ x"});
  const auto chain = run.chain(Random(4, 1));
  for (int t = 0; t < 5; ++t) chain->oneRep();
  EXPECT_EQ(lambda_of(*chain, 0), 0.25);
  EXPECT_EQ(chain->outcomes()->n_estimated(), 3U);
}

TEST(YeoJohnsonRun, ALambdaWithAPriorIsDrawnByItsModel) {
  const small_run run(names, incomplete(), {}, {"yjt(y, lam) ~ x"},
                      {"lam ~ uniform(0.3, 0.4)", "twice = 2 * lam"});
  const auto chain = run.chain(Random(5, 1));
  std::vector<double> seen;
  for (int t = 0; t < 60; ++t) {
    chain->oneRep();
    unsigned model = 0, prior = 0;
    for (unsigned i = 0; i < run.models.size(); ++i) {
      if (run.models[i].link == model::link::yjt) model = i;
      if (run.models[i].kind() == model::kind::parameter) prior = i;
    }
    seen.push_back(lambda_of(*chain, model));
    EXPECT_EQ(chain->outcomes()->params(prior)(0), seen.back());
    EXPECT_EQ(chain->outcomes()->computations()(0), 2.0 * seen.back());
  }
  EXPECT_GT(*std::min_element(seen.begin(), seen.end()), 0.3);
  EXPECT_LT(*std::max_element(seen.begin(), seen.end()), 0.4);
  EXPECT_GT(arma::stddev(arma::vec(seen)), 0.005);
}

TEST(YeoJohnsonRun, OneLambdaServesTwoOutcomes) {
  const small_run run(names, incomplete(), {}, {"yjt(y, lam) ~ x", "yjt(z, lam) ~ y"});
  const auto chain = run.chain(Random(6, 1));
  double moved = 0.0, before = 1.0;
  for (int t = 0; t < 100; ++t) {
    chain->oneRep();
    EXPECT_EQ(lambda_of(*chain, 0), lambda_of(*chain, 1));
    EXPECT_GE(lambda_of(*chain, 0), 0.0);
    moved += std::fabs(lambda_of(*chain, 0) - before);
    before = lambda_of(*chain, 0);
  }
  EXPECT_GT(moved, 0.1);
  // Two variances, four coefficients, one lambda.
  EXPECT_EQ(chain->outcomes()->n_estimated(), 7U);
}

TEST(YeoJohnsonRun, TheTransformedVariableIsSavedWithTheEffects) {
  const small_run run(names, incomplete(), {"school"}, {"yjt(y) ~ x"});
  EXPECT_EQ(sem::latent_names(run.models[0]), (std::vector<std::string>{"y.latent", "y$Intercept"}));
  const auto chain = run.chain(Random(7, 1), {1, 1});
  for (int t = 0; t < 20; ++t) chain->oneRep();
  const arma::mat& data = chain->working().data;
  const arma::mat latent = chain->outcomes()->latent(data);
  ASSERT_EQ(latent.n_cols, 2U);
  const double lambda = lambda_of(*chain, 0);
  EXPECT_NE(lambda, 1.0);
  for (arma::uword i = 0; i < data.n_rows; ++i)
    EXPECT_NEAR(latent(i, 0), evaluate::yjt(data(i, 1), lambda), 1e-7);
}

// Fit statistics compare densities of the data; those of the transformed values differ by the Jacobian, which
// moves with lambda. Imputed cells are none.
TEST(YeoJohnsonRun, LikelihoodsOfTheDataHaveTheJacobian) {
  const small_run run(names, incomplete(), {"school"}, {"yjt(y) ~ x"});
  const auto chain = run.chain(Random(8, 1), {1, 1});
  for (int t = 0; t < 20; ++t) chain->oneRep();
  const arma::mat& data = chain->working().data;
  const auto& outcome = dynamic_cast<const sem::yjt<sem::Normal>&>(chain->outcomes()->outcome(0));
  const arma::cube likelihood = chain->outcomes()->likelihood(data);
  const arma::vec conditional = outcome.observed_logLiklihood(data, 1);
  const arma::vec marginal = outcome.observed_marginal_logLiklihood(data);
  arma::vec jacobian(16, arma::fill::zeros);
  for (arma::uword i = 0; i < 96; ++i)
    if (i % 7 != 0) jacobian(i / 6) += (outcome.lambda() - 1.0) * std::log1p(data(i, 1));
  ASSERT_EQ(likelihood.n_slices, 2U);
  EXPECT_GT(arma::abs(jacobian).max(), 0.1);
  EXPECT_TRUE(arma::approx_equal(likelihood.slice(0).col(0), marginal + jacobian, "absdiff", 1e-9));
  EXPECT_TRUE(arma::approx_equal(likelihood.slice(0).col(1), conditional + jacobian, "absdiff", 1e-9));
  EXPECT_NEAR(chain->outcomes()->logLiklihood(data), outcome.logLiklihood(data), 1e-9);
}

// The mixing of lambda does not depend on the unit, nor do imputations leave the range of the data far
// behind.
TEST(YeoJohnsonRun, LambdaMixesInLargeUnitsWithRandomEffectsAndReaders) {
  const small_run run(names, incomplete(1000.0), {"school"}, {"yjt(y) ~ x | x", "w ~ y"});
  const auto chain = run.chain(Random(9, 1), {2, 1});
  unsigned at = 0;
  while (run.models[at].link != model::link::yjt) ++at;
  for (int t = 0; t < 400; ++t) {
    chain->oneRep();
    chain->adapt();
  }
  arma::vec lambda(400);
  for (double& value : lambda) {
    chain->oneRep();
    value = lambda_of(*chain, at);
  }
  const arma::vec centred = lambda - arma::mean(lambda);
  const double lag = arma::dot(centred.head(399), centred.tail(399)) / arma::dot(centred, centred);
  EXPECT_LT(lag, 0.9);
  EXPECT_GT(arma::stddev(lambda), 0.01);
  EXPECT_TRUE(chain->getData().is_finite());
}

// Correlated residuals are carried by phantoms, factors may be transformed, and other equations may read what
// the transformed outcome is made of.
TEST(YeoJohnsonRun, OtherRolesOfATransformedOutcome) {
  for (const auto& [statements, latent] :
       std::vector<std::pair<std::vector<std::string>, std::vector<std::string>>>{
           {{"yjt(y) ~ x", "w ~ x", "y <-> w"}, {}},
           {{"yjt(y) ~ x | x", "yjt(z) ~ y", "w ~ y z (y*z)"}, {}},
           {{"yjt(y) ~ x@a", "w ~ x@a y"}, {}},
           {{"yjt(y, lam) ~ x (x*lam)"}, {}},
           {{"w ~ f@1", "z ~ f", "x ~ f", "yjt(f) ~ y"}, {"f"}},
           {{"yjt(y) ~ x | x", "y[school] <-> w[school]", "w ~ x"}, {}}}) {
    small_run run(names, incomplete(), {"school"}, statements, {}, {}, latent);
    prepare(run);
    const auto chain = run.chain(Random(10, 1), {1, 1});
    for (int t = 0; t < 60; ++t) {
      chain->oneRep();
      if (t % 20 == 19) chain->tune();
    }
    EXPECT_TRUE(chain->getParams().is_finite()) << statements.front();
    EXPECT_TRUE(chain->outcomes()->likelihood(chain->working().data).slice(0).col(1).is_finite());
  }
}

TEST(YeoJohnsonRun, ObservedValuesWithoutATransformationAreRefused) {
  arma::mat data = columns();
  data(3, 1) = 1e200;
  const small_run run(names, data, {}, {"yjt(y, %2.5) ~ x"});
  EXPECT_EQ(run.failure(), "ERROR: The transformation of variable 'y' gives values that are not finite.");
}

}  // namespace
}  // namespace tovik::tests::yjt_run_test
