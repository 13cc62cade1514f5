#include "sem/wiring/covariate_link.hpp"

#include <gtest/gtest.h>

#include "sem/predictor_run.hpp"
#include "sem/predictors/centered_copy.hpp"
#include "sem/scan_world.hpp"

namespace tovik::sem::covariate_link_test {
namespace {

using estimator::covariate_link;
using tests::World;

covariate_link squares_beside() {
  covariate_link link;
  link.column = 1;
  link.mean_column = 3;
  link.n_columns = 2;
  link.fun = [](const arma::Col<double>& x, arma::Mat<double>& out) {
    out.col(0) = 2.0 * x;
    out.col(1) = x % x;
  };
  return link;
}

TEST(CovariateLink, WritesTheDerivedColumnsAndNoOther) {
  World world(2, {{2, 3}}, 1);
  world.data.col(1) = arma::Col<double>{1, 2, 3, 4, 5};
  arma::mat const before = world.data;
  const covariate_link link = squares_beside();
  link.update(world.data);
  EXPECT_TRUE(arma::approx_equal(world.data.col(3), 2.0 * before.col(1), "absdiff", 0.0));
  EXPECT_EQ(world.data(4, 4), 25.0);
  for (arma::uword column : {0u, 1u, 2u, 5u})
    EXPECT_TRUE(arma::approx_equal(world.data.col(column), before.col(column), "absdiff", 0.0)) << column;
}

TEST(CovariateLink, TheFirstRowOfAClusterSpeaksForIt) {
  World world(2, {{2, 3}}, 1);
  world.data.col(1) = arma::Col<double>{1, 2, 3, 4, 5};
  const covariate_link link = squares_beside();
  link.update(world.data, world.clusters(1));
  EXPECT_EQ(world.data(1, 3), 2.0);
  EXPECT_EQ(world.data(4, 3), 6.0);
  link.update(world.data, world.clusters(0));
  EXPECT_EQ(world.data(4, 3), 10.0);
}

TEST(CovariateLink, TakesGivenValuesInsteadOfTheColumn) {
  World world(2, {{2, 3}}, 1);
  squares_beside().update(arma::Col<double>{9, 8, 7, 6, 5}, world.data);
  EXPECT_EQ(world.data(0, 3), 18.0);
  EXPECT_EQ(world.data(3, 4), 36.0);
}

TEST(CovariateLink, WithoutAFunctionNothingFollows) {
  World world(2, {{2, 3}}, 1);
  arma::mat const before = world.data;
  covariate_link().update(world.data);
  EXPECT_TRUE(arma::approx_equal(world.data, before, "absdiff", 0.0));
}

/// Two clusters of three rows and one of four; m is centred within them, or at its grand mean.
struct centered_outcome {
  arma::mat file;
  tests::predictor_run::plan p;

  explicit centered_outcome(data::center kind) : file(40 * 3, 3) {
    Random rng(8, 1);
    for (arma::uword i = 0; i < file.n_rows; ++i) {
      const double cluster = static_cast<double>(i / 3);
      const double m = std::sin(cluster) + 0.5 * rng.rnorm();
      file.row(i) = arma::rowvec{cluster, m + rng.rnorm(), m};
    }
    file(4, 2) = arma::datum::nan;
    p.ids = {"id"};
    p.centered = {{"m", kind}};
  }
};

TEST(CenteredCopy, FollowsTheMeansOfTheModelOfTheOutcome) {
  for (data::center kind : {data::center::cluster, data::center::grand}) {
    const centered_outcome world(kind);
    const tests::predictor_run run({"id", "y", "m"}, world.file, {"y ~ m", "m ~ 1"}, world.p);
    const auto chain = run.chain(Random(3, 1));
    const Variable& m = tests::predictor(*chain, "m");
    centered_copy copy(m, chain->working());
    EXPECT_EQ(copy.column(), 2u);
    chain->oneRep();
    copy.take();
    arma::mat data = chain->working().data;
    arma::vec center(data.n_rows, arma::fill::value(m.params()[0]));
    if (kind == data::center::cluster) center = m.latentMeans().at(0).col(0);
    // A candidate is centred at the means as they are; nothing else moves.
    data.col(2) += 5.0;
    copy.link().update(data);
    const arma::uword at = run.vars.find("m")->centered_columns.front();
    EXPECT_LT(arma::abs(data.col(at) - (chain->working().data.col(2) + 5.0 - center)).max(), 1e-12);
    data.col(2) -= 5.0;
    data.col(at) -= chain->working().data.col(at);
    EXPECT_LT(arma::abs(data.col(at) - 5.0).max(), 1e-12);
  }
}

}  // namespace
}  // namespace tovik::sem::covariate_link_test
