#include <gtest/gtest.h>

#include <cmath>

#include "evaluate/parser.hpp"
#include "random/densities.hpp"
#include "scan_world.hpp"
#include "sem/outcomes/computation.hpp"
#include "sem/outcomes/parameter.hpp"
#include "support/error.hpp"

namespace tovik::tests::parameter_node_test {
namespace {

using namespace sem;

const arma::Mat<double> no_data;

struct Node {
  LoneEstimator lone{1};
  Parameter node;
  Node(const std::string& family, double a, double b)
      : node(&lone, estimator::cluster(), parse_distribution(family), a, b) {}
};

TEST(ParameterNode, PriorIsTheLogDensityOfItsFamily) {
  EXPECT_EQ(Node("normal", 1, 4).node.prior(2.0, no_data), dnorm(2, 1, 4, true));
  EXPECT_EQ(Node("gamma", 2, 3).node.prior(2.0, no_data), dgamma(2, 2, 3, true));
  EXPECT_EQ(Node("invgamma", 2, 3).node.prior(2.0, no_data), dinvgamma(2, 2, 3, true));
  EXPECT_EQ(Node("beta", 2, 3).node.prior(0.2, no_data), dbeta(0.2, 2, 3, true));
  EXPECT_EQ(Node("laplace", 2, 3).node.prior(0.2, no_data), dlaplace(0.2, 2, 3, true));
  EXPECT_EQ(Node("cauchy", 2, 3).node.prior(0.2, no_data), dcauchy(0.2, 2, 3, true));
  EXPECT_EQ(Node("uniform", -2, 3).node.prior(0.2, no_data), dunif(0.2, -2, 3, true));
  EXPECT_EQ(Node("truncate", -2, 3).node.prior(0.2, no_data), 0.0);
}

TEST(ParameterNode, OutsideTheSupportThereIsNoDensity) {
  EXPECT_EQ(Node("beta", 2, 3).node.prior(1.5, no_data), -INFINITY);
  EXPECT_EQ(Node("gamma", 2, 3).node.prior(-1.0, no_data), -INFINITY);
  EXPECT_EQ(Node("uniform", -2, 3).node.prior(3.1, no_data), -INFINITY);
  EXPECT_EQ(Node("truncate", 0, INFINITY).node.prior(-0.1, no_data), -INFINITY);
  EXPECT_FALSE(Node("invgamma", 2, 3).node.prior(-1.0, no_data) > -INFINITY);
  EXPECT_TRUE(std::isnan(Node("normal", 0, -1).node.prior(0.0, no_data)));
}

TEST(ParameterNode, StartsInsideItsPrior) {
  const auto start = [](const char* family, double a, double b) {
    return Node(family, a, b).node.value(0, 0);
  };
  EXPECT_EQ(start("normal", 3, 4), 3.0);
  EXPECT_EQ(start("gamma", 2, 3), 6.0);
  EXPECT_EQ(start("invgamma", 2, 3), 1.0);
  EXPECT_EQ(start("beta", 1, 3), 0.25);
  EXPECT_EQ(start("laplace", 2, 3), 2.0);
  EXPECT_EQ(start("cauchy", 2, 3), 2.0);
  EXPECT_EQ(start("uniform", 2, 3), 2.5);
  EXPECT_EQ(start("uniform", 2, INFINITY), 3.0);
  EXPECT_EQ(start("uniform", -INFINITY, 2), 1.0);
  EXPECT_EQ(start("truncate", -1, 5), 0.0);
  EXPECT_EQ(start("truncate", 0, 5), 2.5);
  EXPECT_EQ(start("truncate", 0, INFINITY), 1.0);
  EXPECT_EQ(start("truncate", -INFINITY, -4), -5.0);
}

TEST(ParameterNode, UnknownFamilies) {
  EXPECT_THROW(parse_distribution("weibull"), error_debug);
  try {
    Node("tnormal", 0, 1);
    FAIL() << "accepted";
  } catch (const error_debug& e) {
    EXPECT_STREQ(e.what(), "Truncated Normal currently not implemented.");
  }
  LoneEstimator lone(1);
  try {
    sem::Parameter node(&lone, sem::estimator::cluster(), static_cast<sem::distribution>(9), 0, 1);
    FAIL() << "accepted";
  } catch (const error_debug& e) {
    EXPECT_STREQ(e.what(), "Unable to parse distribution.");
  }
}

TEST(ParameterNode, ItsConstraintIsItsValue) {
  Node world("uniform", 0, 1);
  Parameter& node = world.node;
  const auto c = node.constraint(parameter_type::value, 0, 0);
  EXPECT_EQ(c->ptr(), node.value.memptr());
  ASSERT_EQ(c->likelihoods.size(), 1u);
  EXPECT_EQ(c->likelihoods.front().source(), static_cast<const void*>(&node));
  EXPECT_EQ(c->likelihoods.front()(2.0, no_data), -INFINITY);
  c->write(0.25);
  EXPECT_EQ(node.params()(0), 0.25);
  EXPECT_EQ(node.params(no_data)(0), 0.25);
  EXPECT_EQ(node.likelihoodFunc(likelihood_type::imputed)(no_data, 0)(0), 0.0);
  node.addStarts({0.75});
  EXPECT_EQ(node.betas()(0), 0.75);
  try {
    node.constraint(parameter_type::coefficient, 0, 0);
    FAIL() << "accepted";
  } catch (const error_debug& e) {
    EXPECT_STREQ(e.what(), "Unrecognized constraint for Parameter model.");
  }
  EXPECT_THROW(node.addMulti(nullptr), error_debug);
  EXPECT_THROW(node.addDist(nullptr, distribution_type::fixed), error_debug);
  EXPECT_THROW(node.setCentering(nullptr), error_debug);
  EXPECT_EQ(node.n_params(), 1u);
  EXPECT_EQ(node.n_estimated(), 0u);
  EXPECT_EQ(node.logLiklihood(no_data), 0.0);
  EXPECT_TRUE(node.postDraw(no_data).is_empty());
  EXPECT_TRUE(node.tuneResults().empty());
  EXPECT_EQ(node.latent(arma::mat(3, 2)).n_rows, 3u);
  EXPECT_EQ(node.predicted(arma::mat(3, 2)).n_cols, 0u);
}

TEST(ComputationNode, WritesItsValueToItsPlaces) {
  LoneEstimator lone(1);
  Computation node(&lone, evaluate::opt_ast("2 + 3 * 4"));
  EXPECT_TRUE(std::isnan(node.params()(0)));
  double place = 0.0, seen = 0.0;
  estimator::parameterT<double> p;
  p.links = {&place};
  node.places = std::make_unique<estimator::constraint>(lone.rng(), p);
  node.places->refresh.emplace_back([&] { seen = place; });
  EXPECT_EQ(node.update(), 14.0);
  EXPECT_EQ(place, 14.0);
  EXPECT_EQ(seen, 14.0);
  EXPECT_EQ(*node.ptr(), 14.0);
  EXPECT_EQ(node.params(no_data)(0), 14.0);
  try {
    node.constraint(parameter_type::value, 0, 0);
    FAIL() << "accepted";
  } catch (const error_debug& e) {
    EXPECT_STREQ(e.what(), "Unrecognized constraint for Computation model.");
  }
  EXPECT_THROW(node.addStarts({1.0}), error_debug);
}

}  // namespace
}  // namespace tovik::tests::parameter_node_test
