// Logistic outcomes in chains: the rows of the report, starting values, incomplete data, scores for output.

#include <gtest/gtest.h>

#include <cmath>

#include "marginal_check.hpp"
#include "random/densities.hpp"
#include "sem/ensemble/output_names.hpp"
#include "sem/scan/logit.hpp"
#include "small_run.hpp"

namespace tovik::tests::logistic_run_test {
namespace {

const std::vector<std::string> names = {"school", "y", "x", "b", "w"};

/// Twelve schools of eight rows; y and b are 0 or 1, b goes along with x, and y with both.
arma::mat columns() {
  Random rng(93, 1);
  arma::mat out(96, 5);
  double u = 0.0;
  for (arma::uword i = 0; i < 96; ++i) {
    if (i % 8 == 0) u = 0.7 * rng.rnorm();
    const double x = rng.rnorm(), w = rng.rnorm();
    const double b = rng.runif() < sem::scan::logistic(0.8 * x) ? 1.0 : 0.0;
    const double y = rng.runif() < sem::scan::logistic(u - 0.5 + 0.6 * x + 0.8 * b) ? 1.0 : 0.0;
    out.row(i) = arma::rowvec{static_cast<double>(i / 8), y, x, b, w};
  }
  return out;
}

small_run logistic_run(const arma::mat& data, const std::vector<std::string>& statements,
                       const std::vector<std::string>& ids = {"school"}) {
  return small_run(names, data, ids, statements, {}, {"y", "b"});
}

TEST(LogisticRun, LabelsAndValuesAgree) {
  const small_run run = logistic_run(columns(), {"logit(y) ~ x b w | x", "logit(b) ~ 0 x (x*w)", "w ~ x"});
  const auto chain = run.chain(Random(3, 1), {1, 1});
  chain->oneRep();
  const arma::vec rows = chain->getParams();
  ASSERT_TRUE(rows.is_finite());
  arma::uword at = 0;
  std::vector<std::size_t> odds_ratios, shares;
  for (const Model& model : run.models) {
    const std::size_t n_rows = model.parameters().size(), n = model.standardized().size();
    const std::size_t n_shares = model.rsquare().size();
    if (model.link == model::link::logit) {
      odds_ratios.push_back(n);
      shares.push_back(n_shares);
      const arma::vec b = rows.subvec(at + n_rows - n, at + n_rows - 1);  // all coefficients
      const arma::vec odds = rows.subvec(at + n_rows, at + n_rows + n - 1);
      EXPECT_TRUE(arma::approx_equal(odds, arma::exp(b), "reldiff", 1e-12)) << model.command();
    }
    at += n_rows + n + n_shares;
    EXPECT_NEAR(arma::accu(rows.subvec(at - n_shares, at - 1)), 1.0, 1e-10) << model.command();
  }
  EXPECT_EQ(at, rows.n_elem);
  EXPECT_EQ(odds_ratios, (std::vector<std::size_t>{2, 4}));
  EXPECT_EQ(shares, (std::vector<std::size_t>{3, 4}));
}

TEST(LogisticRun, PredictedScoresAreOneColumnOfProbabilities) {
  const small_run run = logistic_run(columns(), {"logit(y) ~ x b"}, {});
  EXPECT_EQ(sem::predicted_names(run.models[0]), std::vector<std::string>{"y.1.probability"});
  const auto chain = run.chain(Random(4, 1));
  chain->oneRep();
  const arma::mat p = chain->outcomes()->predicted(chain->working().data);
  ASSERT_EQ(p.n_cols, 1U);
  double worst = 0.0;
  const arma::vec b = chain->getParams().head(3);
  const arma::mat& data = chain->working().data;
  for (arma::uword i = 0; i < data.n_rows; ++i)
    worst =
        std::max(worst, std::fabs(p(i) - sem::scan::logistic(b(0) + b(1) * data(i, 2) + b(2) * data(i, 3))));
  EXPECT_LT(worst, 1e-12);
}

// Missing outcomes add nothing, and missing values of a binary predictor with a model of its own are 0 or 1.
TEST(LogisticRun, IncompleteBinariesStayBinary) {
  arma::mat data = columns();
  for (arma::uword i = 0; i < 96; i += 5) data(i, 1) = arma::datum::nan;
  for (arma::uword i = 2; i < 96; i += 4) data(i, 3) = arma::datum::nan;
  const small_run run = logistic_run(data, {"logit(y) ~ x b | 1", "logit(b) ~ x"});
  const auto chain = run.chain(Random(5, 1), {1, 1});
  arma::vec sums(96, arma::fill::zeros);
  constexpr int n = 4000;
  for (int t = 0; t < n; ++t) {
    chain->oneRep();
    const arma::mat& now = chain->working().data;
    ASSERT_TRUE(arma::all((now.col(3) == 0.0) + (now.col(3) == 1.0)));
    ASSERT_TRUE(arma::all((now.col(1) == 0.0) + (now.col(1) == 1.0)));
    sums += now.col(3);
  }
  for (arma::uword i = 0; i < 96; ++i) {
    if (std::isnan(data(i, 3)))
      EXPECT_TRUE(sums(i) > 0.0 && sums(i) < n) << i;
    else
      EXPECT_EQ(sums(i), n * data(i, 3)) << i;
  }
  ASSERT_TRUE(chain->getParams().is_finite());
}

TEST(LogisticRun, MarginalLikelihoodIsTheConditionalOneOrUnknown) {
  expect_marginal_likelihood_without_effects_only(
      [](const std::vector<std::string>& ids) { return logistic_run(columns(), {"logit(y) ~ x"}, ids); }, 6);
}

}  // namespace
}  // namespace tovik::tests::logistic_run_test
