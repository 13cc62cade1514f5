// Conditional effects of a running chain against direct formulas for each draw.

#include <gtest/gtest.h>

#include <cmath>

#include "results/simple_slopes.hpp"
#include "sem/predictors/variable.hpp"
#include "sem/small_run.hpp"
#include "support/error.hpp"

namespace tovik::tests::mcmc_simple_test {
namespace {

/// Ten schools of six pupils; y, x and m are pupils', and every fifth m is missing.
arma::mat pupils() {
  Random rng(3, 1);
  arma::mat out(60, 4);
  for (arma::uword i = 0; i < out.n_rows; ++i) {
    const double x = rng.rnorm();
    const double m = 0.5 * x + rng.rnorm();
    out.row(i) = arma::rowvec{static_cast<double>(i / 6), x + m + 0.5 * x * m + rng.rnorm(), x,
                              i % 5 == 0 ? arma::datum::nan : m};
  }
  return out;
}

const std::vector<std::string> names = {"school", "y", "x", "m"};
constexpr unsigned school = 0, x = 2, m = 3, constant = 4;

/// "x | m @ 2", then m at one standard deviation: in all, and within schools.
sem::SimpleList effects(unsigned model) {
  const auto at = [&](double value, bool in_sd, data::center centering) {
    sem::moderator out;
    out.name = "m";
    out.value = value;
    out.in_sd = in_sd;
    out.columns = {{m, value}};
    out.source = {m, 1, centering, false};
    return sem::SimpleSlopes(model, "x", {x}, constant, {out});
  };
  sem::SimpleList list;
  list.push_back({model,
                  {at(2, false, data::center::none), at(1, true, data::center::grand),
                   at(-1, true, data::center::cluster)}});
  return list;
}

double within(const arma::mat& data) {
  double squares = 0;
  for (double s : arma::vec(arma::unique(data.col(school)))) {
    const arma::vec values = data.submat(arma::find(data.col(school) == s), arma::uvec{m});
    squares += arma::accu(arma::square(values - arma::mean(values)));
  }
  return std::sqrt(squares / (60.0 - 10.0));
}

TEST(ChainSlopes, FollowCoefficientsAndImputedModeratorsInEveryScan) {
  const small_run world(names, pupils(), {"school"}, {"m ~ x", "y ~ x m x*m"});
  unsigned model = 0;
  while (world.models[model].name() != "y") ++model;
  const auto chain = world.chain(Random(8, 1));
  chain->addSimpleSlopes(effects(model));
  ASSERT_EQ(chain->getSimpleSlopes().n_elem, 6u);
  double last = 0;
  for (int scan = 0; scan < 5; ++scan) {
    chain->oneRep();
    chain->computeSimpleSlopes();
    const arma::vec values = chain->getSimpleSlopes();
    const arma::mat& b = chain->outcomes()->betas(model);  // intercept, x, m, x*m
    const double total = arma::stddev(chain->working().data.col(m));
    const double points[] = {2.0, total, -within(chain->working().data)};
    for (int k = 0; k < 3; ++k) {
      EXPECT_NEAR(values[2 * k], b(0, 0) + b(2, 0) * points[k], 1e-10);
      EXPECT_NEAR(values[2 * k + 1], b(1, 0) + b(3, 0) * points[k], 1e-10);
    }
    EXPECT_NE(total, last);
    last = total;
  }
}

/// Schools differ in m, which only the equation of y reads, centred in this way.
small_run predicted_moderator(data::center centering) {
  arma::mat columns = pupils();
  for (arma::uword i = 0; i < columns.n_rows; ++i) columns(i, m) += static_cast<double>(i / 6) / 3.0;
  small_run world(names, columns, {"school"}, {"y ~ x m x*m"});
  world.vars.find("m")->setCentered(0, centering);
  return world;
}

/// Slopes at 2 and at one standard deviation, of which there is one kind only.
double unit_of(const sem::Mcmc& chain, std::size_t effect) {
  const arma::vec values = chain.getSimpleSlopes();
  const arma::mat& b = chain.outcomes()->betas(0);
  return (values[2 * effect + 1] - b(1, 0)) / b(3, 0);
}

TEST(ChainSlopes, UnitsOfAGroupCentredPredictorAreItsDeviationsFromLatentMeans) {
  const small_run world = predicted_moderator(data::center::cluster);
  const auto chain = world.chain(Random(8, 1));
  chain->addSimpleSlopes(effects(0));
  ASSERT_EQ(chain->predictors().size(), 1u);
  for (int scan = 0; scan < 5; ++scan) {
    chain->oneRep();
    chain->computeSimpleSlopes();
    const sem::Variable& model = *chain->predictors().front();
    const double within = std::sqrt(arma::accu(arma::square(model.deviation(0))) / 59.0);
    EXPECT_NEAR(unit_of(*chain, 2), -within, 1e-9);
    EXPECT_NEAR(model.sd(), within, 1e-9);
  }
}

TEST(ChainSlopes, UnitsOfAGrandMeanCentredPredictorAreThoseOfAllItsValues) {
  const small_run world = predicted_moderator(data::center::grand);
  const auto chain = world.chain(Random(8, 1));
  chain->addSimpleSlopes(effects(0));
  for (int scan = 0; scan < 5; ++scan) {
    chain->oneRep();
    chain->computeSimpleSlopes();
    const sem::Variable& model = *chain->predictors().front();
    const double total = arma::stddev(model.uncenteredData().col(0));
    EXPECT_NEAR(unit_of(*chain, 1), total, 1e-9);
    EXPECT_NEAR(model.sd(), total, 1e-9);
  }
}

TEST(ChainSlopes, ChainsHaveTheirOwn) {
  const small_run world(names, pupils(), {"school"}, {"m ~ x", "y ~ x m x*m"});
  const sem::SimpleList list = effects(1);
  const auto first = world.chain(Random(8, 1));
  const auto second = world.chain(Random(8, 2));
  for (const auto& chain : {first, second}) {
    chain->addSimpleSlopes(list);
    chain->oneRep();
    chain->computeSimpleSlopes();
  }
  EXPECT_NE(first->getSimpleSlopes()[0], second->getSimpleSlopes()[0]);
  EXPECT_TRUE(std::isnan(list.estimates()[0]));
}

TEST(ChainSlopes, NeedEquations) {
  const small_run world(names, pupils(), {"school"}, {"m ~ x", "y ~ x m x*m"});
  sem::Mcmc chain(world.vars, world.data, Random(1, 1), 1, 0.01);
  EXPECT_TRUE(chain.getSimpleSlopes().empty());
  chain.computeSimpleSlopes();
  try {
    chain.addSimpleSlopes(effects(1));
    FAIL();
  } catch (const error_debug& fault) {
    EXPECT_STREQ(fault.what(), "NO OUTCOME HAS BEEN SPECIFIED!");
  }
}

}  // namespace
}  // namespace tovik::tests::mcmc_simple_test
