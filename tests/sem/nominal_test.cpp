#include "sem/outcomes/nominal.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <vector>

#include "fault_message.hpp"
#include "logistic_world.hpp"
#include "nominal_world.hpp"
#include "sample_tests.hpp"
#include "sem/ensemble/likelihood_lists.hpp"
#include "support/error.hpp"

namespace tovik::tests::nominal_test {
namespace {

using sem::equation_setup;
using sem::Logistic;
using sem::Nominal;
using sem::parameter_type;

const nesting unbalanced = {{5, 1, 9, 4}, {3, 7}, {2, 2, 6}, {8}, {4, 5, 3}};

bool is_lost(const arma::Mat<double>& values) {
  return std::all_of(values.begin(), values.end(), [](double v) { return std::isnan(v); });
}

/// Four categories, the reference 5, of rows in clusters of two levels.
struct FourCategories {
  World world{3, unbalanced, 171};
  sem::nominal_codes codes = add_codes(world, {5.0, 1.0, 2.0, 8.0});
  LoneEstimator estimator{117};
  equation_setup setup = logistic(world.setup(0, {0, 2, 3}));

  FourCategories() {
    Random rng(171, 3);
    arma::Col<arma::uword> categories(world.data.n_rows);
    for (arma::uword& k : categories) k = static_cast<arma::uword>(4.0 * rng.runif());
    write_categories(world, 0, 1, codes, categories);
    setup.z = {{0, 2}, {0}};
    setup.icept = {1, 1};
    setup.prior = {1, 1};
  }
};

TEST(Nominal, HasTheParametersOfALogisticRegressionForEachCode) {
  FourCategories m;
  Nominal model(&m.estimator, m.setup, m.codes);
  EXPECT_EQ(model.n_codes(), 3U);
  EXPECT_EQ(model.n_params(), 3U * 7U);
  EXPECT_EQ(model.n_estimated(), 3U * 7U);
  arma::Col<double> starts(21);
  for (arma::uword c = 0; c < 3; ++c) {
    const double k = static_cast<double>(c + 1);
    starts.subvec(7 * c, 7 * c + 6) =
        arma::Col<double>{2.0 * k, 3.0 * k, 0.5 * k, 4.0 * k, -0.1, 0.2, 0.3 * k};
  }
  model.addStarts(starts);
  EXPECT_TRUE(arma::approx_equal(model.params(), starts, "absdiff", 0.0));
  EXPECT_EQ(model.member(1).Sigma[1](0, 0), 4.0);
  EXPECT_EQ(model.member(2).betas()(2), 0.3 * 3.0);
  EXPECT_THROW(model.addStarts(starts.head(20)), error_debug);
}

TEST(Nominal, ReportsParametersThenOddsRatiosOfEachCodeAndNoShares) {
  FourCategories m;
  Nominal model(&m.estimator, m.setup, m.codes);
  model.draw(m.world.data);
  const arma::Col<double> out = model.params(m.world.data);
  ASSERT_EQ(out.n_elem, 3U * 10U);
  for (arma::uword c = 0; c < 3; ++c) {
    const Logistic& code = model.member(c);
    EXPECT_TRUE(arma::approx_equal(out.subvec(10 * c, 10 * c + 6), code.params(), "absdiff", 0.0));
    for (arma::uword j = 0; j < 3; ++j) EXPECT_EQ(out(10 * c + 7 + j), std::exp(code.betas()(j)));
  }
  EXPECT_EQ(model.postDraw(m.world.data).n_elem, 9U);
}

// One code is drawn as the logistic regression that it is, with the same random numbers.
TEST(Nominal, WithTwoCategoriesIsTheLogisticRegressionOfTheCode) {
  World world(3, unbalanced, 172);
  const sem::nominal_codes codes = add_codes(world, {2.0, 1.0});
  simulate_binary(world, 0, 0.8, 0.3, 172);
  arma::Col<arma::uword> categories = arma::conv_to<arma::Col<arma::uword>>::from(world.data.col(1));
  World plain = world;
  write_categories(world, 0, 1, codes, categories);
  equation_setup setup = logistic(world.setup(0, {0, 2, 3}));
  setup.z = {{0, 2}, {0}};
  setup.icept = {1, 1};
  setup.prior = {1, 1};
  LoneEstimator one(19), two(19);
  Nominal model(&one, setup, codes);
  Logistic reference(&two, setup);
  for (int t = 0; t < 30; ++t) {
    model.draw(world.data);
    reference.draw(plain.data);
    ASSERT_TRUE(arma::approx_equal(model.params(), reference.params(), "absdiff", 0.0)) << t;
  }
  EXPECT_TRUE(arma::approx_equal(model.logLiklihood(world.data, 1), reference.logLiklihood(plain.data, 1),
                                 "absdiff", 1e-12));
  EXPECT_TRUE(arma::approx_equal(model.predicted(world.data).col(1), reference.predicted(plain.data),
                                 "absdiff", 1e-14));
  EXPECT_EQ(one.random.output(), two.random.output());
}

// The offset of a code, from running sums over the others, against the definition.
TEST(Nominal, EveryCodeIsDrawnWithTheLogOfTheSumOverTheOthersAsItsOffset) {
  FourCategories m;
  LoneEstimator one(23), two(23);
  Nominal model(&one, m.setup, m.codes);
  std::vector<std::shared_ptr<Logistic>> members;
  for (arma::uword column : m.codes.columns) {
    equation_setup of_code = m.setup;
    of_code.y = column;
    members.push_back(std::make_shared<Logistic>(&two, of_code));
  }
  for (int t = 0; t < 10; ++t) {
    model.draw(m.world.data);
    for (std::size_t c = 0; c < members.size(); ++c) {
      arma::Col<double> sum(m.world.data.n_rows, arma::fill::ones), eta;
      for (std::size_t d = 0; d < members.size(); ++d) {
        if (d == c) continue;
        members[d]->predictor(m.world.data, eta);
        sum += arma::exp(eta);
      }
      const arma::Col<double> offset = arma::log(sum);
      members[c]->draw(m.world.data, &offset);
      ASSERT_TRUE(arma::approx_equal(model.member(c).params(), members[c]->params(), "absdiff", 1e-7)) << t;
    }
  }
}

TEST(Nominal, ProbabilitiesSumToOneAndKeepTheirDigitsAtLargePredictors) {
  World world(1, {{5}}, 173);
  const sem::nominal_codes codes = add_codes(world, {1.0, 2.0, 3.0});
  world.data.col(2) = arma::Col<double>{900.0, -900.0, 30.0, 0.0, 900.0};
  write_categories(world, 0, 1, codes, {0, 0, 2, 1, 2});
  LoneEstimator estimator(18);
  Nominal model(&estimator, logistic(world.setup(0, {2})), codes);
  model.addStarts({0.5, 1.0});
  const arma::Col<double> l = model.logLiklihood(world.data, 0);
  EXPECT_EQ(l(0), -900.0);
  EXPECT_NEAR(l(1) / -std::exp(-450.0), 1.0, 1e-12);
  EXPECT_NEAR(l(2) / -std::exp(-15.0), 1.0, 1e-6);
  EXPECT_NEAR(l(3), -std::log(3.0), 1e-15);
  EXPECT_NEAR(l(4) / -std::exp(-450.0), 1.0, 1e-12);
  const arma::Mat<double> p = model.predicted(world.data);
  ASSERT_EQ(p.n_cols, 3U);
  for (arma::uword i = 0; i < 5; ++i) EXPECT_NEAR(arma::accu(p.row(i)), 1.0, 1e-14);
  EXPECT_EQ(p(0, 2), 1.0);
  EXPECT_EQ(p(1, 0), 1.0);
}

TEST(Nominal, LikelihoodsOfSomeUnitsAndOfClustersAreThoseOfTheCategories) {
  FourCategories m;
  Nominal model(&m.estimator, m.setup, m.codes);
  model.draw(m.world.data);
  const arma::Col<double> rows = model.logLiklihood(m.world.data, 0);
  const arma::Mat<double> p = model.compute_predicted(m.world.data);
  arma::Col<double> of_clusters(5, arma::fill::zeros);
  for (arma::uword i = 0; i < rows.n_elem; ++i) {
    arma::uword k = 0;
    for (arma::uword c = 0; c < 3; ++c)
      if (m.world.data(i, m.codes.columns(c)) == 1.0) k = c + 1;
    EXPECT_NEAR(std::exp(rows(i)), p(i, k), 1e-12);
    of_clusters(m.world.units[2](i)) += rows(i);
  }
  EXPECT_TRUE(arma::approx_equal(model.logLiklihood(m.world.data, 2), of_clusters, "absdiff", 1e-10));
  EXPECT_NEAR(model.logLiklihood(m.world.data), arma::accu(rows), 1e-10);
  arma::Col<double> some(2, arma::fill::ones);
  model.addLogLiklihood(m.world.data, 0, {3, 11}, some.memptr());
  EXPECT_NEAR(some(0), 1.0 + rows(3), 1e-12);
  EXPECT_NEAR(some(1), 1.0 + rows(11), 1e-12);
  some.zeros();
  model.addLogLiklihood(m.world.data, 2, {1, 4}, some.memptr());
  EXPECT_NEAR(some(0), of_clusters(1), 1e-10);
  EXPECT_NEAR(some(1), of_clusters(4), 1e-10);
  EXPECT_THROW(model.logLiklihood(m.world.data, 3), error_debug);
}

TEST(Nominal, MarginalLikelihoodIsTheConditionalOneWithoutEffectsAndUnknownWithThem) {
  FourCategories m;
  Nominal with(&m.estimator, m.setup, m.codes);
  with.draw(m.world.data);
  EXPECT_EQ(with.marginal_logLiklihood(m.world.data).n_elem, 5U);
  EXPECT_TRUE(is_lost(with.marginal_logLiklihood(m.world.data)));
  m.setup.z = {{}, {}};
  m.setup.missing_units = {0, 3};
  Nominal without(&m.estimator, m.setup, m.codes);
  without.draw(m.world.data);
  EXPECT_TRUE(arma::approx_equal(without.marginal_logLiklihood(m.world.data),
                                 without.logLiklihood(m.world.data, 2), "absdiff", 0.0));
  const arma::Col<double> rows = without.logLiklihood(m.world.data, 0);
  EXPECT_NEAR(arma::accu(without.observed_marginal_logLiklihood(m.world.data)),
              arma::accu(rows) - rows(0) - rows(3), 1e-10);
  EXPECT_EQ(without.n_unobserved(), 2U);
}

TEST(Nominal, MissingCategoriesAreDrawsOfTheEquationAndTheirCodesFollow) {
  World world(1, {{12}}, 175);
  const sem::nominal_codes codes = add_codes(world, {4.0, 1.0, 2.0});
  world.data.col(2) = arma::linspace(-3.0, 3.0, 12);
  write_categories(world, 0, 1, codes, arma::Col<arma::uword>(12, arma::fill::zeros));
  equation_setup setup = logistic(world.setup(0, {2}));
  setup.fixed = {0};
  setup.fixed_values = {1.0};
  setup.missing_units = {1, 6, 10};
  LoneEstimator estimator(24);
  Nominal model(&estimator, setup, codes);
  constexpr int n = 20000;
  arma::Mat<double> counts(12, 3, arma::fill::zeros), raw = world.data;
  for (int t = 0; t < n; ++t) {
    model.draw(world.data);
    for (arma::uword i = 0; i < 12; ++i)
      for (arma::uword k = 0; k < 3; ++k) counts(i, k) += world.data(i, 1) == codes.values[k] ? 1.0 : 0.0;
    model.categorize(raw, world.data);
    ASSERT_TRUE(arma::approx_equal(raw.col(1), world.data.col(1), "absdiff", 0.0));
  }
  for (arma::uword i = 0; i < 12; ++i) {
    const bool missing = arma::any(setup.missing_units == i);
    const double odds = std::exp(world.data(i, 2)), of_code = missing ? odds / (1.0 + 2.0 * odds) : 0.0;
    for (arma::uword k = 1; k < 3; ++k)
      EXPECT_NEAR(counts(i, k) / n, of_code, 5.5 * std::sqrt(of_code * (1.0 - of_code) / n)) << i;
    EXPECT_EQ(arma::accu(counts.row(i)), n);
  }
  EXPECT_EQ(model.impute_tune.total, 0U);
}

TEST(Nominal, CodesThatAreNoCategoryAreFound) {
  FourCategories m;
  Nominal model(&m.estimator, m.setup, m.codes);
  arma::Mat<double> raw = m.world.data;
  for (double wrong : {arma::datum::nan, 0.5}) {
    arma::Mat<double> data = m.world.data;
    data(7, m.codes.columns(1)) = wrong;
    EXPECT_EQ(message([&] { model.categorize(raw, data); }), "ERROR: Unable to categorize latent value.");
  }
  arma::Mat<double> data = m.world.data;
  for (arma::uword column : m.codes.columns) data(7, column) = 1.0;
  EXPECT_EQ(message([&] { model.categorize(raw, data); }), "ERROR: Unable to categorize latent value.");
}

TEST(Nominal, OutcomeAboveTheRowsWritesAllRowsOfItsUnits) {
  World world(3, unbalanced, 176);
  const sem::nominal_codes codes = add_codes(world, {1.0, 2.0, 3.0});
  write_categories(world, 1, 1, codes,
                   arma::regspace<arma::Col<arma::uword>>(0, 12) -
                       3 * (arma::regspace<arma::Col<arma::uword>>(0, 12) / 3));
  equation_setup setup = logistic(world.setup(1, {0, 6}));
  setup.z = {{0}};
  setup.icept = {1};
  setup.prior = {1, 1};
  setup.missing_units = {2, 5};
  LoneEstimator estimator(25);
  Nominal model(&estimator, setup, codes);
  arma::Col<double> seen(3, arma::fill::zeros);
  for (int t = 0; t < 200; ++t) {
    model.draw(world.data);
    arma::Mat<double> raw = world.data;
    model.categorize(raw, world.data);
    ASSERT_TRUE(arma::approx_equal(raw.col(1), world.data.col(1), "absdiff", 0.0));
    for (arma::uword row = 1; row < world.data.n_rows; ++row) {
      if (world.units[1](row) == world.units[1](row - 1)) {
        ASSERT_EQ(world.data(row, 1), world.data(row - 1, 1));
      }
    }
    seen(static_cast<arma::uword>(world.data(world.first_rows[1](2), 1)) - 1) += 1.0;
  }
  EXPECT_TRUE(arma::all(seen > 0.0));
  EXPECT_EQ(model.logLiklihood(world.data, 1).n_elem, 13U);
  EXPECT_EQ(model.predicted(world.data).n_rows, world.data.n_rows);
}

// Separated categories, a category of one row, and one that a cluster does not have.
TEST(Nominal, SeparatedAndRareCategoriesStayFinite) {
  World world(2, {{20, 15, 1, 4}}, 177);
  const sem::nominal_codes codes = add_codes(world, {1.0, 2.0, 3.0, 4.0});
  world.data.col(2) = arma::linspace(-300.0, 300.0, 40);
  arma::Col<arma::uword> categories(40, arma::fill::zeros);
  categories.tail(20).fill(1);
  categories(39) = 2;
  categories(3) = 3;
  write_categories(world, 0, 1, codes, categories);
  equation_setup setup = logistic(world.setup(0, {0, 2}));
  setup.z[0] = {0};
  setup.icept = {1};
  setup.prior = {1, 1};
  LoneEstimator estimator(26);
  Nominal model(&estimator, setup, codes);
  for (int t = 0; t < 2000; ++t) {
    model.draw(world.data);
    ASSERT_TRUE(model.params(world.data).is_finite());
    ASSERT_TRUE(model.logLiklihood(world.data, 0).is_finite());
    const arma::Mat<double> p = model.compute_predicted(world.data);
    ASSERT_LT(arma::abs(arma::sum(p, 1) - 1.0).max(), 1e-13);
  }
}

TEST(Nominal, WeightsWithoutPassesMakeTheScanNaNAndLeaveTheData) {
  FourCategories m;
  m.setup.missing_units = {0, 9};
  Nominal model(&m.estimator, m.setup, m.codes);
  model.draw(m.world.data);
  const arma::Mat<double> before = m.world.data;
  {
    const Setting<std::uint32_t> limit(Random::pg_max_niter, 1U);
    model.draw(m.world.data);
  }
  for (int t = 0; t < 3; ++t) {
    EXPECT_TRUE(is_lost(model.params(m.world.data)));
    EXPECT_TRUE(is_lost(model.logLiklihood(m.world.data, 0)));
    model.refreshShares(m.world.data);
    model.draw(m.world.data);
  }
  EXPECT_TRUE(arma::approx_equal(m.world.data, before, "absdiff", 0.0));
}

TEST(Nominal, HasNoPartsThatOtherModelsCouldHold) {
  FourCategories m;
  Nominal model(&m.estimator, m.setup, m.codes);
  const std::string effects = "Random Indicators not allowed for Nominal outcomes!";
  EXPECT_EQ(message([&] { model.addIndicator({7}, sem::indicator_type::random_effect); }), effects);
  EXPECT_EQ(message([&] { model.likelihoodFunc(sem::likelihood_type::random_effect); }), effects);
  EXPECT_EQ(message([&] { model.addDist(nullptr, sem::distribution_type::fixed); }),
            "Unable to set autosolver for Nominal.");
  EXPECT_THROW(model.addMulti(nullptr), error_debug);
  EXPECT_THROW(model.addTransform({}), error_debug);
  EXPECT_THROW(model.constraint(parameter_type::random_covariance, 0, 0), error_debug);
  EXPECT_EQ(model.moved_intercept(), nullptr);
  EXPECT_THROW(Nominal(&m.estimator, m.setup, {{1.0, 2.0}, m.codes.columns}), error_debug);
  EXPECT_THROW(Nominal(&m.estimator, m.setup, {{1.0}, {}}), error_debug);
}

TEST(Nominal, ADrivenCoefficientIsThatOfAllCodes) {
  FourCategories m;
  Nominal model(&m.estimator, m.setup, m.codes);
  const auto slope = model.constraint(parameter_type::coefficient, 1, 0);
  EXPECT_EQ(slope->n_links, 3U);
  ASSERT_EQ(slope->likelihoods.size(), 1U);
  slope->write(0.7);
  model.draw(m.world.data);
  for (arma::uword c = 0; c < 3; ++c) EXPECT_EQ(model.member(c).betas()(1), 0.7);
  double prior = 0.0;
  for (arma::uword c = 0; c < 3; ++c)
    for (arma::uword j : {0U, 2U}) prior -= 0.5 * std::pow(model.member(c).betas()(j), 2) / Logistic::priBeta;
  EXPECT_NEAR(slope->log_density(m.world.data), model.logLiklihood(m.world.data) + prior, 1e-10);
  EXPECT_EQ(model.n_estimated(), 3U * 6U);
  const double each = model.member(0).betaCovB(m.world.data, 1)(0, 0);
  EXPECT_NEAR(model.betaCovB(m.world.data, 1)(0, 0), each / 3.0, 1e-12 * each);
}

}  // namespace
}  // namespace tovik::tests::nominal_test
