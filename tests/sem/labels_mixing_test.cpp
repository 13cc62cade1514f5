// Coefficients with labels whose predictors are far from orthogonal to the others: the drawn coefficients go
// along, so that chains mix.

#include <gtest/gtest.h>

#include <cmath>

#include "label_bench.hpp"
#include "label_data.hpp"
#include "sample_tests.hpp"
#include "sem/small_run.hpp"

namespace tovik::tests::labels_mixing_test {
namespace {

TEST(LabelMixing, PredictorsFarFromZeroMixAsWellAsCentredOnes) {
  const Setting<bool> walks(sem::sampler_settings::draw_label_blocks, false);
  arma::mat data = columns();
  data.col(1) += 20.0;
  data.col(3) += 30.0;
  const small_run run(names, data, {}, {"y ~ x@b z@b", "m ~ x@b z", "y ~~ y@1.5", "m ~~ m@0.7"});
  const auto chain = run.chain(Random(4, 1));
  tune(*chain);
  const arma::mat draw = draws(*chain, 100, 60000);
  const arma::rowvec b = draw.row(row_of(run, "y", "   Fixed : x"));
  // Given the variances, a regression of both outcomes together, the rows scaled.
  const double sy = std::sqrt(1.5), sm = std::sqrt(0.7);
  arma::mat X(60, 4, arma::fill::zeros);
  X.submat(0, 0, 29, 0) = (data.col(1) + data.col(3)) / sy;
  X.submat(0, 1, 29, 1).fill(1.0 / sy);
  X.submat(30, 0, 59, 0) = data.col(1) / sm;
  X.submat(30, 2, 59, 2).fill(1.0 / sm);
  X.submat(30, 3, 59, 3) = data.col(3) / sm;
  const arma::vec y = arma::join_cols(arma::vec(data.col(2) / sy), arma::vec(data.col(0) / sm));
  const arma::mat V = arma::inv_sympd(X.t() * X);
  const arma::vec fit = V * X.t() * y;
  expect_mean(b, fit(0), V(0, 0));
  expect_mean(draw.row(row_of(run, "y", "   Fixed : Intercept")), fit(1), V(1, 1));
  expect_mean(draw.row(row_of(run, "m", "   Fixed : z")), fit(3), V(3, 3));
  // A random walk of one parameter keeps about a quarter of its draws; across the ridge it would keep none.
  EXPECT_LT(mean_error(b), 4.0 * std::sqrt(V(0, 0) / 60000.0));
}

/// The regressions that drawn coefficients follow are then those of one state of the imputed values.
TEST(LabelMixing, IncompletePredictorsFarFromZeroMixAsWell) {
  const Setting<bool> walks(sem::sampler_settings::draw_label_blocks, false);
  arma::mat data = columns();
  data.col(1) += 20.0;
  data.col(3) += 30.0;
  for (arma::uword i = 0; i < 30; i += 5) data(i, 1) = arma::datum::nan;
  const small_run run(names, data, {}, {"x ~ 1", "y ~ x@b z@b", "m ~ x@b z"});
  const auto chain = run.chain(Random(4, 1), {1, 1});
  for (int i = 1; i <= 1000; ++i) {
    chain->oneRep();
    if (i % 100 == 0 && i < 500) chain->tune();
  }
  EXPECT_NO_THROW(chain->tune_check());
  const arma::mat draw = draws(*chain, 0, 20000);
  for (const char* outcome : {"y", "m"}) {
    const arma::rowvec intercept = draw.row(row_of(run, outcome, "   Fixed : Intercept"));
    const double error = mean_error(intercept);
    EXPECT_GT(arma::var(intercept) / (error * error * 20000.0), 0.05) << outcome;
  }
}

/// Columns that count as changing, with values that stay: the regression of PredictorsFarFromZero.
TEST(LabelMixing, DrawnCoefficientsGoAlongWithChangingColumnsToo) {
  const Setting<bool> walks(sem::sampler_settings::draw_label_blocks, false);
  arma::mat data = columns();
  data.col(1) += 3.0;
  data.col(3) += 2.0;
  label_bench bench(names, data, {}, {"y ~ x@b z@b", "y ~~ y@1.5"}, {"b ~ normal(0, 100)"}, {1, 1}, 5, true);
  sem::Normal& y = bench.equation("y");
  const arma::mat X = arma::join_rows(arma::ones(30), data.col(1) + data.col(3));
  arma::mat P = X.t() * X / 1.5;
  P(1, 1) += 0.01;
  const arma::mat V = arma::inv_sympd(P);
  const arma::vec fit = V * X.t() * data.col(2) / 1.5;
  arma::mat draw(2, 30000);
  for (arma::uword t = 0; t < draw.n_cols; ++t) {
    y.draw(bench.data());
    bench.label("b").constraint->draw(bench.data());
    draw(0, t) = y.betas_(0);
    draw(1, t) = y.betas_(1);
  }
  for (arma::uword k : {0, 1}) expect_mean(draw.row(k), fit(k), V(k, k));
  EXPECT_LT(mean_error(draw.row(1)), 4.0 * std::sqrt(V(1, 1) / 30000.0));
}

/// Two outcomes with a known covariance matrix of residuals and a label in both: a generalised least squares
/// regression, of which label and free coefficients are one independent draw after the other. The predictors
/// are ten of their standard deviations from zero.
TEST(LabelMixing, ALabelOfTwoCorrelatedOutcomesHasTheExactPosterior) {
  arma::mat data = columns();
  data.col(1) += 10.0;
  data.col(3) += 10.0;
  const small_run run(names, data, {}, {"y ~ x@b", "m ~ z@b", "y <-> m@0.5", "y ~~ y@1.5", "m ~~ m@0.7"});
  const auto chain = run.chain(Random(4, 1));
  const arma::mat draw = draws(*chain, 20, 20000);
  arma::mat X(60, 3, arma::fill::zeros), W(60, 60, arma::fill::zeros);
  X.submat(0, 0, 29, 0) = data.col(1);
  X.submat(30, 0, 59, 0) = data.col(3);
  X.submat(0, 1, 29, 1).fill(1.0);
  X.submat(30, 2, 59, 2).fill(1.0);
  const double c = 0.5 * std::sqrt(1.5 * 0.7);
  const arma::mat Omega = arma::inv_sympd(arma::mat{{1.5, c}, {c, 0.7}});
  for (arma::uword i = 0; i < 30; ++i)
    for (arma::uword j = 0; j < 2; ++j)
      for (arma::uword k = 0; k < 2; ++k) W(i + 30 * j, i + 30 * k) = Omega(j, k);
  const arma::vec y = arma::join_cols(arma::vec(data.col(2)), arma::vec(data.col(0)));
  const arma::mat V = arma::inv_sympd(X.t() * W * X);
  const arma::vec fit = V * X.t() * W * y;
  const arma::rowvec b = draw.row(row_of(run, "y", "   Fixed : x"));
  expect_mean(b, fit(0), V(0, 0));
  expect_mean(draw.row(row_of(run, "y", "   Fixed : Intercept")), fit(1), V(1, 1));
  expect_mean(draw.row(row_of(run, "m", "   Fixed : Intercept")), fit(2), V(2, 2));
  EXPECT_LT(mean_error(b), 1.5 * std::sqrt(V(0, 0) / 20000.0));
}

/// Of a series that is one of the first order.
double effective_share(const arma::rowvec& series) {
  const arma::rowvec e = series - arma::mean(series);
  arma::uword const n = e.n_elem;
  const double r = arma::dot(e.head(n - 1), e.tail(n - 1)) / arma::dot(e, e);
  return (1.0 - r) / (1.0 + r);
}

void expect_nearly_independent(const small_run& run) {
  const auto chain = run.chain(Random(4, 1));
  const arma::mat draw = draws(*chain, 100, 10000);
  for (arma::uword k = 0; k < draw.n_rows; ++k) {
    const double mean = arma::mean(draw.row(k)), sd = arma::stddev(draw.row(k));
    if (sd <= 1e-9 * std::fabs(mean)) continue;
    EXPECT_GT(effective_share(draw.row(k)), 0.8) << "row " << k;
  }
}

TEST(LabelMixing, LabelsWithNormalPriorsAtCorrelatedPredictors) {
  Random rng(8, 1);
  arma::mat data = rng.randn(200, 5);
  const arma::vec common = rng.randn(200, 1);
  for (arma::uword j = 0; j < 4; ++j) data.col(j) = std::sqrt(0.8) * common + std::sqrt(0.2) * data.col(j);
  data.col(4) += 0.5 * common;
  const std::vector<std::string> priors = {"a ~ normal(0, 10)", "b ~ normal(0, 10)", "c ~ normal(0, 10)",
                                           "d ~ normal(0, 10)"};
  expect_nearly_independent({{"p", "q", "r", "s", "y"}, data, {}, {"y ~ p@a q@b r@c s@d"}, priors});
}

TEST(LabelMixing, LabelsWithNormalPriorsAtAPredictorFarFromZero) {
  Random rng(8, 1);
  arma::mat data = rng.randn(200, 2);
  data.col(0) += 10.0;
  data.col(1) += 0.5 * data.col(0);
  expect_nearly_independent(
      {{"x", "y"}, data, {}, {"y ~ 1@a x@b"}, {"a ~ normal(0, 100)", "b ~ normal(0, 100)"}});
}

/// A prior that no block takes leaves the walk, which the block goes along with. The columns have a
/// correlation of .995 about zero; across that ridge a walk would keep one draw in 2,000.
TEST(LabelMixing, AWalkingLabelTakesTheBlockAlong) {
  Random rng(8, 1);
  arma::mat data = rng.randn(200, 2);
  data.col(0) += 10.0;
  data.col(1) += 0.5 * data.col(0);
  const small_run run({"x", "y"}, data, {}, {"y ~ 1@a x@b"}, {"a ~ normal(0, 100)", "b ~ laplace(0, 10)"});
  const auto chain = run.chain(Random(4, 1));
  tune(*chain);
  const arma::mat draw = draws(*chain, 100, 20000);
  for (const char* row : {"   Fixed : Intercept", "   Fixed : x"})
    EXPECT_GT(effective_share(draw.row(row_of(run, "y", row))), 0.05) << row;
}

}  // namespace
}  // namespace tovik::tests::labels_mixing_test
