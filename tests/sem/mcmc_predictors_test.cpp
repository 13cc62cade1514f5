// A chain with models of its predictors: who is in them, what they fill, and what a run finds.

#include <gtest/gtest.h>

#include <set>

#include "sem/predictor_run.hpp"

namespace tovik::sem {
namespace {

using tests::predictor;
using tests::predictor_run;
using step = predictor_step;
using center = data::center;

const double nan = arma::datum::nan;

/// y ~ x - T and T in clusters, where T is the cluster's part of x; x is missing more often where y is large.
struct two_level {
  arma::mat data;  ///< id, y, x, w (of the cluster, some missing), a (with x at both levels, some missing)
  arma::vec T;

  two_level(arma::uword J, arma::uword n, std::uint64_t seed, double within, double between) : T(J) {
    Random rng(static_cast<int>(seed), 1);
    data.set_size(J * n, 5);
    for (arma::uword j = 0; j < J; ++j) {
      T[j] = 2.0 + 0.7 * rng.rnorm();
      const double u = 0.5 * rng.rnorm();
      const double w = 0.5 * T[j] + rng.rnorm();
      const double a2 = 0.4 * T[j] + 0.5 * rng.rnorm();
      for (arma::uword i = 0; i < n; ++i) {
        const double d = rng.rnorm();
        const double y = 1.0 + within * d + between * T[j] + u + 0.8 * rng.rnorm();
        const double a = a2 + 0.5 * d + rng.rnorm();
        data.row(j * n + i) = arma::rowvec{static_cast<double>(j), y, T[j] + d, w, a};
      }
    }
    const double typical = arma::mean(data.col(1));
    for (arma::uword r = 0; r < data.n_rows; ++r) {
      const double chance = data(r, 1) > typical ? 0.4 : 0.1;
      if (rng.runif() < chance) data(r, 2) = nan;
      if (rng.runif() < 0.2) data(r, 4) = nan;
    }
    for (arma::uword j = 0; j < J; j += 5) data.submat(j * n, 3, (j + 1) * n - 1, 3).fill(nan);
  }
};

const std::vector<std::string> names = {"id", "y", "x", "w", "a"};

predictor_run::plan clustered() {
  predictor_run::plan p;
  p.ids = {"id"};
  return p;
}

/// The report columns of n scans after tuned burn-in.
arma::mat tuned_draws(Mcmc& chain, int burn, arma::uword n) {
  for (int i = 1; i <= burn; ++i) {
    chain.oneRep();
    if (i <= burn / 2 && i % 25 == 0) chain.tune();
  }
  arma::mat out(chain.getTotalParams(), n);
  for (arma::uword t = 0; t < n; ++t) {
    chain.oneRep();
    out.col(t) = chain.getParams();
  }
  return out;
}

void expect_near_truth(arma::mat const& draws, arma::uword row, double truth) {
  const double mean = arma::mean(draws.row(row));
  const double sd = arma::stddev(draws.row(row));
  EXPECT_NEAR(mean, truth, 4.0 * sd) << "row " << row << ", sd " << sd;
  EXPECT_LT(sd, 0.15);
}

TEST(McmcPredictors, AGroupCenteredPredictorAndItsMeanAreUnbiased) {
  const two_level world(300, 8, 41, 0.6, 1.2);
  auto p = clustered();
  p.centered = {{"x", center::cluster}};
  const predictor_run run(names, world.data, {"y ~ x x.mean"}, p);
  const auto chain = run.chain(Random(7, 1));
  Variable const& x = predictor(*chain, "x");
  EXPECT_TRUE(x.needsLikelihood(step::imputation, 0));
  EXPECT_TRUE(x.needsLikelihood(step::level_mean, 1));
  EXPECT_FALSE(x.needsLikelihood(step::grand_mean, 0));
  const arma::mat draws = tuned_draws(*chain, 400, 800);
  // Intercept variance, residual variance, intercept, slopes.
  expect_near_truth(draws, 0, 0.25);
  expect_near_truth(draws, 1, 0.64);
  expect_near_truth(draws, 3, 0.6);
  expect_near_truth(draws, 4, 1.2);
  EXPECT_NO_THROW(chain->tune_check());
}

TEST(McmcPredictors, AGrandCenteredPredictorNeedsTheLikelihoodForItsGrandMean) {
  const two_level world(150, 6, 43, 0.6, 0.6);
  auto p = clustered();
  p.centered = {{"x", center::grand}};
  const predictor_run run(names, world.data, {"y ~ x"}, p);
  const auto chain = run.chain(Random(7, 1));
  Variable const& x = predictor(*chain, "x");
  EXPECT_FALSE(x.needsLikelihood(step::level_mean, 1));
  EXPECT_TRUE(x.needsLikelihood(step::grand_mean, 0));
  const arma::mat draws = tuned_draws(*chain, 300, 600);
  expect_near_truth(draws, 3, 0.6);
  // What the equation reads is centred at the grand mean of the model.
  const double mu = x.params()[0];
  const arma::vec raw = arma::vec(x.uncenteredData().col(0)).elem(chain->working().units(0));
  EXPECT_LT(arma::abs(chain->working().data.col(2) - (raw - mu)).max(), 1e-12);
}

TEST(McmcPredictors, ARandomSlopeOfAnIncompletePredictor) {
  Random rng(5, 2);
  arma::mat file(200 * 8, 3);
  for (arma::uword j = 0; j < 200; ++j) {
    const double u = 0.5 * rng.rnorm(), slope = 0.8 + 0.5 * rng.rnorm();
    for (arma::uword i = 0; i < 8; ++i) {
      const double x = rng.rnorm();
      const double y = u + slope * x + 0.7 * rng.rnorm();
      const bool hole = rng.runif() < (y > 0 ? 0.35 : 0.1);
      file.row(j * 8 + i) = arma::rowvec{static_cast<double>(j), y, hole ? nan : x};
    }
  }
  auto p = clustered();
  p.fixed = {};
  predictor_run run({"id", "y", "x"}, file, {"y ~ x | x"}, p);
  const auto chain = run.chain(Random(7, 1));
  EXPECT_TRUE(predictor(*chain, "x").needsLikelihood(step::imputation, 0));
  const arma::mat draws = tuned_draws(*chain, 300, 600);
  // Covariance matrix of intercept and slope (three elements), residual variance, intercept, slope.
  expect_near_truth(draws, 2, 0.25);
  expect_near_truth(draws, 3, 0.49);
  expect_near_truth(draws, 5, 0.8);
}

/// y = 0.5 + 0.9 x w + e with x missing at a rate that depends on y, w complete.
arma::mat product_data() {
  Random rng(17, 3);
  arma::mat file(1500, 3);
  for (arma::uword i = 0; i < file.n_rows; ++i) {
    const double w = 1.0 + rng.rnorm();
    const double x = 1.0 + 0.5 * w + rng.rnorm();
    const double y = 0.5 + 0.9 * x * w + rng.rnorm();
    const bool hole = rng.runif() < (y > 2 ? 0.4 : 0.1);
    file.row(i) = arma::rowvec{y, hole ? nan : x, w};
  }
  return file;
}

void expect_product_found(predictor_run const& run) {
  const auto chain = run.chain(Random(7, 1));
  EXPECT_TRUE(predictor(*chain, "x").needsLikelihood(step::imputation, 0));
  const arma::mat draws = tuned_draws(*chain, 200, 500);
  expect_near_truth(draws, 0, 1.0);
  expect_near_truth(draws, 1, 0.5);
  expect_near_truth(draws, 2, 0.9);
}

TEST(McmcPredictors, APredictorThatIsReadInAProductOnly) {
  predictor_run::plan p;
  p.fixed = {"w"};
  expect_product_found(predictor_run({"y", "x", "w"}, product_data(), {"y ~ (x*w)"}, p));
}

TEST(McmcPredictors, APredictorThatIsReadThroughADefinitionOnly) {
  predictor_run::plan p;
  p.fixed = {"w"};
  p.definitions = {{"xw", "x * w"}};
  expect_product_found(predictor_run({"y", "x", "w"}, product_data(), {"y ~ xw"}, p));
}

TEST(McmcPredictors, AnAuxiliaryVariableIsDrawnFromItsModelAlone) {
  const two_level world(40, 5, 3, 0.5, 0.5);
  auto p = clustered();
  p.auxiliary = {"a"};
  const predictor_run run(names, world.data, {"y ~ x"}, p);
  const auto chain = run.chain(Random(7, 1));
  Variable const& a = predictor(*chain, "a");
  EXPECT_FALSE(a.needsLikelihood(step::imputation, 0));
  EXPECT_FALSE(a.needsLikelihood(step::level_mean, 1));
  EXPECT_FALSE(a.needsLikelihood(step::grand_mean, 0));
  tuned_draws(*chain, 20, 5);
  for (auto const& proposal : a.tuneResults()) EXPECT_EQ(proposal.total, 0u);
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
  Variable const& x = predictor(*chain, "x");
  Variable const& w = predictor(*chain, "w");
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
  const auto chain = predictor_run(names, file, {"y ~ x"}, p).chain(Random(7, 1));
  ASSERT_EQ(chain->excluded_predictors().size(), 1u);
  EXPECT_EQ(chain->excluded_predictors()[0].name, "a");
  EXPECT_EQ(chain->excluded_predictors()[0].level, 2u);
  Variable const& x = predictor(*chain, "x");
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
      if (!std::isnan(file[k])) ASSERT_EQ(now[k], file[k]);
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
      if (!std::isnan(file(i, k))) ASSERT_EQ(now(i, k), file(i, k));
    }
    ASSERT_EQ(std::set<double>({1, 2, 4}).count(now(i, 2)), 1u);
    ASSERT_EQ(std::set<double>({3, 5, 9}).count(now(i, 3)), 1u);
  }
  // The means of a nominal variable are proportions, the same for all rows of a cluster; what the equation
  // reads of its codes is 0 or 1 less such a proportion.
  const arma::mat& data = chain->working().data;
  auto const c = run.vars.find("c");
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
  auto const& v = run.vars;
  auto const& m = run.models;
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

/// y ~ m - M and M, where m has an equation of its own and M is its part between clusters.
TEST(McmcPredictors, AnOutcomeThatOthersReadCenteredHasACopyLessItsMean) {
  Random rng(29, 1);
  arma::mat file(250 * 8, 4);
  for (arma::uword j = 0; j < 250; ++j) {
    const double M = 3.0 + 0.8 * rng.rnorm();
    const double u = 0.4 * rng.rnorm();
    for (arma::uword i = 0; i < 8; ++i) {
      const double z = rng.rnorm();
      const double e = 0.5 * z + rng.rnorm();
      const double y = 1.0 + 0.7 * e - 0.5 * M + u + 0.6 * rng.rnorm();
      const bool hole = rng.runif() < (y > 0 ? 0.35 : 0.1);
      file.row(j * 8 + i) = arma::rowvec{static_cast<double>(j), y, hole ? nan : M + e, z};
    }
  }
  auto p = clustered();
  p.fixed = {"z"};
  p.centered = {{"m", center::cluster}};
  const predictor_run run({"id", "y", "m", "z"}, file, {"y ~ m m.mean", "m ~ z"}, p);
  const auto chain = run.chain(Random(7, 1));
  ASSERT_EQ(chain->predictors().size(), 1u);
  Variable const& m = predictor(*chain, "m");
  EXPECT_TRUE(m.means_only());
  EXPECT_FALSE(m.missing);
  EXPECT_TRUE(m.needsLikelihood(step::level_mean, 1));
  EXPECT_FALSE(m.needsLikelihood(step::grand_mean, 0));
  const arma::uword copy = run.vars.find("m")->centered_columns.front();
  for (int t = 0; t < 3; ++t) {
    chain->oneRep();
    const arma::vec means = m.latentMeans().at(0).col(0);
    const arma::mat& data = chain->working().data;
    const arma::vec expected = data.col(2) - means;
    EXPECT_LT(arma::abs(data.col(copy) - expected).max(), 1e-12);
  }
  const arma::mat draws = tuned_draws(*chain, 400, 800);
  const bool y_first = run.models[0].name() == "y";
  const arma::uword at = y_first ? 0 : run.models[0].n_rows();
  expect_near_truth(draws, at + 3, 0.7);
  expect_near_truth(draws, at + 4, -0.5);
  const arma::mat out = chain->getData();
  for (arma::uword k = 0; k < file.n_elem; ++k) {
    if (!std::isnan(file[k])) ASSERT_EQ(out[k], file[k]);
  }
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
  Variable const& x = predictor(*chain, "x");
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
  predictor_run run(names, world.data, {"y ~ x"}, clustered());
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
}  // namespace tovik::sem
