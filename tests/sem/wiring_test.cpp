#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "evaluate/parser.hpp"
#include "scan_world.hpp"
#include "sem/wiring/constraint.hpp"
#include "sem/wiring/transform.hpp"
#include "sem/wiring/tune.hpp"
#include "sem/wiring/weights.hpp"
#include "support/error.hpp"

namespace tovik::tests::wiring_test {
namespace {

using namespace sem::estimator;
using kind = tune_obj::kind_type;

const nesting unbalanced = {{5, 1, 9}, {3, 7}, {2}};

TEST(Selector, GivesRangesOfUnits) {
  const selector s({0, 0, 1, 2, 2, 2}, 3);
  EXPECT_EQ(s.size(), 3U);
  EXPECT_EQ(s.n_units(), 6U);
  EXPECT_EQ(s[1].n_elem, 1U);
  EXPECT_EQ(s[1](0), 2U);
  EXPECT_EQ(s[2](2), 5U);
  EXPECT_EQ(s.count[0], 2U);
}

TEST(Selector, RefusesUnsortedUnitsAndEmptyClusters) {
  EXPECT_THROW(selector({0, 1, 0}, 2), error_debug);
  EXPECT_THROW(selector({0, 2}, 3), error_debug);
  EXPECT_THROW(selector({1, 1}, 2), error_debug);
  EXPECT_THROW(selector({0, 0}, 2), error_debug);
  EXPECT_THROW(selector({0, 1}, 1), error_debug);
}

TEST(Cluster, OfTheRowsInThreeLevels) {
  const World world(3, unbalanced, 1);
  const cluster c = world.clusters(0);
  EXPECT_EQ(c.n_levels(), 2U);
  EXPECT_EQ(c.n_clusters(0), 6U);
  EXPECT_EQ(c.n_clusters(1), 3U);
  EXPECT_EQ(c.sel(0, 1).n_elem, 1U);
  EXPECT_EQ(c.sel(0, 1)(0), 5U);
  EXPECT_EQ(c.sel(1, 0).n_elem, 15U);
  EXPECT_EQ(c.sel0(0, 3), 15U);
  EXPECT_EQ(c.sel0(1, 2), 25U);
  EXPECT_EQ(c.rows, nullptr);
}

TEST(Cluster, OfLevelTwoUnits) {
  const World world(3, unbalanced, 1);
  const cluster c = world.clusters(1);
  EXPECT_EQ(c.n_levels(), 1U);
  EXPECT_EQ(c.n_clusters(0), 3U);
  EXPECT_EQ(c.sel(0, 1).n_elem, 2U);  // units, not rows
  EXPECT_EQ(c.sel(0, 1)(0), 3U);
  EXPECT_EQ(c.sel0(0, 1), 15U);  // a row
  ASSERT_NE(c.rows, nullptr);
  EXPECT_EQ(c.rows->count[2], 9U);
  EXPECT_EQ((*c.own_rows[0])(2), 6U);
  EXPECT_EQ(world.clusters(2).n_levels(), 0U);
  EXPECT_THROW(world.clusters(3), error_debug);
}

TEST(Weights, HaveTheMeanOneOverAllRowsWithoutClusters) {
  World world(1, {{4}}, 1);
  world.data.col(2) = arma::Col<double>{100, 200, 300, 400};
  const weights w(world.clusters(0), world.data, {2});
  for (int i = 0; i < 4; ++i) {
    EXPECT_DOUBLE_EQ(w.rows(i), 0.4 * (i + 1));
    EXPECT_EQ(w.within(i), w.rows(i));
  }
  EXPECT_FALSE(w.of_clusters());
}

TEST(Weights, OfRowsHaveTheMeanOneWithinEachCluster) {
  World world(2, {{2, 3}}, 1);
  world.data.col(2) = arma::Col<double>{1, 3, 10, 20, 30};
  const weights w(world.clusters(0), world.data, {2, weights::none});
  const arma::Col<double> expected = {0.5, 1.5, 0.5, 1.0, 1.5};
  EXPECT_TRUE(arma::approx_equal(w.within, expected, "absdiff", 1e-14));
  EXPECT_TRUE(arma::approx_equal(w.rows, expected, "absdiff", 0.0));
  EXPECT_EQ(w.of_level(0), nullptr);
}

// h = (1/2, 3/2); g h sums to 1 + 4.5.
TEST(Weights, OfClustersMultiplyThoseOfTheirRows) {
  World world(2, {{2, 3}}, 2);
  world.data.col(2) = arma::Col<double>{1, 3, 10, 20, 30};
  world.data.col(3) = arma::Col<double>{5, 5, 15, 15, 15};
  const weights w(world.clusters(0), world.data, {2, 3});
  ASSERT_NE(w.of_level(0), nullptr);
  EXPECT_DOUBLE_EQ((*w.of_level(0))(0), 0.5);
  EXPECT_DOUBLE_EQ((*w.of_level(0))(1), 1.5);
  EXPECT_DOUBLE_EQ(w.rows(0), 0.25 * 5.0 / 5.5);
  EXPECT_DOUBLE_EQ(w.rows(4), 2.25 * 5.0 / 5.5);
  EXPECT_DOUBLE_EQ(arma::accu(w.rows), 5.0);
  EXPECT_TRUE(w.of_clusters());
  const weights top(world.clusters(1), world.data, {3});
  EXPECT_DOUBLE_EQ(top.rows(0), 0.5);
  EXPECT_FALSE(top.of_clusters());
}

TEST(Likelihood, SumsItsContributions) {
  likelihood list;
  EXPECT_TRUE(list.logLiklihood({}, 0).is_empty());
  int first = 0, second = 0;  // stand for two models
  list.add_once(
      {&first, [](const arma::Mat<double>& data, const int&) { return arma::Col<double>(data.col(0)); }});
  list.add_once({&second, [](const arma::Mat<double>& data, const int& level) {
                   return arma::Col<double>(data.col(0) * level);
                 }});
  const arma::Mat<double> data = arma::Col<double>{1.0, 2.0};
  EXPECT_EQ(list.logLiklihood(data, 3)(1), 8.0);
  arma::Col<double> some;
  list.logLiklihood(data, 3, {1}, some);
  ASSERT_EQ(some.n_elem, 1U);
  EXPECT_EQ(some(0), 8.0);
}

TEST(Likelihood, HoldsEachSourceOnce) {
  likelihood list;
  int model = 0;
  for (int i = 0; i < 2; ++i)
    list.add_once(
        {&model, [](const arma::Mat<double>& data, const int&) { return arma::Col<double>(data.col(0)); }});
  EXPECT_EQ(list.size(), 1U);
}

TEST(Transform, ReturnsItsArgumentWithoutExpressions) {
  const transform none;
  EXPECT_FALSE(none.has_transform());
  EXPECT_EQ(none.fun({2.0})(0), 2.0);
  EXPECT_EQ(none.inv({2.0})(0), 2.0);
  const transform log(
      evaluate::pair(evaluate::opt_ast("log(#DATA(0))"), evaluate::opt_ast("exp(#DATA(0))"), true));
  EXPECT_TRUE(log.has_transform());
  EXPECT_NEAR(log.fun({std::exp(1.5)})(0), 1.5, 1e-15);
  EXPECT_NEAR(log.inv({0.0})(0), 1.0, 1e-15);
}

TEST(Transform, OneValueGoesTheWayOfAColumn) {
  for (const char* text :
       {"log(#DATA(0) + 1)", "sqrt(#DATA(0))", "#DATA(0) ^ 2", "1 / #DATA(0)", "2 - #DATA(0)",
        "logit(#DATA(0) / 10)", "iphi(#DATA(0) / 10)", "yjt(#DATA(0), 0.5)", "#DATA(0)"}) {
    const transform g(evaluate::pair::transformation(evaluate::opt_ast(text)));
    for (double x : {0.25, 1.0, 3.7}) {
      const double y = g.forward(x);
      EXPECT_EQ(y, g.fun(arma::Col<double>{x})(0)) << text;
      EXPECT_EQ(g.backward(y), g.inv(arma::Col<double>{y})(0)) << text;
      double back = 0.0;
      EXPECT_TRUE(g.admits(y, back)) << text;
      EXPECT_NEAR(back, x, 1e-9) << text;
    }
  }
}

TEST(Transform, ValuesOutsideTheRangeHaveNoPlace) {
  struct point {
    const char* text;
    double y;
    bool admitted;
  };
  for (const point& p : std::initializer_list<point>{{"sqrt(#DATA(0))", -0.5, false},
                                                     {"sqrt(#DATA(0))", 0.5, true},
                                                     {"#DATA(0) ^ 2", -1e-3, false},
                                                     {"phi(#DATA(0))", 1.5, false},
                                                     {"phi(#DATA(0))", 0.9, true},
                                                     {"exp(#DATA(0))", -2.0, false},
                                                     {"log(#DATA(0))", 800.0, false},
                                                     {"acos(#DATA(0))", 4.0, false},
                                                     {"acos(#DATA(0))", 1.0, true},
                                                     {"yjt(#DATA(0), 3)", -1.5, false}}) {
    const transform g(evaluate::pair::transformation(evaluate::opt_ast(p.text)));
    double kept = 17.0;
    EXPECT_EQ(g.admits(p.y, kept), p.admitted) << p.text << " " << p.y;
    EXPECT_EQ(kept == 17.0, !p.admitted) << p.text;
  }
}

tune_obj with(std::uint32_t accepted, std::uint32_t total, kind k = kind::imputation) {
  tune_obj out(2.0, k);
  out.accepted = accepted;
  out.total = total;
  return out;
}

TEST(Tune, HalvesAtNoneAndDoublesAtAll) {
  tune_obj none = with(0, 100), all = with(100, 100), half = with(50, 100), empty = with(0, 0);
  none.tune();
  EXPECT_EQ(none.value, 1.0);
  EXPECT_EQ(none.total, 0U);
  all.tune();
  EXPECT_EQ(all.value, 4.0);
  half.tune();
  EXPECT_EQ(half.value, 2.0);
  EXPECT_EQ(half.total, 100U);
  empty.tune();
  EXPECT_EQ(empty.value, 2.0);
  tune_obj most = with(75, 100), never = with(0, 100, kind::logistic_imputation);
  most.tune();
  EXPECT_NEAR(most.value, 3.0, 1e-15);
  never.tune();
  EXPECT_EQ(never.value, 2.0);
  EXPECT_EQ(never.total, 100U);
}

TEST(Tune, FailsAtTheEndsOfTheBand) {
  EXPECT_TRUE(with(30, 100).failed());
  EXPECT_FALSE(with(31, 100).failed());
  EXPECT_FALSE(with(69, 100).failed());
  EXPECT_TRUE(with(71, 100).failed());
  EXPECT_FALSE(with(0, 0).failed());
  tune_obj free = with(0, 100);
  free.target = INFINITY;
  EXPECT_FALSE(free.failed());
}

TEST(Tune, CheckListsEveryFailure) {
  tune_results results{with(50, 100), with(10, 100), with(90, 100, kind::random_effect)};
  try {
    results.check();
    FAIL();
  } catch (const sem::error_tuning& e) {
    EXPECT_STREQ(e.what(),
                 "  [1] = imputation, 0.100000, 2.000000\n  [2] = random effect, 0.900000, 2.000000\n");
  }
  EXPECT_NO_THROW((tune_results{with(50, 100), with(0, 0)}).check());
}

TEST(Tune, TheMessageNamesWhoseProposalItIsAndWhatItMoves) {
  tune_results results{tune_obj(46.0, kind::threshold, "Tau 2 to Tau 4"), with(10, 100)};
  results[0].accepted = 90;
  results[0].total = 100;
  results.label = "y";
  try {
    results.check();
    FAIL();
  } catch (const sem::error_tuning& e) {
    EXPECT_STREQ(e.what(),
                 "  [1] = threshold, 0.900000, 46.000000 (y: Tau 2 to Tau 4)\n"
                 "  [2] = imputation, 0.100000, 2.000000 (y)\n");
  }
}

/// A random walk on a standard normal accepts (2 / pi) atan(2 / c) of its proposals with scale c.
double accepted_share(double c) {
  return 2.0 / arma::datum::pi * std::atan(2.0 / c);
}

TEST(Tune, AdaptationFindsTheScaleFromAfar) {
  Random rng(31, 0U);
  for (double start : {1e-3, 159.0, 1e4}) {
    tune_obj proposal(start, kind::parameter);
    for (int i = 0; i < 500; ++i) {
      ++proposal.total;
      proposal.accepted += rng.runif() < accepted_share(proposal.value);
      proposal.adapt();
      if (i > 0 && i % 100 == 0) proposal.tune();
    }
    EXPECT_NEAR(accepted_share(proposal.value), 0.5, 0.12) << start;
  }
}

TEST(Tune, AdaptationLeavesCountersAndWhatWasNotProposed) {
  tune_obj proposal = with(80, 100);
  proposal.adapt();
  EXPECT_NEAR(proposal.value, 2.0 * std::exp(0.3), 1e-12);
  EXPECT_EQ(proposal.total, 100u);
  proposal.adapt();
  EXPECT_NEAR(proposal.value, 2.0 * std::exp(0.3), 1e-12);
  proposal.total += 10;  // all rejected
  proposal.adapt();
  EXPECT_NEAR(proposal.value, 2.0 * std::exp(0.3 - 0.5 * std::pow(2.0, -0.6)), 1e-12);
  tune_obj never = with(10, 100, kind::logistic_imputation);
  never.adapt();
  EXPECT_EQ(never.value, 2.0);
}

TEST(Tune, KindsHaveTheirLabels) {
  EXPECT_STREQ(tune_obj(1, kind::logistic_imputation).label(), "logistic imp");
  EXPECT_STREQ(tune_obj(1, kind::imputation_2).label(), "imputation");
  EXPECT_STREQ(tune_obj(1, kind::latent_2).label(), "latent");
  EXPECT_STREQ(tune_obj(1, kind::threshold).label(), "threshold");
  EXPECT_STREQ(tune_obj().label(), "parameter");
}

TEST(Constraint, HoldsItsLinks) {
  double a = 1.0, b = 1.0;
  Random rng(3);
  parameterT<double> p;
  p.links = {&a};
  constraint one(&rng, p);
  EXPECT_EQ(one.ptr(), &a);
  p.links = {&b};
  one += constraint(&rng, p);
  EXPECT_EQ(one.n_links, 2U);
  EXPECT_THROW(one.ptr(), error_debug);
  EXPECT_THROW(constraint().ptr(), error_debug);
  EXPECT_THROW(constraint(&rng, p, -1.0), error_debug);
  EXPECT_THROW(constraint(&rng, p, INFINITY), error_debug);
  EXPECT_THROW(constraint(&rng, p, NAN), error_debug);
  p.write(4.0);
  EXPECT_EQ(b, 4.0);
  LoneEstimator estimator(1);
  EXPECT_EQ(constraint(&estimator).rng, &estimator.random);
  EXPECT_EQ(constraint(std::string("g")).name, "g");
}

TEST(Constraint, WalksOverItsTarget) {
  double link = 0.0;
  Random rng(3, 1U);
  parameterT<double> p;
  p.links = {&link};
  constraint c(&rng, p, 4.0);
  c.likelihoods.push_back(
      [](const double& x, const arma::Mat<double>&) { return -0.5 * (x - 3.0) * (x - 3.0); });
  double sum = 0, squares = 0;
  const int n = 40000;
  for (int i = 0; i < n; ++i) {
    c.draw({});
    ASSERT_EQ(link, c.value);
    sum += link;
    squares += (link - 3.0) * (link - 3.0);
  }
  // Autocorrelation of about 0.8 leaves an effective sample of n / 9: 5 standard errors are 0.08 and 0.11.
  EXPECT_NEAR(sum / n, 3.0, 0.08);
  EXPECT_NEAR(squares / n, 1.0, 0.11);
  EXPECT_EQ(c.tune.total, static_cast<unsigned>(n));
  EXPECT_GT(c.tune.accepted, 0U);
  constraint empty;
  EXPECT_NO_THROW(empty.draw({}));
  EXPECT_EQ(empty.tune.total, 0U);
}

TEST(Constraint, RejectsWhatIsNotANumber) {
  double link = 1.0;
  Random rng(3, 1U);
  parameterT<double> p;
  p.value = 1.0;
  p.links = {&link};
  constraint c(&rng, p);
  c.likelihoods.push_back([](const double& x, const arma::Mat<double>&) { return x == 1.0 ? 0.0 : NAN; });
  for (int i = 0; i < 20; ++i) c.draw({});
  EXPECT_EQ(link, 1.0);
  EXPECT_EQ(c.tune.accepted, 0U);
}

}  // namespace
}  // namespace tovik::tests::wiring_test
