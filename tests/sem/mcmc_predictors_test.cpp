// A chain with models of its predictors: who is in them, what they fill, and what a run finds.

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "sem/predictors/excluded_level.hpp"
#include "sem/two_level_predictors.hpp"

namespace tovik::sem::mcmc_predictors_test {
namespace {

using tests::clustered;
using tests::predictor;
using tests::predictor_run;
using tests::tuned_draws;
using tests::two_level;
using step = predictor_step;
using center = data::center;

const double nan = arma::datum::nan;
const std::vector<std::string> names = two_level::names();

TEST(McmcPredictors, AnAuxiliaryVariableIsDrawnFromItsModelAlone) {
  const two_level world(40, 5, 3, 0.5, 0.5);
  auto p = clustered();
  p.auxiliary = {"a"};
  const predictor_run run(names, world.data, {"y ~ x"}, p);
  const auto chain = run.chain(Random(7, 1));
  const Variable& a = predictor(*chain, "a");
  EXPECT_FALSE(a.needsLikelihood(step::imputation, 0));
  EXPECT_FALSE(a.needsLikelihood(step::level_mean, 1));
  EXPECT_FALSE(a.needsLikelihood(step::grand_mean, 0));
  tuned_draws(*chain, 20, 5);
  for (const auto& proposal : a.tuneResults()) EXPECT_EQ(proposal.total, 0u);
  EXPECT_TRUE(chain->hasTuningInfo());  // of x
}

TEST(McmcPredictors, EveryOtherMemberPredictsAtTheLevelsWhereItVaries) {
  const two_level world(60, 6, 3, 0.5, 0.5);
  auto p = clustered();
  p.auxiliary = {"a"};
  p.fixed = {};
  const predictor_run run(names, world.data, {"y ~ x w"}, p);
  const auto chain = run.chain(Random(7, 1));
  ASSERT_EQ(chain->predictors().size(), 3u);
  const Variable& x = predictor(*chain, "x");
  const Variable& w = predictor(*chain, "w");
  EXPECT_EQ(x.level, 0u);
  EXPECT_EQ(w.level, 1u);
  ASSERT_EQ(x.predictors.size(), 2u);
  ASSERT_EQ(w.predictors.size(), 1u);
  // The level-2 variable predicts at its own level only; the outcome nowhere.
  EXPECT_EQ(std::vector<arma::uword>(x.predictors[0].begin(), x.predictors[0].end()),
            (std::vector<arma::uword>{4}));
  EXPECT_EQ(std::vector<arma::uword>(x.predictors[1].begin(), x.predictors[1].end()),
            (std::vector<arma::uword>{3, 4}));
  EXPECT_EQ(std::vector<arma::uword>(w.predictors[0].begin(), w.predictors[0].end()),
            (std::vector<arma::uword>{2, 4}));
  EXPECT_TRUE(chain->excluded_predictors().empty());
  EXPECT_EQ(chain->predictor_column_names()[2], "x");
  EXPECT_EQ(chain->getTotalParams(),
            chain->outcomes()->n_params(chain->working().data) + chain->getCovariateModelNumParams());
  EXPECT_EQ(chain->getParams().n_elem, chain->getTotalParams());
}

TEST(McmcPredictors, AVariableThatDoesNotVaryBetweenClustersIsLeftOutThere) {
  arma::mat file = two_level(60, 6, 3, 0.5, 0.5).data;
  for (arma::uword j = 0; j < 60; ++j)  // the same six values in every cluster
    for (arma::uword i = 0; i < 6; ++i) file(j * 6 + i, 4) = static_cast<double>(i);
  auto p = clustered();
  p.auxiliary = {"a"};
  p.fixed = {"a"};
  const predictor_run run(names, file, {"y ~ x"}, p);
  const auto chain = run.chain(Random(7, 1));
  ASSERT_EQ(chain->excluded_predictors().size(), 1u);
  EXPECT_EQ(chain->excluded_predictors()[0].name, "a");
  EXPECT_EQ(chain->excluded_predictors()[0].level, 2u);
  const Variable& x = predictor(*chain, "x");
  EXPECT_EQ(x.predictors[0].n_elem, 1u);
  EXPECT_TRUE(x.predictors[1].is_empty());
  EXPECT_NO_THROW(tuned_draws(*chain, 10, 5));
}

TEST(McmcPredictors, ObservedCellsStayAndMissingOnesVary) {
  const two_level world(40, 5, 3, 0.5, 0.5);
  arma::mat file = world.data;
  Random rng(2, 2);
  file.insert_cols(5, 2);
  for (arma::uword i = 0; i < file.n_rows; ++i) {
    file(i, 5) = rng.runif() < 0.2 ? nan : 1.0 + std::floor(3 * rng.runif());
    file(i, 6) = rng.runif() < 0.2 ? nan : 5.0 * std::floor(3 * rng.runif());
  }
  auto p = clustered();
  p.ordinal = {"o"};
  p.nominal = {"c"};
  p.centered = {{"x", center::cluster}, {"o", center::grand}, {"c", center::grand}, {"a", center::grand}};
  auto columns = names;
  columns.insert(columns.end(), {"o", "c"});
  const predictor_run run(columns, file, {"y ~ x w a o c x.mean"}, p);
  const auto chain = run.chain(Random(7, 1));
  arma::mat before = chain->getData();
  arma::umat moved(file.n_rows, file.n_cols, arma::fill::zeros);
  for (int t = 0; t < 30; ++t) {
    chain->oneRep();
    const arma::mat now = chain->getData();
    ASSERT_EQ(now.n_cols, file.n_cols);
    for (arma::uword k = 0; k < file.n_elem; ++k) {
      if (!std::isnan(file[k])) {
        ASSERT_EQ(now[k], file[k]);
      }
      ASSERT_TRUE(std::isfinite(now[k]));
      if (now[k] != before[k]) moved[k] = 1;
    }
    for (arma::uword i = 0; i < file.n_rows; ++i) {
      ASSERT_EQ(std::set<double>({1, 2, 3}).count(now(i, 5)), 1u);
      ASSERT_EQ(std::set<double>({0, 5, 10}).count(now(i, 6)), 1u);
      ASSERT_EQ(now(i, 3), now(i - i % 5, 3));  // one value per cluster
    }
    before = now;
  }
  for (arma::uword column : {2u, 3u, 4u, 5u, 6u}) {
    const arma::uvec holes = arma::find_nan(file.col(column));
    const arma::uvec cells = arma::uvec(moved.col(column)).elem(holes);
    // A category may stay for thirty scans; most do not.
    EXPECT_GT(arma::accu(cells), 9 * holes.n_elem / 10) << "column " << column;
  }
}

TEST(McmcPredictors, CategoriesAreCenteredInTheirClustersAndComeBackAsTheyWere) {
  Random rng(12, 2);
  arma::mat file(60 * 8, 4);
  for (arma::uword j = 0; j < 60; ++j) {
    const double s = 1.2 * rng.rnorm(), t = 1.2 * rng.rnorm();
    for (arma::uword i = 0; i < 8; ++i) {
      const double latent = s + rng.rnorm(), z = t + rng.rnorm();
      const double o = latent < -0.7 ? 1 : latent < 0.7 ? 2 : 4;
      const double c = z < -0.7 ? 3 : z < 0.7 ? 5 : 9;
      const double y = 0.5 * o - 0.3 * (c == 5 ? 1 : 0) + rng.rnorm();
      file.row(8 * j + i) =
          arma::rowvec{static_cast<double>(j), y, rng.runif() < 0.2 ? nan : o, rng.runif() < 0.2 ? nan : c};
    }
  }
  auto p = clustered();
  p.ordinal = {"o"};
  p.nominal = {"c"};
  p.centered = {{"o", center::cluster}, {"c", center::cluster}};
  const predictor_run run({"id", "y", "o", "c"}, file, {"y ~ o c o.mean c.mean"}, p);
  const auto chain = run.chain(Random(7, 1));
  for (std::string const name : {"o", "c"}) {
    EXPECT_TRUE(predictor(*chain, name).needsLikelihood(step::imputation, 0)) << name;
    EXPECT_TRUE(predictor(*chain, name).needsLikelihood(step::level_mean, 1)) << name;
    EXPECT_FALSE(predictor(*chain, name).needsLikelihood(step::grand_mean, 0)) << name;
  }
  tuned_draws(*chain, 200, 50);
  EXPECT_NO_THROW(chain->tune_check());
  const arma::mat now = chain->getData(true, false, false);
  EXPECT_EQ(now.n_cols, 4u + 1u + 2u + 4u);  // data, effect of y, scores and mean of o, of both codes of c
  for (arma::uword i = 0; i < file.n_rows; ++i) {
    for (arma::uword k = 0; k < 4; ++k) {
      if (std::isnan(file(i, k))) continue;
      ASSERT_EQ(now(i, k), file(i, k));
    }
    ASSERT_EQ(std::set<double>({1, 2, 4}).count(now(i, 2)), 1u);
    ASSERT_EQ(std::set<double>({3, 5, 9}).count(now(i, 3)), 1u);
  }
  // The means of a nominal variable are proportions, the same for all rows of a cluster; what the equation
  // reads of its codes is 0 or 1 less such a proportion.
  const arma::mat& data = chain->working().data;
  const auto c = run.vars.find("c");
  for (std::size_t k = 0; k < 2; ++k) {
    const arma::vec share = data.col(c->means[k]);
    EXPECT_GT(share.min(), 0.0);
    EXPECT_LT(share.max(), 1.0);
    for (arma::uword i = 0; i < file.n_rows; ++i) {
      EXPECT_EQ(share[i], share[i - i % 8]);
      const double code = now(i, 3) == c->values[k + 1] ? 1.0 : 0.0;
      EXPECT_NEAR(data(i, c->dummies[k]->column), code - share[i], 1e-12);
    }
  }
}

TEST(McmcPredictors, ColumnsAndNamesOfTheOutputAgree) {
  const two_level world(30, 4, 3, 0.5, 0.5);
  auto p = clustered();
  p.definitions = {{"twice", "2 * x"}};
  const predictor_run run(names, world.data, {"y ~ x w x.mean | x"}, p);
  const auto chain = run.chain(Random(7, 1));
  chain->oneRep();
  const auto& v = run.vars;
  const auto& m = run.models;
  EXPECT_EQ(chain->dataNames(v, m, false, false, false),
            (std::vector<std::string>{"id", "y", "x", "w", "a", "twice"}));
  EXPECT_EQ(chain->dataNames(v, m, true, true, true),
            (std::vector<std::string>{"id", "y", "x", "w", "a", "twice", "y$Intercept", "y$x", "x.mean[id]",
                                      "y.residual", "y.predicted"}));
  EXPECT_EQ(chain->dataNames(v, m, false, true, false).back(), "y.residual");
  EXPECT_EQ(chain->dataNames(v, m, false, false, true).back(), "y.predicted");
  const arma::mat all = chain->getData(true, true, true);
  ASSERT_EQ(all.n_cols, 11u);
  for (arma::uword i = 0; i < all.n_rows; ++i) {
    EXPECT_NEAR(all(i, 5), 2 * all(i, 2), 1e-12);
    EXPECT_NEAR(all(i, 9) + all(i, 10), all(i, 1), 1e-10);
    EXPECT_EQ(all(i, 8), all(i - i % 4, 8));
  }
}

TEST(McmcPredictors, WithoutEquationsAllVariablesAreImputedFromEachOther) {
  const two_level world(80, 6, 9, 0.6, 0.9);
  auto p = clustered();
  p.auxiliary = {"y", "x", "w", "a"};
  const predictor_run run(names, world.data, {}, p);
  const auto chain = run.chain(Random(7, 1));
  EXPECT_EQ(chain->outcomes(), nullptr);
  ASSERT_EQ(chain->predictors().size(), 4u);
  for (int t = 0; t < 20; ++t) chain->oneRep();
  chain->tune();
  EXPECT_NO_THROW(chain->tune_check());
  EXPECT_FALSE(chain->tune_warning());
  EXPECT_FALSE(chain->hasTuningInfo());
  EXPECT_TRUE(chain->getLikelihoods().is_empty());
  EXPECT_EQ(chain->getParams().n_elem, chain->getCovariateModelNumParams());
  const arma::mat out = chain->getData(true, true, true);
  EXPECT_FALSE(out.has_nan());
  EXPECT_EQ(chain->dataNames(run.vars, run.models, true, true, true),
            (std::vector<std::string>{"id", "y", "x", "w", "a", "y.mean[id]", "x.mean[id]", "a.mean[id]"}));
  EXPECT_EQ(out.n_cols, 8u);
}

TEST(McmcPredictors, NamesMeansThatCannotBeHad) {
  const two_level world(40, 5, 3, 0.5, 0.5);
  arma::mat flat = world.data;
  for (arma::uword j = 0; j < 40; ++j)
    for (arma::uword i = 0; i < 5; ++i) flat(j * 5 + i, 2) = static_cast<double>(i);
  EXPECT_EQ(predictor_run(names, flat, {"y ~ x x.mean"}, clustered()).failure(),
            "ERROR: Variable 'x' cannot estimate a cluster mean.");
  auto p = clustered();
  p.centered = {{"x", center::cluster}};
  EXPECT_EQ(predictor_run(names, flat, {"y ~ x"}, p).failure(),
            "ERROR: Cannot group mean center the variable \"x\".\n       The variable has no higher-level "
            "variability.\n");
  p.centered = {};
  p.centered_means = {{"x", center::cluster}};
  EXPECT_EQ(predictor_run(names, world.data, {"y ~ x x.mean"}, p).failure(),
            "ERROR: Cannot group mean center the variable \"x.mean\".\n       The variable has no "
            "higher-level variability.\n");
}

TEST(McmcPredictors, ThreeLevelsHaveAMeanForEachLevelAndNameTheOneThatIsMissing) {
  Random rng(3, 4);
  arma::mat file(40 * 4 * 4, 4);
  for (arma::uword k = 0, r = 0; k < 40; ++k) {
    const double a = 0.6 * rng.rnorm();
    for (arma::uword j = 0; j < 4; ++j) {
      const double b = 0.6 * rng.rnorm();
      for (arma::uword i = 0; i < 4; ++i, ++r) {
        const double x = a + b + rng.rnorm();
        file.row(r) = arma::rowvec{static_cast<double>(k), static_cast<double>(4 * k + j), x + rng.rnorm(),
                                   rng.runif() < 0.2 ? nan : x};
      }
    }
  }
  predictor_run::plan p;
  p.ids = {"top", "mid"};
  const std::vector<std::string> columns = {"top", "mid", "y", "x"};
  const predictor_run run(columns, file, {"y ~ x x.mean"}, p);
  const auto chain = run.chain(Random(7, 1));
  const Variable& x = predictor(*chain, "x");
  EXPECT_EQ(x.chain().n_above(), 2u);
  EXPECT_TRUE(x.needsLikelihood(step::level_mean, 1));
  EXPECT_TRUE(x.needsLikelihood(step::level_mean, 2));
  tuned_draws(*chain, 20, 5);
  EXPECT_EQ(chain->dataNames(run.vars, run.models, true, false, false).back(), "x.mean[top]");
  EXPECT_FALSE(chain->getData(true, true, true).has_nan());
  // With this cutoff nothing varies at the top, and a mean in the middle is all there is.
  predictor_run strict(columns, file, {"y ~ x x.mean"}, p);
  strict.icc_cutoff = 0.5;
  EXPECT_EQ(strict.failure(), "ERROR: Variable 'x' cannot estimate a cluster mean.");
}

TEST(McmcPredictors, WeightsNeedEquationsForAllPredictors) {
  const two_level world(40, 5, 3, 0.5, 0.5);
  const auto at = std::find(names.begin(), names.end(), "a") - names.begin();
  arma::mat data = world.data;
  data.col(static_cast<arma::uword>(at)).fill(2.0);
  predictor_run run(names, data, {"y ~ x"}, clustered());
  run.vars.find("a")->type = data::type::weight;
  EXPECT_EQ(run.failure(),
            "ERROR: Unspecified predictor models are not supported with sampling weights.\n"
            "       Specify the models directly via the sequential approach\n"
            "       in the MODEL command. See the User Guide for example.");
}

TEST(McmcPredictors, SeedAndStreamFixTheDraws) {
  const two_level world(30, 4, 3, 0.5, 0.5);
  const predictor_run run(names, world.data, {"y ~ x w"}, clustered());
  const auto a = run.chain(Random(9, 1));
  const auto b = run.chain(Random(9, 1));
  const auto c = run.chain(Random(9, 2));
  const arma::mat first = tuned_draws(*a, 10, 10);
  EXPECT_TRUE(arma::approx_equal(first, tuned_draws(*b, 10, 10), "absdiff", 0.0));
  EXPECT_FALSE(arma::approx_equal(first, tuned_draws(*c, 10, 10), "absdiff", 1e-6));
}

}  // namespace
}  // namespace tovik::sem::mcmc_predictors_test
