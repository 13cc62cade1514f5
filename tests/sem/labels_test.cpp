// Labels in a whole ensemble: which parameters are drawn singly, where they start, what they move, and the
// posterior that comes of it.

#include "sem/ensemble/labels.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "label_bench.hpp"
#include "label_data.hpp"
#include "model/defaults.hpp"
#include "random/densities.hpp"
#include "sample_tests.hpp"
#include "sem/small_run.hpp"

namespace tovik::tests::labels_test {
namespace {

/// With labels drawn from their distributions (true), and with each walking by itself.
class LabelPosteriors : public testing::TestWithParam<bool> {
  Setting<bool> blocks_{sem::sampler_settings::draw_label_blocks, GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Both, LabelPosteriors, testing::Bool());

TEST_P(LabelPosteriors, OneLabelAtTwoPredictorsIsARegressionOnTheirSum) {
  const small_run run(names, columns(), {}, {"y ~ x@b z@B"});
  const auto chain = run.chain(Random(4, 1));
  tune(*chain);
  const arma::mat draw = draws(*chain, 100, 60000);
  const arma::rowvec x = draw.row(row_of(run, "y", "   Fixed : x"));
  const arma::rowvec z = draw.row(row_of(run, "y", "   Fixed : z"));
  EXPECT_TRUE(arma::all(x == z));
  // Flat priors of coefficients and variance: a t distribution with n - 2 - 2 degrees of freedom.
  const arma::mat X = arma::join_rows(arma::ones(30), run.data.col(1) + run.data.col(3));
  const arma::vec fit = arma::solve(X, run.data.col(2));
  const double ss = arma::accu(arma::square(run.data.col(2) - X * fit));
  const double variance = ss / (30 - 2 - 4) / arma::dot(X.col(1), X.col(1));
  expect_mean(x, fit(1), variance);
}

TEST_P(LabelPosteriors, NormalPriorOfACoefficientIsConjugate) {
  const small_run run(names, columns(), {}, {"y ~ 1@1 x@b", "y ~~ y@1.5"}, {"b ~ normal(0.2, 0.04)"});
  const auto chain = run.chain(Random(5, 1));
  tune(*chain);
  const arma::mat draw = draws(*chain, 100, 60000);
  const arma::vec x = run.data.col(1);
  const double precision = arma::dot(x, x) / 1.5 + 1.0 / 0.04;
  const double mean = (arma::dot(x, run.data.col(2) - 1.0) / 1.5 + 0.2 / 0.04) / precision;
  expect_mean(draw.row(row_of(run, "y", "   Fixed : x")), mean, 1.0 / precision);
  EXPECT_TRUE(
      arma::all(draw.row(row_of(run, "b", "   Fixed : b")) == draw.row(row_of(run, "y", "   Fixed : x"))));
}

TEST_P(LabelPosteriors, OneVarianceOfTwoOutcomesPoolsTheirResiduals) {
  const small_run run(names, columns(), {}, {"y ~ 1@1 x@0.5", "m ~ 1@0 x@0.5", "y ~~ y@v", "m ~~ m@v"});
  const auto chain = run.chain(Random(6, 1), {1, 2});
  tune(*chain);
  const arma::mat draw = draws(*chain, 100, 60000);
  const double ss = arma::accu(arma::square(run.data.col(2) - 1.0 - 0.5 * run.data.col(1))) +
                    arma::accu(arma::square(run.data.col(0) - 0.5 * run.data.col(1)));
  // Inverse gamma with shape 60 / 2 + 1 and scale (ss + 1) / 2.
  const double shape = 31.0, scale = 0.5 * (ss + 1.0);
  const double mean = scale / (shape - 1.0);
  expect_mean(draw.row(row_of(run, "y", "Variance : Residual Var.")), mean, mean * mean / (shape - 2.0));
}

TEST(Labels, AProductOfLabelsAsACoefficientHasThePosteriorOfBothEquations) {
  // m = a x + e, y = b m + c x + e with c = a b, all variances 1: the density of (a, b) on a grid.
  const small_run run(names, columns(20), {}, {"m ~ 1@0 x@a", "y ~ 1@1 m@b x@c", "y ~~ y@1", "m ~~ m@1"},
                      {"a ~ normal(0, 1)", "b ~ normal(0, 1)", "c = a * b", "d = c - a"});
  const auto chain = run.chain(Random(7, 1));
  tune(*chain);
  const arma::mat draw = draws(*chain, 100, 60000);
  const arma::vec m = run.data.col(0), x = run.data.col(1), y = run.data.col(2) - 1.0;
  double total = 0, sum[3] = {0, 0, 0};
  for (double a = -2.0; a < 2.5; a += 0.01) {
    for (double b = -2.0; b < 2.5; b += 0.01) {
      const double ss = arma::accu(arma::square(m - a * x)) + arma::accu(arma::square(y - b * m - a * b * x));
      const double p = std::exp(-0.5 * (ss + a * a + b * b) + 20.0);
      total += p;
      sum[0] += p * a;
      sum[1] += p * b;
      sum[2] += p * a * b;
    }
  }
  const arma::rowvec a = draw.row(row_of(run, "m", "   Fixed : x"));
  const arma::rowvec b = draw.row(row_of(run, "y", "   Fixed : m"));
  const arma::rowvec c = draw.row(row_of(run, "y", "   Fixed : x"));
  EXPECT_NEAR(arma::mean(a), sum[0] / total, 5.0 * mean_error(a));
  EXPECT_NEAR(arma::mean(b), sum[1] / total, 5.0 * mean_error(b));
  EXPECT_NEAR(arma::mean(c), sum[2] / total, 5.0 * mean_error(c));
  EXPECT_LT(arma::abs(c - a % b).max(), 1e-12);
  EXPECT_LT(arma::abs(draw.row(row_of(run, "d", "   Fixed : d")) - (c - a)).max(), 1e-12);
  EXPECT_LT(arma::abs(draw.row(row_of(run, "c", "   Fixed : c")) - c).max(), 1e-12);
}

TEST(Labels, ADrawnLabelWithASingleLetterCaseVariant) {
  const small_run run(names, columns(), {}, {"y ~ x@Slope", "m ~ x@sLOPE"});
  // What is drawn from its distribution has no acceptance.
  EXPECT_EQ(run.chain(Random(2, 1))->outcomes()->acceptance().size(), 2u);
  EXPECT_EQ(run.chain(Random(2, 1))->outcomes()->n_estimated(), 5u);
  const Setting<bool> walks(sem::sampler_settings::draw_label_blocks, false);
  const auto chain = run.chain(Random(2, 1));
  EXPECT_EQ(chain->outcomes()->acceptance().back().label, "sLOPE");  // as the first equation drawn has it
  EXPECT_EQ(chain->outcomes()->acceptance().size(), 3u);
  // Two intercepts, two variances, one label.
  EXPECT_EQ(chain->outcomes()->n_estimated(), 5u);
}

TEST(Labels, LabelsOfOnePlaceChangeNoDraw) {
  const small_run plain(names, columns(), {}, {"y ~ x z", "m ~ x"});
  const small_run labelled(names, columns(), {}, {"y ~ 1@i x@b z", "m ~ x@c", "m ~~ m@v"},
                           {"g = b * c + v - i", "h = y.totalvar"});
  const auto a = plain.chain(Random(3, 1)), b = labelled.chain(Random(3, 1));
  const arma::mat first = draws(*a, 0, 20), second = draws(*b, 0, 20);
  ASSERT_EQ(second.n_rows, first.n_rows + 2);
  EXPECT_TRUE(arma::approx_equal(first, second.head_rows(first.n_rows), "absdiff", 0.0));
  EXPECT_EQ(a->outcomes()->n_estimated(), b->outcomes()->n_estimated());
  EXPECT_EQ(b->outcomes()->acceptance().size(), 4u);
}

TEST(Labels, GeneratedParametersFollowTheStateThatIsReported) {
  const small_run run(names, columns(), {}, {"y ~ 1@i x@b z@b", "m ~ x@c"},
                      {"g = b * c + 1", "k = g - i", "t = y.totalvar", "r = y.residvar", "f = y.coefvar",
                       "s = y.slopevar", "u = y.iceptvar"});
  const auto chain = run.chain(Random(3, 1));
  const arma::mat draw = draws(*chain, 0, 30);
  const auto at = [&](const char* model, const char* row) { return draw.row(row_of(run, model, row)); };
  const arma::rowvec b = at("y", "   Fixed : x"), c = at("m", "   Fixed : x"),
                     i = at("y", "   Fixed : Intercept");
  EXPECT_LT(arma::abs(at("g", "   Fixed : g") - (b % c + 1.0)).max(), 1e-12);
  EXPECT_LT(arma::abs(at("k", "   Fixed : k") - (b % c + 1.0 - i)).max(), 1e-12);
  EXPECT_TRUE(arma::all(at("r", "   Fixed : r") == at("y", "Variance : Residual Var.")));
  // Shares and variances belong to the same state, after the shared label has moved.
  const arma::rowvec total = at("t", "   Fixed : t"), coef = at("f", "   Fixed : f");
  const arma::mat C = arma::cov(arma::join_rows(run.data.col(1), run.data.col(3)));
  EXPECT_LT(arma::abs(coef - b % b * arma::accu(C)).max(), 1e-10);
  EXPECT_LT(arma::abs(total - coef - at("r", "   Fixed : r")).max(), 1e-10);
  EXPECT_LT(arma::abs(at("y", "R2: Coefficients") - coef / total).max(), 1e-12);
  EXPECT_TRUE(arma::all(at("s", "   Fixed : s") == 0.0));
  EXPECT_TRUE(arma::all(at("u", "   Fixed : u") == 0.0));
  const arma::vec last = chain->outcomes()->computations();
  ASSERT_EQ(last.n_elem, 7u);
  EXPECT_EQ(chain->outcomes()->n_computations(), 7u);
  EXPECT_EQ(last(2), total(29));
}

TEST(Labels, RandomEffectVarianceIsReadWhereItStands) {
  arma::mat data = columns(30);
  data.insert_cols(0, 1);
  for (arma::uword i = 0; i < 30; ++i) data(i, 0) = static_cast<double>(i / 5);
  const small_run run({"s", "m", "x", "y", "z"}, data, {"s"}, {"y ~ x | 1@v x@w"},
                      {"i = v / (v + y.residvar)", "j = w"});
  const auto chain = run.chain(Random(3, 1));
  const arma::mat draw = draws(*chain, 0, 10);
  const arma::rowvec v = draw.row(0), w = draw.row(2), s2 = draw.row(3);
  EXPECT_LT(arma::abs(draw.row(draw.n_rows - 2) - v / (v + s2)).max(), 1e-12);
  EXPECT_TRUE(arma::all(draw.row(draw.n_rows - 1) == w));
}

TEST(Labels, Starts) {
  const auto start = [](const std::vector<std::string>& statements,
                        const std::vector<std::string>& parameters, const char* name) {
    label_bench bench(names, columns(), {}, statements, parameters, {}, 1, false);
    return bench.label(name).constraint->value;
  };
  EXPECT_EQ(start({"y ~ x@b z@b"}, {}, "b"), 0.0);
  EXPECT_EQ(start({"y ~ x@b z@b"}, {"b ~ uniform(2, 3)"}, "b"), 2.5);
  EXPECT_EQ(start({"y ~~ y@v", "m ~~ m@v", "y ~ x", "m ~ x"}, {"v ~ gamma(2, 3)"}, "v"), 6.0);
  // The middle of the prior is no variance.
  EXPECT_GT(start({"y ~~ y@v", "m ~~ m@v", "y ~ x", "m ~ x"}, {"v ~ normal(0, 3)"}, "v"), 0.0);
  // (x*0) would be a column of zeros.
  EXPECT_EQ(start({"y ~ (x*k) z@k"}, {}, "k"), 0.1);
  EXPECT_EQ(start({"y ~ (x*k) z@k"}, {"k ~ truncate(-3, 0.05)"}, "k"), -0.1);
  // The user's start is that of every place.
  small_run run(names, columns(), {}, {"y ~ x@b%0.7 z@b", "m ~ z@b"}, {"b ~ normal(0, 1)", "c = 2 * b"});
  const auto chain = run.chain(Random(1, 1));
  const arma::vec p = chain->getParams();
  EXPECT_EQ(p(row_of(run, "y", "   Fixed : x")), 0.7);
  EXPECT_EQ(p(row_of(run, "y", "   Fixed : z")), 0.7);
  EXPECT_EQ(p(row_of(run, "m", "   Fixed : z")), 0.7);
  EXPECT_EQ(p(row_of(run, "b", "   Fixed : b")), 0.7);
  EXPECT_EQ(p(row_of(run, "c", "   Fixed : c")), 1.4);
}

TEST(Labels, ProposalsHaveTheScaleOfTheParameter) {
  const Setting<bool> walks(sem::sampler_settings::draw_label_blocks, false);
  label_bench bench(names, columns(), {}, {"y ~ x@b z@b m@c", "m ~ x@c", "y ~~ y@2"}, {}, {}, 1, false);
  const arma::mat data = bench.run.data;
  const double xx = arma::dot(data.col(1), data.col(1));
  // The intercept goes along with a label: what counts is the spread about the mean.
  const auto about_mean = [](const arma::vec& v) { return arma::accu(arma::square(v - arma::mean(v))); };
  const double ss = about_mean(data.col(1) + data.col(3));
  EXPECT_NEAR(bench.label("b").constraint->variance, 4.0 * 2.0 / ss, 0.01 / ss);
  const double expected = 1.0 / (about_mean(data.col(0)) / 2.0 + xx / bench.equation("m").sigma2);
  EXPECT_NEAR(bench.label("c").constraint->variance, 4.0 * expected, 0.01 * expected);
  label_bench variance(names, columns(), {}, {"y ~ x", "m ~ x", "y ~~ y@v", "m ~~ m@v"}, {}, {}, 1, false);
  EXPECT_NEAR(variance.label("v").constraint->variance, 1.0 / (28.0 / 2.0 + 28.0 / 2.0), 1e-12);
  // A tight prior sets the scale where the data say less; only the term knows how it is read.
  label_bench prior(names, columns(), {}, {"y ~ x@b z@b"}, {"b ~ normal(0, 0.0001)"}, {}, 1, false);
  EXPECT_NEAR(prior.label("b").constraint->variance, 4.0 * 0.0001, 0.00002);
  label_bench term(names, columns(), {}, {"y ~ 1@0 (1000*k*x)@1 (k*z)@0", "y ~~ y@2"}, {"k ~ normal(0, 100)"},
                   {}, 1, false);
  EXPECT_NEAR(term.label("k").constraint->variance * 1e6 * xx / 2.0, 4.0, 0.04);
}

TEST(Labels, LikelihoodOfALabelIsThatOfItsModelsOnce) {
  for (bool changing : {false, true}) {
    label_bench bench(names, columns(), {}, {"y ~ x@b z@b (m*b)@1", "m ~ x@c z@b"}, {"c = b * b"}, {}, 1,
                      changing);
    for (const auto& model : bench.models) model->draw(bench.data());
    sem::estimator::constraint& b = *bench.label("b").constraint;
    b.write(0.4);
    EXPECT_EQ(bench.equation("m").betas()(1), 0.4 * 0.4);
    EXPECT_EQ(b.likelihoods.size(), 2u);
    double expected = 0.0;
    for (const char* outcome : {"y", "m"}) expected += bench.equation(outcome).logLiklihood(bench.data());
    EXPECT_NEAR(b.log_density(bench.data()), expected, 1e-9);
  }
}

TEST(Labels, CoefficientsFixedLabelledAndFreeShareAnEquation) {
  const small_run run(names, columns(), {}, {"y ~ x@b z@0.3 m", "m ~ x@b"});
  const auto chain = run.chain(Random(8, 1));
  tune(*chain);
  const arma::mat draw = draws(*chain, 100, 60000);
  EXPECT_TRUE(arma::all(draw.row(row_of(run, "y", "   Fixed : z")) == 0.3));
  // Given the label and both variances the intercept and the slope of m are a regression of what is left: the
  // mean of y - Xb - 0.3 z has its posterior mean at zero in both directions.
  const arma::rowvec icept = draw.row(row_of(run, "y", "   Fixed : Intercept"));
  const arma::rowvec slope = draw.row(row_of(run, "y", "   Fixed : m"));
  const arma::rowvec b = draw.row(row_of(run, "y", "   Fixed : x"));
  const arma::mat X = arma::join_rows(arma::ones(30), run.data.col(0));
  const arma::vec ofb = arma::solve(X, run.data.col(1));
  const arma::vec rest = arma::solve(X, run.data.col(2) - 0.3 * run.data.col(3));
  const arma::rowvec residual_icept = icept - (rest(0) - ofb(0) * b),
                     residual_slope = slope - (rest(1) - ofb(1) * b);
  EXPECT_NEAR(arma::mean(residual_icept), 0.0, 5.0 * mean_error(residual_icept));
  EXPECT_NEAR(arma::mean(residual_slope), 0.0, 5.0 * mean_error(residual_slope));
}

TEST(Labels, AFreeTermMayReadALabel) {
  const small_run run(names, columns(), {}, {"y ~ (x*k)%0.5 z@k"});
  EXPECT_NO_THROW(draws(*run.chain(Random(8, 1)), 0, 50));
}

TEST(Labels, ShortBurnInSuffices) {
  const Setting<bool> walks(sem::sampler_settings::draw_label_blocks, false);
  for (int seed = 1; seed <= 60; ++seed) {
    const small_run run(names, columns(), {}, {"y ~ x@b z@b", "m ~ x@b", "y ~~ y@v", "m ~~ m@v"});
    const auto chain = run.chain(Random(seed, 1));
    for (int i = 0; i < 1000; ++i) {
      if (i % 100 == 0 && i < 500) chain->tune();
      chain->oneRep();
    }
    EXPECT_NO_THROW(chain->tune_check()) << seed;
  }
}

TEST(Labels, TuningIsReportedOnRequest) {
  const Setting<bool> walks(sem::sampler_settings::draw_label_blocks, false);
  const Setting<bool> unsolved(sem::sampler_settings::use_autosolver, false);
  const small_run run(names, columns(), {}, {"y ~ x@b z@b"});
  const auto chain = run.chain(Random(4, 1));
  for (int i = 0; i < 50; ++i) chain->oneRep();
  const Setting<bool> print(sem::estimator::constraint::print_debug, true);
  testing::internal::CaptureStdout();
  chain->tune();
  const std::string text = testing::internal::GetCapturedStdout();
  EXPECT_EQ(text.rfind("multiplier=", 0), 0u) << text;
  EXPECT_NE(text.find("; stddev="), std::string::npos);
  EXPECT_NE(text.find("; probs="), std::string::npos);
  EXPECT_EQ(text.substr(text.size() - 2), ";\n");
}

TEST(Labels, FewUnitsHaveAProposalNonetheless) {
  label_bench bench(names, columns(2), {}, {"y ~ 1@0 x@b", "m ~ 1@0 x@b", "y ~~ y@v", "m ~~ m@v"}, {}, {}, 1,
                    false);
  EXPECT_GT(bench.label("v").constraint->variance, 0.0);
  EXPECT_TRUE(std::isfinite(bench.label("v").constraint->variance));
}

TEST(Labels, ExpressionsWithoutAValueAreRejectedNotFatal) {
  // iphi() has values between 0 and 1 only.
  const small_run run(names, columns(), {}, {"y ~ 1@0 x@c", "y ~~ y@1"},
                      {"p ~ truncate(0.2, 0.9)", "c = iphi(p)"});
  const auto chain = run.chain(Random(8, 1));
  EXPECT_NO_THROW(draws(*chain, 0, 2000));
}

TEST(Labels, OneLabelOfTwoCorrelationsIsDrawnByTheFirstPhantom) {
  const Setting<bool> phantoms(sem::defaults::optimize_models, false);
  small_run run(names, columns(), {}, {"y ~ x@a z@a", "m ~ 1", "z ~ 1", "y <-> m@r", "z <-> m@r"},
                {"r ~ uniform(-0.5, 0.4)", "q = 2 * r"});
  prepare(run);
  const auto chain = run.chain(Random(8, 1));
  const arma::mat draw = draws(*chain, 100, 400);
  const arma::rowvec r = draw.row(row_of(run, "r", "   Fixed : r"));
  EXPECT_TRUE(arma::all(r > -0.5) && arma::all(r < 0.4));
  EXPECT_GT(arma::stddev(r), 0.02);
  unsigned correlations = 0;
  arma::uword at = 0;
  for (const Model& model : run.models) {
    if (model.kind() == model::kind::phantom) {
      ++correlations;
      EXPECT_TRUE(arma::all(draw.row(at) == r)) << model.command();
    }
    at += model.n_rows();
  }
  EXPECT_EQ(correlations, 2u);
  EXPECT_LT(arma::abs(draw.row(row_of(run, "q", "   Fixed : q")) - 2.0 * r).max(), 1e-14);
}

TEST(Labels, DefinitionsAreEvaluatedAtTheData) {
  const small_run run(names, columns(), {}, {"d = x * z + 1", "y ~ x d"});
  const auto chain = run.chain(Random(8, 1));
  chain->oneRep();
  ASSERT_EQ(chain->outcomes()->n_defines(), 1u);
  const arma::mat defined = chain->outcomes()->defines(chain->working().data);
  EXPECT_LT(arma::abs(defined.col(0) - (run.data.col(1) % run.data.col(3) + 1.0)).max(), 1e-14);
  const arma::mat saved = chain->getData();
  ASSERT_EQ(saved.n_cols, 5u);
  EXPECT_TRUE(arma::approx_equal(saved.col(4), defined.col(0), "absdiff", 0.0));
  EXPECT_EQ(chain->dataNames(run.vars, run.models, false, false, false).back(), "d");
}

TEST(Labels, ComputedTermsDrawAsTheirColumnsWould) {
  arma::mat data = columns();
  const small_run computed(names, data, {}, {"y ~ x (x*z) (x*x)"});
  data.insert_cols(4, 2);
  data.col(4) = data.col(1) % data.col(3);
  data.col(5) = data.col(1) % data.col(1);
  const small_run plain({"m", "x", "y", "z", "p", "q"}, data, {}, {"y ~ x p q"});
  const arma::mat a = draws(*computed.chain(Random(8, 1)), 0, 20),
                  b = draws(*plain.chain(Random(8, 1)), 0, 20);
  EXPECT_TRUE(arma::approx_equal(a, b, "absdiff", 1e-9));
}

}  // namespace
}  // namespace tovik::tests::labels_test
