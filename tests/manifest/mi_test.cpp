#include "manifest/mi.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <set>

#include "manifest/manifest_world.hpp"
#include "support/error.hpp"

namespace tovik::tests::mi_test {
namespace {

constexpr double na = std::numeric_limits<double>::quiet_NaN();

/// Rows in another order than that of clusters: x, o (1, 2, 3) and g (0, 4, 5) of the row, w of the cluster.
arma::mat mixed_data(double unit = 1.0, double origin = 0.0) {
  Random rng(31, 0u);
  arma::mat out(180, 5);
  for (arma::uword i = 0; i < out.n_rows; ++i) {
    const double id = double(i % 30);
    const double w = std::sin(id), x = 0.5 * w + rng.rnorm();
    out.row(i) = arma::rowvec{id, origin + unit * x, 1.0 + (x + rng.rnorm() > -0.4) + (x + rng.rnorm() > 0.8),
                              rng.runif() < 0.4 ? 0.0 : 4.0 + (x > 0), i % 30 % 5 == 0 ? na : w};
    for (arma::uword j : {1, 2, 3})
      if (rng.runif() < 0.2) out(i, j) = na;
  }
  return out;
}

manifest_world mixed(double unit = 1.0, double origin = 0.0) {
  return manifest_world({"id", "x", "o", "g", "w"}, mixed_data(unit, origin), {"id"}, {"o"}, {"g"});
}

TEST(ManifestMI, FillsMissingCellsAndNoOthers) {
  const manifest_world world = mixed();
  const arma::mat before = mixed_data();
  for (const bool mice : {false, true}) {
    manifest::options how;
    how.mice = mice;
    const auto mi = world.make(how);
    for (int t = 0; t < 20; ++t) mi->impute();
    const arma::mat after = mi->getData();
    ASSERT_EQ(arma::size(after), arma::size(before));
    std::set<double> o, g;
    for (arma::uword i = 0; i < before.n_rows; ++i) {
      for (arma::uword j = 0; j < before.n_cols; ++j) {
        ASSERT_TRUE(std::isfinite(after(i, j)));
        if (!std::isnan(before(i, j))) {
          EXPECT_EQ(after(i, j), before(i, j));
        }
      }
      o.insert(after(i, 2));
      g.insert(after(i, 3));
      EXPECT_EQ(after(i, 4), after(i % 30, 4)) << "a cluster has one value";
    }
    EXPECT_EQ(o, (std::set<double>{1, 2, 3}));
    EXPECT_EQ(g, (std::set<double>{0, 4, 5}));
  }
}

TEST(ManifestMI, DrawsContinuousThenOrdinalThenNominalVariablesOfALevel) {
  const auto mi = mixed().make();
  std::vector<std::string> names;
  for (const manifest::Var* v : mi->variables()) names.push_back(v->variable().variable->name);
  EXPECT_EQ(names, (std::vector<std::string>{"x", "o", "g", "w"}));
  EXPECT_EQ(mi->levels().size(), 2u);
  EXPECT_FALSE(mi->levels()[0].checkMICE());
}

TEST(ManifestMI, TellsOneRowForEachParameter) {
  const auto mi = mixed().make();
  mi->impute();
  arma::uword n = 0;
  for (const manifest::Var* v : mi->variables()) {
    EXPECT_EQ(v->layout().size(), v->numParams());
    EXPECT_EQ(v->params().n_elem, v->numParams());
    n += v->numParams();
  }
  EXPECT_EQ(mi->getParams().n_elem, n);
  // g has two scores: the intercepts and coefficients of each, variances of their effects, three elements of
  // the held covariance matrix.
  const manifest::Var& g = manifest_world::model(*mi, "g");
  const auto rows = g.layout();
  EXPECT_EQ(rows.front().name, "g.4");
  EXPECT_EQ(rows.front().other, "");
  EXPECT_EQ(rows.back().what, manifest::parameter_row::kind::variance);
  EXPECT_TRUE(rows.back().fixed);
  EXPECT_DOUBLE_EQ(g.params()(g.numParams() - 1), 1.0);
  EXPECT_DOUBLE_EQ(g.params()(g.numParams() - 2), 0.5);
}

TEST(ManifestMI, ReportsTheInterceptInTheMetricOfTheData) {
  const auto mi = mixed(3.0, 1000.0).make();
  for (int t = 0; t < 5; ++t) mi->impute();
  const manifest::Var& x = manifest_world::model(*mi, "x");
  // The sum of the reported intercept and slopes times raw predictors is the sum that the sampler has.
  const manifest::Data& data = mi->data();
  const arma::vec b = x.params();
  const auto predictors = data.predictors_of(x.index());
  double sampler = 0, raw = b(0);
  for (arma::uword j = 0; j < predictors.n_elem; ++j) {
    const manifest::predictor& one = data.predictors(0)[predictors(j)];
    const double value = const_cast<manifest::Data&>(data).data(0).data()(7, predictors(j));
    sampler += x.coefficients()(j, 0) * value;
    if (j == 0) continue;
    raw += b(j) * (value + (one.deviation ? 0.0 : data.at(one.owner).origin(one.column)));
  }
  EXPECT_NEAR(raw, sampler, 1e-9 * std::abs(sampler));
}

/// The same random numbers on the same data in another unit: everything scales.
TEST(ManifestMI, DoesNotDependOnTheUnitsOfContinuousData) {
  arma::mat small = mixed_data().cols(arma::uvec{0, 1, 4}), large = small;
  large.col(1) = 1e4 + 1000 * small.col(1);
  const manifest_world a({"id", "x", "w"}, small, {"id"}), b({"id", "x", "w"}, large, {"id"});
  const auto one = a.make(), other = b.make();
  for (int t = 0; t < 30; ++t) {
    one->impute();
    other->impute();
  }
  const arma::vec x = one->getData().col(1), scaled = (other->getData().col(1) - 1e4) / 1000;
  EXPECT_LT(arma::abs(x - scaled).max(), 1e-6);
}

TEST(ManifestMI, AdaptsThresholdsInTheFirstHalfOfTheBurnIn) {
  const manifest_world world = mixed();
  manifest::options how;
  how.burn = 1000;
  const auto mi = world.make(how);
  const auto scale = [&] { return manifest_world::model(*mi, "o").tuneResults().front().value; };
  const double start = scale();
  for (int t = 0; t < 99; ++t) mi->impute();
  EXPECT_EQ(scale(), start);
  mi->impute();
  EXPECT_NE(scale(), start);
  for (int t = 100; t < 499; ++t) mi->impute();
  const double halfway = scale();
  for (int t = 499; t < 900; ++t) mi->impute();
  EXPECT_EQ(scale(), halfway);
  ASSERT_EQ(mi->getAcpts().n_elem, 1u);
  EXPECT_GT(mi->getAcpts()(0), 0.1);
  EXPECT_TRUE(mi->getAcptsImps().is_empty());
}

TEST(ManifestMI, SaysWhichVariableHasTooFewUnits) {
  Random rng(5, 0u);
  arma::mat data = rng.randn(8, 7);
  data(0, 0) = na;
  const manifest_world world({"a", "b", "c", "d", "e", "f", "h"}, data);
  try {
    world.make();
    FAIL();
  } catch (const error& e) {
    EXPECT_STREQ(e.what(),
                 "ERROR: There are too few units for the predictor model of variable 'a'.\n"
                 "       It has 7 units and needs 9. Specify fewer variables in model.");
  }
}

TEST(ManifestMI, RefusesEquations) {
  const arma::mat data = mixed_data();
  predictor_run::plan plan;
  plan.ids = {"id"};
  const predictor_run run({"id", "x", "o", "g", "w"}, data, {"x ~ w"}, plan);
  try {
    manifest::MI(run.vars, run.models, run.data, Random(1, 1u), {},
                 sem::keep_saved_columns(run.vars, run.data));
    FAIL();
  } catch (const error& e) {
    EXPECT_STREQ(e.what(),
                 "ERROR: MODEL Command is no longer supported for noclmean/manifest.\n"
                 "       Please use Tovik Version 2.2.2 for this feature.");
  }
}

TEST(ManifestMI, HasNothingToDrawForCompleteData) {
  Random rng(5, 0u);
  const manifest_world world({"a", "b"}, rng.randn(20, 2));
  const auto mi = world.make();
  mi->impute();
  EXPECT_EQ(mi->getParams().n_elem, 0u);
  EXPECT_TRUE(arma::approx_equal(mi->getData(), world.run.data.head_cols(2), "absdiff", 0));
}

}  // namespace
}  // namespace tovik::tests::mi_test
