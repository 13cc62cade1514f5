// Which equations a step of a predictor model has to heed.

#include "sem/ensemble/predictor_readers.hpp"

#include <gtest/gtest.h>

#include "sem/ensemble/written_columns.hpp"
#include "sem/predictor_run.hpp"

namespace tovik::sem::predictor_readers_test {
namespace {

using step = predictor_step;
using center = data::center;
using tests::predictor;
using tests::predictor_run;

/// top, mid, y, x, v of the middle level, o ordinal; x varies at three levels and is incomplete.
arma::mat three_levels() {
  Random rng(31, 1);
  arma::mat file(30 * 4 * 4, 6);
  arma::uword r = 0;
  for (arma::uword k = 0; k < 30; ++k) {
    const double a = rng.rnorm();
    for (arma::uword j = 0; j < 4; ++j) {
      const double b = rng.rnorm(), v = b + rng.rnorm();
      for (arma::uword i = 0; i < 4; ++i, ++r) {
        const double x = a + b + rng.rnorm();
        const double o = std::min(3.0, std::max(1.0, std::round(2.0 + x)));
        file.row(r) = arma::rowvec{static_cast<double>(k),
                                   static_cast<double>(4 * k + j),
                                   x + rng.rnorm(),
                                   rng.runif() < 0.2 ? arma::datum::nan : x,
                                   v,
                                   o};
      }
    }
  }
  return file;
}

const std::vector<std::string> names = {"top", "mid", "y", "x", "v", "o"};

predictor_run::plan nested() {
  predictor_run::plan p;
  p.ids = {"top", "mid"};
  p.ordinal = {"o"};
  return p;
}

/// Which steps need the likelihood: imputation, mean of the middle level, of the top level, grand mean.
std::string needs(const Variable& v) {
  std::string out;
  out += v.needsLikelihood(step::imputation, 0) ? "i" : "-";
  out += v.isDeviation(1) && v.needsLikelihood(step::level_mean, 1) ? "1" : "-";
  out += v.isDeviation(2) && v.needsLikelihood(step::level_mean, 2) ? "2" : "-";
  out += v.needsLikelihood(step::grand_mean, 0) ? "g" : "-";
  return out;
}

std::string needs_of_x(const std::vector<std::string>& equations, center values, center means) {
  auto p = nested();
  p.centered = {{"x", values}};
  p.centered_means = {{"x", means}};
  p.auxiliary = {"x"};
  const predictor_run run(names, three_levels(), equations, p);
  const auto chain = run.chain(Random(2, 1));
  return needs(predictor(*chain, "x"));
}

TEST(PredictorReaders, AStepNeedsTheModelsOfWhatItMoves) {
  const center none = center::none, grand = center::grand, group = center::cluster;
  EXPECT_EQ(needs_of_x({"y ~ v"}, none, none), "----");
  EXPECT_EQ(needs_of_x({"y ~ v"}, group, none), "----");
  EXPECT_EQ(needs_of_x({"y ~ x"}, none, none), "i---");
  EXPECT_EQ(needs_of_x({"y ~ x"}, grand, none), "i--g");
  EXPECT_EQ(needs_of_x({"y ~ x"}, group, none), "i1--");
  EXPECT_EQ(needs_of_x({"y ~ x.mean[mid]"}, none, none), "-1--");
  EXPECT_EQ(needs_of_x({"y ~ x.mean[top]"}, none, none), "--2-");
  EXPECT_EQ(needs_of_x({"y ~ x.mean[top]"}, none, grand), "--2g");
  EXPECT_EQ(needs_of_x({"y ~ x.mean[mid]"}, none, group), "-12-");
  EXPECT_EQ(needs_of_x({"y ~ x.mean"}, none, none), "-12-");
  EXPECT_EQ(needs_of_x({"y ~ x x.mean"}, group, grand), "i12g");
}

TEST(PredictorReaders, AreFoundInSlopesProductsAndEquationsOfHigherLevels) {
  const center none = center::none;
  EXPECT_EQ(needs_of_x({"y ~ 1 | x"}, none, none), "i---");
  EXPECT_EQ(needs_of_x({"y ~ (x*v)"}, none, none), "i---");
  EXPECT_EQ(needs_of_x({"y ~ (x.mean[mid]*v)"}, none, none), "-1--");
  EXPECT_EQ(needs_of_x({"v ~ x.mean[mid]"}, none, none), "-1--");
}

TEST(PredictorReaders, MovedColumnsAreThoseThatFollow) {
  auto p = nested();
  p.centered = {{"x", center::cluster}, {"o", center::grand}};
  p.centered_means = {{"x", center::cluster}};
  const predictor_run run(names, three_levels(), {"y ~ x x.mean o"}, p);
  const auto chain = run.chain(Random(2, 1));
  const auto list = [](const arma::Col<arma::uword>& columns) {
    std::vector<arma::uword> out(columns.begin(), columns.end());
    std::sort(out.begin(), out.end());
    return out;
  };
  const Variable& x = predictor(*chain, "x");
  const auto& means = run.vars.find("x")->means;
  using columns = std::vector<arma::uword>;
  EXPECT_EQ(list(moved_columns(x, step::imputation, 0)), (columns{3}));
  EXPECT_EQ(list(moved_columns(x, step::level_mean, 1)), (columns{3, means[0]}));
  EXPECT_EQ(list(moved_columns(x, step::level_mean, 2)), (columns{means[0], means[1]}));
  EXPECT_TRUE(moved_columns(x, step::grand_mean, 0).is_empty());
  const Variable& o = predictor(*chain, "o");
  EXPECT_EQ(list(moved_columns(o, step::grand_mean, 0)), (columns{5}));
  EXPECT_TRUE(moved_columns(o, step::level_mean, 1).is_empty());
  std::vector<bool> written(run.data.n_cols, false);
  mark_written(chain->predictors(), written);
  for (arma::uword column = 0; column < run.data.n_cols; ++column) {
    const bool moves = column == 3 || column == 5 || column == means[0] || column == means[1];
    EXPECT_EQ(written[column], moves) << column;
  }
}

TEST(PredictorReaders, EachModelThatReadsAColumnIsListedOnce) {
  const predictor_run run(names, three_levels(), {"y ~ x (x*v) | x", "v ~ x.mean[mid]"}, nested());
  const auto chain = run.chain(Random(2, 1));
  const Outcomes& outcomes = *chain->outcomes();
  const auto of_values = readers_of(arma::Col<arma::uword>{3}, outcomes);
  ASSERT_EQ(of_values.size(), 1u);
  EXPECT_EQ(of_values.front()->y(0), 2u);
  const auto of_means = readers_of(arma::Col<arma::uword>{run.vars.find("x")->means[0]}, outcomes);
  ASSERT_EQ(of_means.size(), 1u);
  EXPECT_EQ(of_means.front()->y(0), 4u);
  EXPECT_TRUE(readers_of(arma::Col<arma::uword>(), outcomes).empty());
}

/// A statistic of the column ties the values of all rows: they are accepted together, so that the rate of
/// acceptance is that of one decision a scan.
TEST(PredictorReaders, ValuesThatMeetInAStatisticAreAcceptedTogether) {
  predictor_run::plan p;
  p.fixed = {"w"};
  Random rng(5, 5);
  arma::mat file(60, 3);
  for (arma::uword i = 0; i < 60; ++i) {
    const double x = rng.rnorm();
    file.row(i) = arma::rowvec{x + rng.rnorm(), i % 10 == 0 ? arma::datum::nan : x, rng.rnorm()};
  }
  const predictor_run coupled({"y", "x", "w"}, file, {"y ~ (center(x))"}, p);
  const predictor_run plain({"y", "x", "w"}, file, {"y ~ x"}, p);
  const auto together = coupled.chain(Random(2, 1)), alone = plain.chain(Random(2, 1));
  for (int t = 0; t < 20; ++t) {
    together->oneRep();
    alone->oneRep();
  }
  const arma::uvec holes = arma::find_nan(file.col(1));
  arma::mat const before = together->getData();
  int mixed = 0;
  for (int t = 0; t < 50; ++t) {
    arma::mat const last = together->getData();
    together->oneRep();
    arma::mat const now = together->getData();
    const arma::uvec moved = arma::vec(now.col(1)).elem(holes) != arma::vec(last.col(1)).elem(holes);
    EXPECT_TRUE(arma::all(moved) || !arma::any(moved));
    arma::mat const alone_last = alone->getData();
    alone->oneRep();
    const arma::uvec each =
        arma::vec(alone->getData().col(1)).elem(holes) != arma::vec(alone_last.col(1)).elem(holes);
    if (arma::any(each) && !arma::all(each)) ++mixed;
  }
  EXPECT_GT(mixed, 25);
}

}  // namespace
}  // namespace tovik::sem::predictor_readers_test
