#include "sem/chain/mcmc.hpp"

#include <gtest/gtest.h>

#include "model/defaults.hpp"
#include "sample_tests.hpp"
#include "sem/chain/saved_columns.hpp"
#include "sem/predictors/variable.hpp"
#include "sem/small_run.hpp"
#include "sem/wiring/weights.hpp"
#include "support/error.hpp"

namespace tovik::sem::mcmc_test {
namespace {

using tests::small_run;

const double nan = arma::datum::nan;
const std::vector<std::string> names = {"district", "school", "y", "x", "w"};

/// 24 rows, 7 schools of 1 to 6 rows in 3 districts, the rows of schools far apart. w varies between schools.
arma::mat three_level() {
  const std::vector<int> sizes = {4, 1, 6, 3, 2, 5, 3};
  Random rng(11, 3);
  arma::mat sorted(24, 5);
  arma::uword row = 0;
  for (arma::uword s = 0; s < sizes.size(); ++s) {
    const double w = rng.rnorm();
    const double u = rng.rnorm();
    for (int k = 0; k < sizes[s]; ++k, ++row) {
      const double x = rng.rnorm();
      sorted.row(row) = arma::rowvec{1.0 + static_cast<double>(s / 3), 10.0 + static_cast<double>(s),
                                     u + x + rng.rnorm(), x, w};
    }
  }
  return sorted;
}

/// An order of rows that mixes the first three schools with the others but keeps the order within each.
arma::uvec mixed_rows() {
  arma::uvec order(24);
  arma::uword first = 0;
  arma::uword second = 11;
  for (arma::uword i = 0; i < 24; ++i) order[i] = i % 2 == 0 && first < 11 ? first++ : second++;
  return order;
}

arma::mat with_holes(arma::mat data) {
  for (arma::uword row : {2u, 5u, 13u, 23u}) data(row, 2) = nan;
  return data;
}

TEST(Mcmc, TheOrderOfRowsInTheFileChangesNothingButTheOrderOfRows) {
  const arma::mat sorted = with_holes(three_level());
  const arma::mat mixed = sorted.rows(mixed_rows());
  const std::vector<std::string> ids = {"school", "district"};
  const auto a = small_run(names, sorted, ids, {"y ~ x w | x"}).chain(Random(3, 1), {1, 1});
  const auto b = small_run(names, mixed, {"district", "school"}, {"y ~ x w | x"}).chain(Random(3, 1), {1, 1});
  EXPECT_TRUE(arma::approx_equal(tests::draws(*a, 5, 20), tests::draws(*b, 5, 20), "absdiff", 0.0));
  EXPECT_TRUE(arma::approx_equal(a->getData().rows(mixed_rows()), b->getData(), "absdiff", 0.0));
}

TEST(Mcmc, DataComeBackInFileOrderWithOnlyMissingCellsFilled) {
  const arma::mat file = with_holes(arma::mat(three_level().rows(mixed_rows())));
  const auto chain =
      small_run(names, file, {"school", "district"}, {"y ~ x | 1"}).chain(Random(5, 1), {1, 1});
  chain->oneRep();
  const arma::mat once = chain->getData();
  chain->oneRep();
  const arma::mat twice = chain->getData();
  ASSERT_EQ(once.n_rows, file.n_rows);
  ASSERT_EQ(once.n_cols, file.n_cols);
  for (arma::uword i = 0; i < file.n_elem; ++i) {
    if (std::isnan(file[i])) {
      EXPECT_TRUE(std::isfinite(once[i]));
      EXPECT_NE(once[i], twice[i]);
    } else {
      EXPECT_EQ(once[i], file[i]);
    }
  }
}

TEST(Mcmc, AMissingValueOfALevelTwoOutcomeIsOneValuePerCluster) {
  arma::mat file = three_level().eval().rows(mixed_rows());
  for (arma::uword i = 0; i < file.n_rows; ++i) {
    if (file(i, 1) == 12 || file(i, 1) == 15) file(i, 4) = nan;
  }
  const small_run run(names, file, {"school"}, {"w ~ 1"});
  EXPECT_EQ(run.models[0].levels, 0);
  const auto chain = run.chain(Random(5, 1), {1, 1});
  chain->oneRep();
  const arma::mat out = chain->getData();
  const arma::uvec school = arma::find(file.col(1) == 12);
  const arma::vec values = arma::vec(out.col(4)).elem(school);
  EXPECT_EQ(school.n_elem, 6u);
  EXPECT_EQ(values.min(), values.max());
  EXPECT_NEAR(chain->missing_percents()[0], 200.0 / 7.0, 1e-12);
}

TEST(Mcmc, PercentagesCountUnitsOfTheVariablesOwnLevelAndPatternsCountRows) {
  const arma::mat file = with_holes(three_level());
  const auto chain = small_run(names, file, {"school"}, {"y ~ x w"}).chain(Random(5, 1), {1, 1});
  EXPECT_EQ(chain->pattern_names(), (std::vector<std::string>{"y", "x", "w"}));
  ASSERT_EQ(chain->missing_percents().size(), 3u);
  EXPECT_NEAR(chain->missing_percents()[0], 400.0 / 24.0, 1e-12);
  EXPECT_EQ(chain->missing_percents()[1], 0.0);
  EXPECT_EQ(chain->missing_patterns().nrows(), 24u);
  EXPECT_EQ(chain->missing_patterns().size(), 2u);
  ASSERT_EQ(chain->outcomes()->getMissingPercents().size(), 1u);
  EXPECT_NEAR(chain->outcomes()->getMissingPercents()[0], chain->missing_percents()[0], 1e-12);
}

TEST(Mcmc, SeedAndStreamFixTheDraws) {
  const small_run run(names, with_holes(three_level()), {"school"}, {"y ~ x | x"});
  const arma::mat a = tests::draws(*run.chain(Random(9, 1), {1, 1}), 0, 10);
  EXPECT_TRUE(arma::approx_equal(a, tests::draws(*run.chain(Random(9, 1), {1, 1}), 0, 10), "absdiff", 0.0));
  EXPECT_FALSE(arma::approx_equal(a, tests::draws(*run.chain(Random(9, 2), {1, 1}), 0, 10), "absdiff", 1e-6));
}

TEST(Mcmc, IdentifiersMayBeGivenOrFoundInTheCatalogue) {
  const small_run run(names, three_level(), {"school", "district"}, {"y ~ x | 1"});
  const auto first = [&](Mcmc&& chain) {
    chain.addOutcomes(run.vars, run.models, {1, 1});
    return tests::draws(chain, 0, 3);
  };
  const arma::Col<arma::uword> ids = {1, 0};
  const arma::mat expected = first(Mcmc(run.vars, run.data, Random(4), 1, 0.01));
  EXPECT_TRUE(
      arma::approx_equal(expected, first(Mcmc(run.vars, run.data, ids, Random(4), 1, 0.01)), "absdiff", 0.0));
}

TEST(Mcmc, ChainsShareTheColumnsThatAreSaved) {
  const small_run run(names, with_holes(three_level()), {"school"}, {"y ~ x | 1"});
  const auto saved = sem::keep_saved_columns(run.vars, run.data);
  EXPECT_EQ(saved->names, names);
  Mcmc own(run.vars, run.data, Random(4, 1), 1, 0.01),
      shared(run.vars, run.data, Random(4, 1), 1, 0.01, saved),
      other(run.vars, run.data, Random(4, 2), 1, 0.01, saved);
  EXPECT_EQ(saved.use_count(), 3);
  for (Mcmc* chain : {&own, &shared, &other}) {
    chain->addOutcomes(run.vars, run.models, {1, 1});
    for (int t = 0; t < 3; ++t) chain->oneRep();
  }
  EXPECT_TRUE(arma::approx_equal(own.getData(), shared.getData(), "absdiff", 0.0));
  EXPECT_FALSE(arma::approx_equal(own.getData(), other.getData(), "absdiff", 1e-6));
  EXPECT_TRUE(saved->values.has_nan());  // each chain fills a copy of its own
  EXPECT_THROW(Mcmc(run.vars, run.data.head_rows(5), Random(4, 1), 1, 0.01, saved), error_debug);
}

TEST(Mcmc, ReportsTheStartingStateBeforeTheFirstScan) {
  const small_run run(names, three_level(), {}, {"y ~ x"});
  const auto chain = run.chain(Random(4, 1), {1, 1});
  EXPECT_TRUE(arma::approx_equal(chain->getParams(0), chain->getParams().head(3), "absdiff", 0.0));
  EXPECT_NEAR(chain->getParams()[1], arma::mean(run.data.col(2)), 1e-12);
  EXPECT_EQ(chain->getTotalParams(), 3u + 1u + 2u);
  EXPECT_EQ(chain->getCovariateModelNumParams(), 0u);
  EXPECT_THROW(chain->getParams(1), std::out_of_range);
}

TEST(Mcmc, WithoutOutcomeModelsThereIsNothingToReport) {
  const small_run run(names, three_level(), {}, {"y ~ x"});
  Mcmc chain(run.vars, run.data, Random(1, 1), 1, 0.01);
  chain.oneRep();
  EXPECT_EQ(chain.outcomes(), nullptr);
  EXPECT_TRUE(chain.getParams().is_empty());
  EXPECT_TRUE(chain.getLikelihoods().is_empty());
  EXPECT_EQ(chain.getNumberCorrelations(), 0u);
  EXPECT_FALSE(chain.hasTuningInfo());
  EXPECT_TRUE(arma::approx_equal(chain.getData(), three_level(), "absdiff", 0.0));
}

TEST(Mcmc, NamesOfSavedColumnsEndBeforeTheConstant) {
  const small_run run(names, three_level(), {"school"}, {"y ~ x"});
  const auto chain = run.chain(Random(4, 1), {1, 1});
  EXPECT_EQ(chain->dataNames(run.vars, run.models, false, false, false), names);
  auto with_residuals = names;
  with_residuals.insert(with_residuals.end(), {"y$Intercept", "y.residual"});
  EXPECT_EQ(chain->dataNames(run.vars, run.models, true, true, false), with_residuals);
  EXPECT_EQ(chain->getData(true, true, false).n_cols, 7u);
}

TEST(Mcmc, NoProposalWasMadeWithoutMetropolisSteps) {
  const auto chain =
      small_run(names, with_holes(three_level()), {"school"}, {"y ~ x | x"}).chain(Random(4, 1), {1, 1});
  tests::draws(*chain, 0, 5);
  chain->tune();
  EXPECT_NO_THROW(chain->tune_check());
  EXPECT_FALSE(chain->tune_warning());
  EXPECT_FALSE(chain->hasTuningInfo());
  EXPECT_EQ(chain->outcomes()->acceptance().size(), 1u);
}

TEST(Mcmc, ClustersStandAboveTheLevelOfAnOutcome) {
  const auto chain =
      small_run(names, three_level(), {"school", "district"}, {"y ~ x"}).chain(Random(4, 1), {1, 1});
  EXPECT_EQ(chain->n_levels(), 3u);
  EXPECT_EQ(chain->n_units(0), 24u);
  EXPECT_EQ(chain->n_units(1), 7u);
  EXPECT_EQ(chain->n_units(2), 3u);
  EXPECT_EQ(chain->clusters(0).n_levels(), 2u);
  EXPECT_EQ(chain->clusters(1).n_clusters(0), 3u);
  EXPECT_EQ(chain->clusters(2).n_levels(), 0u);
}

TEST(Mcmc, APredictorHasAModelUnlessItIsFixedOrAnOutcome) {
  arma::mat file = three_level();
  file(4, 3) = nan;
  EXPECT_EQ(small_run(names, file, {}, {"y ~ x w"}).chain(Random(4, 1), {1, 1})->predictors().size(), 1u);
  EXPECT_TRUE(
      small_run(names, file, {}, {"y ~ x", "x ~ w"}).chain(Random(4, 1), {1, 1})->predictors().empty());
  small_run run(names, three_level(), {}, {"y ~ x", "x ~ w"});
  EXPECT_TRUE(run.chain(Random(4, 1), {1, 1})->predictors().empty());
  run.vars.find("w")->fixed(false);
  const auto chain = run.chain(Random(4, 1), {1, 1});
  ASSERT_EQ(chain->predictors().size(), 1u);
  EXPECT_FALSE(chain->predictors().front()->missing);
  EXPECT_EQ(chain->getCovariateModelNumParams(), 2u);
}

TEST(Mcmc, SamplingWeightsAreGreaterThanZero) {
  small_run run(names, three_level(), {}, {"y ~ x"});
  run.vars.find("w")->type = data::type::weight;
  run.data.col(run.vars.find("w")->column).fill(2.0);
  EXPECT_EQ(run.failure(), "");
  run.data(3, run.vars.find("w")->column) = 0.0;
  EXPECT_EQ(run.failure(), "ERROR: Sampling weights must be greater than zero.\n       Problem variable: w");
}

TEST(Mcmc, HasTheWeightsOfEachLevelOnceTheyAreGiven) {
  small_run run(names, three_level(), {}, {"y ~ x"});
  try {
    run.chain(Random(4, 1), {1, 1})->weights(0);
    FAIL();
  } catch (const error& e) {
    EXPECT_STREQ(e.what(), "ERROR: Cannot use sampling weights when none have been set.");
  }
  run.vars.find("w")->type = data::type::weight;
  run.data.col(run.vars.find("w")->column).fill(2.0);
  const auto chain = run.chain(Random(4, 1), {1, 1});
  ASSERT_NE(chain->weights(0), nullptr);
  EXPECT_EQ(chain->weights(0)->rows(0), 1.0);
}

TEST(Mcmc, NeedsTheColumnOfTheConstant) {
  small_run run(names, three_level(), {}, {"y ~ x"});
  run.vars.variables.pop_back();
  EXPECT_EQ(run.failure(), "No intercept!");
}

}  // namespace
}  // namespace tovik::sem::mcmc_test
