#include "sem/ensemble/outcomes.hpp"

#include <gtest/gtest.h>

#include "model/defaults.hpp"
#include "random/densities.hpp"
#include "sample_tests.hpp"
#include "sem/small_run.hpp"
#include "support/error.hpp"

namespace tovik::sem::outcomes_test {
namespace {

using tests::small_run;

const std::vector<std::string> names = {"school", "y", "x", "w"};

/// Five schools of 1 to 5 rows.
arma::mat two_level() {
  Random rng(21, 1);
  const std::vector<int> sizes = {3, 1, 5, 4, 2};
  arma::mat out(15, 4);
  arma::uword row = 0;
  for (arma::uword s = 0; s < sizes.size(); ++s) {
    const double u = rng.rnorm();
    const double w = rng.rnorm();
    for (int k = 0; k < sizes[s]; ++k, ++row) {
      const double x = rng.rnorm();
      out.row(row) = arma::rowvec{static_cast<double>(s), 1 + 0.5 * x + u + rng.rnorm(), x, w};
    }
  }
  return out;
}

TEST(Outcomes, RowsOfAllModelsFollowInListOrder) {
  const small_run run(names, two_level(), {"school"}, {"y ~ x | x", "w ~ 1", "x ~ w"});
  const auto chain = run.chain(Random(2, 1), {1, 1});
  chain->oneRep();
  const Outcomes& all = *chain->outcomes();
  ASSERT_EQ(all.n_outcomes(), 3u);
  const arma::vec rows = chain->getParams();
  arma::uword first = 0;
  for (unsigned i = 0; i < 3; ++i) {
    const Model& model = run.models[i];
    const arma::vec own = all.params(i);
    ASSERT_EQ(own.n_elem, model.parameters().size()) << model.command();
    EXPECT_TRUE(arma::approx_equal(rows.subvec(first, first + own.n_elem - 1), own, "absdiff", 0.0));
    first += own.n_elem + model.standardized().size() + model.rsquare().size();
  }
  EXPECT_EQ(rows.n_elem, first);
  EXPECT_EQ(all.n_params(chain->working().data), first);
  EXPECT_EQ(all.n_params(), all.n_params(0) + all.n_params(1) + all.n_params(2));
  EXPECT_EQ(all.params().n_elem, all.n_params());
}

TEST(Outcomes, CountsEstimatedParametersWithoutFixedOnes) {
  const small_run run(names, two_level(), {"school"}, {"y ~ 1@1 x | x", "w ~ 1", "w ~~ w@2"});
  const auto chain = run.chain(Random(2, 1), {1, 1});
  EXPECT_EQ(chain->outcomes()->n_estimated(), 3u + 1u + 1u + 1u);
  EXPECT_EQ(chain->outcomes()->n_computations(), 0u);
  EXPECT_EQ(chain->outcomes()->n_defines(), 0u);
}

TEST(Outcomes, FixedValuesStayInTheirRows) {
  const small_run run(names, two_level(), {}, {"y ~ 1@1.5 x", "y ~~ y@2"});
  const auto chain = run.chain(Random(2, 1), {1, 1});
  const arma::mat draws = tests::draws(*chain, 0, 5);
  EXPECT_TRUE(arma::all(draws.row(0) == 2.0));
  EXPECT_TRUE(arma::all(draws.row(1) == 1.5));
  EXPECT_NE(draws(2, 0), draws(2, 1));
}

TEST(Outcomes, NamesAndValuesMustAgreeInNumber) {
  small_run run(names, two_level(), {}, {"y ~ x"});
  std::swap(run.models[0].fixed[0], run.models[0].fixed[1]);  // names skip the intercept wherever it stands
  try {
    run.chain(Random(2, 1), {1, 1});
    FAIL() << "accepted";
  } catch (const error_debug& e) {
    EXPECT_STREQ(e.what(), "Model 'y ~ x Intercept' has 6 names for 7 values.");
  }
}

TEST(Outcomes, LikelihoodOfSingleLevelDataIsTheNormalDensityOfEachRow) {
  const small_run run(names, two_level(), {}, {"y ~ x", "w ~ 1"});
  const auto chain = run.chain(Random(2, 1), {1, 1});
  chain->oneRep();
  const arma::cube cube = chain->getLikelihoods();
  ASSERT_EQ(cube.n_rows, 15u);
  ASSERT_EQ(cube.n_cols, 2u);
  ASSERT_EQ(cube.n_slices, 3u);
  const arma::vec p = chain->getParams(run.models[0].name() == "y" ? 0 : 1);
  const arma::uword slice = run.models[0].name() == "y" ? 0 : 1;
  for (arma::uword i = 0; i < 15; ++i) {
    const double r = run.data(i, 1) - p[1] - p[2] * run.data(i, 2);
    EXPECT_NEAR(cube(i, 1, slice), -0.5 * std::log(2 * arma::datum::pi * p[0]) - 0.5 * r * r / p[0], 1e-10);
    EXPECT_EQ(cube(i, 0, slice), cube(i, 1, slice));
    EXPECT_NEAR(cube(i, 1, 2), cube(i, 1, 0) + cube(i, 1, 1), 1e-12);
  }
  EXPECT_NEAR(chain->outcomes()->logLiklihood(chain->working().data), arma::accu(cube.slice(2).col(1)), 1e-9);
}

TEST(Outcomes, MarginalLikelihoodOfACluster) {
  const small_run run(names, two_level(), {"school"}, {"y ~ x | x"});
  const auto chain = run.chain(Random(2, 1), {1, 1});
  for (int i = 0; i < 3; ++i) chain->oneRep();
  const arma::cube cube = chain->getLikelihoods();
  ASSERT_EQ(cube.n_rows, 5u);
  ASSERT_EQ(cube.n_slices, 2u);
  const arma::vec p = chain->getParams(0);
  const arma::mat Sigma = {{p[0], p[1]}, {p[1], p[2]}};
  for (arma::uword c = 0; c < 5; ++c) {
    const arma::mat rows = run.data.rows(arma::find(run.data.col(0) == static_cast<double>(c)));
    const arma::mat Z = arma::join_rows(arma::ones(rows.n_rows), rows.col(2));
    const arma::mat V = Z * Sigma * Z.t() + p[3] * arma::eye(rows.n_rows, rows.n_rows);
    const arma::vec r = rows.col(1) - Z * p.subvec(4, 5);
    const double expected = -0.5 * (static_cast<double>(rows.n_rows) * std::log(2 * arma::datum::pi) +
                                    arma::log_det_sympd(V) + arma::as_scalar(r.t() * arma::solve(V, r)));
    EXPECT_NEAR(cube(c, 0, 0), expected, 1e-9) << c;
    EXPECT_NE(cube(c, 1, 0), cube(c, 0, 0));
  }
}

TEST(Outcomes, LikelihoodOfALevelSumsItsUnits) {
  const small_run run(names, two_level(), {"school"}, {"y ~ x | 1", "w ~ 1"});
  const auto chain = run.chain(Random(2, 1), {1, 1});
  chain->oneRep();
  const Outcomes& all = *chain->outcomes();
  const arma::mat& data = chain->working().data;
  const arma::vec rows = all.logLiklihood(data, 0);
  const arma::vec clusters = all.logLiklihood(data, 1);
  EXPECT_EQ(rows.n_elem, 15u);  // the level-2 outcome has no rows of its own
  EXPECT_EQ(clusters.n_elem, 5u);
  EXPECT_NEAR(arma::accu(clusters), all.logLiklihood(data), 1e-9);
  EXPECT_TRUE(arma::approx_equal(clusters, all.computeLL(data, 1), "absdiff", 0.0));
  EXPECT_EQ(all.computeLL(data), all.logLiklihood(data));
  EXPECT_TRUE(arma::approx_equal(clusters, chain->getLikelihoods().slice(2).col(1), "absdiff", 1e-12));
}

TEST(Outcomes, ColumnsForOutputJoinTheModels) {
  const small_run run(names, two_level(), {"school"}, {"y ~ x | x", "w ~ 1"});
  const auto chain = run.chain(Random(2, 1), {1, 1});
  chain->oneRep();
  const Outcomes& all = *chain->outcomes();
  const arma::mat& data = chain->working().data;
  EXPECT_EQ(all.latent(data).n_cols, 2u);
  ASSERT_EQ(all.predicted(data).n_cols, 2u);
  const arma::mat total = all.predicted(data) + all.residual(data);
  const bool y_first = run.models[0].name() == "y";
  EXPECT_TRUE(arma::approx_equal(total.col(y_first ? 0 : 1), data.col(1), "absdiff", 1e-12));
  EXPECT_TRUE(arma::approx_equal(total.col(y_first ? 1 : 0), data.col(3), "absdiff", 1e-12));
  EXPECT_EQ(all.defines(data).n_cols, 0u);
  EXPECT_EQ(all.betas(0).n_rows, y_first ? 2u : 1u);
}

TEST(Outcomes, AListWithoutModelsMakesNone) {
  small_run run(names, two_level(), {"school"}, {"y ~ x"});
  run.models.clear();
  const auto chain = run.chain(Random(2, 1), {1, 1});
  chain->oneRep();
  EXPECT_EQ(chain->outcomes(), nullptr);
  EXPECT_TRUE(chain->getParams().is_empty());
  EXPECT_TRUE(chain->getLikelihoods().is_empty());
  EXPECT_TRUE(chain->getCorrelations().is_empty());
}

TEST(Outcomes, ALevelTwoOutcomeOfThreeLevelDataHasTheTopLevelAboveIt) {
  arma::mat data = two_level();
  data.insert_cols(4, arma::floor(data.col(0) / 2));
  std::vector<std::string> five = names;
  five.push_back("district");
  const small_run run(five, data, {"school", "district"}, {"w ~ 1 | 1"});
  EXPECT_EQ(run.models[0].parameters().front(), "Variance : L3 : Var(Intercept)");
  const auto chain = run.chain(Random(2, 1), {1, 1});
  EXPECT_TRUE(tests::draws(*chain, 5, 5).is_finite());
  EXPECT_EQ(chain->getLikelihoods().n_rows, 3u);
}

TEST(Outcomes, RefusesLinksThatDoNotFit) {
  small_run run(names, two_level(), {}, {"y ~ x"});
  run.models[0].link = model::link::scale;
  EXPECT_EQ(run.failure(), "No Scale link.");
  run.models[0].link = model::link::probit;
  EXPECT_EQ(run.failure(), "Invalid Link for normal model!");
}

// With both equations known, N(0, 1) and N(3, 1), the missing value is drawn from their product, N(3/2, 1/2).
TEST(Outcomes, TwoEquationsOfAnIncompleteOutcomeDrawItFromTheirProduct) {
  const tests::Setting<bool> apart(sem::defaults::reduce_models, false);
  arma::mat data = two_level();
  data(3, 1) = arma::datum::nan;
  small_run run(names, data, {}, {"y ~ 1@0 x@0", "y ~ 1@3 w@0", "y ~~ y@1"});
  ASSERT_EQ(run.models.size(), 2U);
  for (Model& model : run.models)
    model.variance = run.models[0].variance.is_fixed() ? run.models[0].variance : run.models[1].variance;
  auto chain = run.chain(Random(8, 1), {1, 1});
  constexpr int scans = 40000;
  arma::rowvec values(scans);
  for (double& value : values) {
    chain->oneRep();
    value = chain->working().data(3, 1);
  }
  EXPECT_NEAR(arma::mean(values), 1.5, 4.0 * tests::mean_error(values));
  const arma::rowvec squares = arma::square(values - 1.5);
  EXPECT_NEAR(arma::mean(squares), 0.5, 4.0 * tests::mean_error(squares));
  EXPECT_EQ(chain->outcomes()->imputed_columns().size(), 1U);
}

}  // namespace
}  // namespace tovik::sem::outcomes_test
