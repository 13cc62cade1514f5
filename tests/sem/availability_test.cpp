// The language says more than the sampler draws: what is not drawn is refused by name when chains are built,
// and not while the equations are read.

#include "sem/ensemble/availability.hpp"

#include <gtest/gtest.h>

#include "sem/small_run.hpp"
#include "support/error.hpp"

namespace tovik::sem::availability_test {
namespace {

using tests::small_run;

const std::vector<std::string> names = {"school", "y", "x", "w"};

/// Three schools of four rows.
arma::mat columns() {
  Random rng(5, 1);
  arma::mat out = rng.randn(12, 4);
  for (arma::uword i = 0; i < 12; ++i) out(i, 0) = static_cast<double>(i / 4);
  return out;
}

std::string refused(const std::string& what) {
  return "ERROR: " + what + " is not available in this version.";
}

std::string failure(const std::vector<std::string>& statements, const std::vector<std::string>& ids = {}) {
  return small_run(names, columns(), ids, statements).failure();
}

TEST(Availability, LabelsTermsAndDefinitionsAreDrawn) {
  EXPECT_EQ(failure({"y ~ x@a w@A"}), "");
  EXPECT_EQ(failure({"y ~ x@a", "w ~ x@a"}), "");
  EXPECT_EQ(failure({"y ~ x@a", "y ~~ y@a"}), "");
  EXPECT_EQ(failure({"y ~ x (x*w)"}), "");
  EXPECT_EQ(failure({"d = x * w", "y ~ x d"}), "");
  EXPECT_EQ(failure({"y ~ x@b Intercept@b0 | 1@v"}, {"school"}), "");
}

TEST(Availability, PhantomsAreNoTerms) {
  small_run run(names, columns(), {}, {"y ~ x"});
  run.models[0].fixed.back().type = model::type::phantom;
  EXPECT_EQ(run.failure(), refused("A phantom variable as a predictor ('y')"));
}

TEST(Availability, OrdinalOutcomesAreProbitModels) {
  small_run run(names, columns(), {}, {"w ~ 1", "y ~ x"});
  run.vars.find("y")->type = data::type::ordinal;
  run.models[1].link = model::link::identity;
  EXPECT_THROW(check_available(run.models), error_debug);
  run.models[1].link = model::link::probit;
  EXPECT_NO_THROW(check_available(run.models));
}

TEST(Availability, IndicatorsOfMissingCellsAreCompleteData) {
  using model::type;
  small_run plain(names, columns(), {}, {"y ~ x"});
  plain.models[0].fixed.back().type = type::missing;
  EXPECT_NO_THROW(check_available(plain.models));
}

TEST(Availability, VariablesThatAreNoData) {
  using data::type;
  for (const auto& [kind, text] : {std::pair{type::phantom, "A phantom variable as a predictor ('y')"},
                                   {type::random_effect, "A named random effect as a predictor ('y')"}}) {
    small_run run(names, columns(), {}, {"y ~ x"});
    run.vars.find("x")->type = kind;
    EXPECT_EQ(run.failure(), refused(text));
  }
}

TEST(Availability, VariablesInsideTermsAndDefinitions) {
  small_run term(names, columns(), {}, {"y ~ x (x*w)"});
  term.models[0].fixed_compute.front().variables.front().type = model::type::phantom;
  EXPECT_EQ(term.failure(), refused("A phantom variable as a predictor ('y')"));
  small_run definition(names, columns(), {}, {"d = x * w", "y ~ x"});
  definition.models.definitions.front().second.variables.front().type = model::type::phantom;
  EXPECT_EQ(definition.failure(), refused("A phantom variable as a predictor ('d')"));
}

TEST(Availability, ClusterMeansOfLatentVariablesAreNotDrawn) {
  small_run run(names, columns(), {}, {"y ~ x"});
  run.vars.find("x")->type = data::type::latent;
  run.models[0].fixed.back().type = model::type::mean;
  EXPECT_EQ(run.failure(), refused("A cluster mean of a latent variable ('y')"));
}

std::string failure_of_prior(const std::vector<std::string>& statements, const std::string& prior) {
  return small_run(names, columns(), {}, statements, {prior}).failure();
}

TEST(Availability, ThePriorOfAResidualVarianceLeavesItAValue) {
  const std::vector<std::string> statements = {"y ~ x", "y ~~ y@v"};
  EXPECT_EQ(failure_of_prior(statements, "v ~ uniform(-2, -1)"),
            "ERROR: The prior of the residual variance 'v' leaves it no positive value.");
  for (const char* prior : {"v ~ uniform(-2, 0.001)", "v ~ uniform(-20000, 10000)", "v ~ truncate(0, Inf)"})
    EXPECT_EQ(failure_of_prior(statements, prior), "") << prior;
}

TEST(Availability, ThePriorOfACorrelationLeavesItAValue) {
  const std::vector<std::string> statements = {"y ~ x", "w ~ x", "y <-> w@r"};
  EXPECT_EQ(failure_of_prior(statements, "r ~ uniform(-2, -1)"),
            "ERROR: The prior of the correlation 'r' leaves its outcomes no covariance matrix.");
  for (const char* prior : {"r ~ gamma(2, 1)", "r ~ uniform(0.1, 2)", "r ~ uniform(-2, -0.9)"})
    EXPECT_EQ(failure_of_prior(statements, prior), "") << prior;
}

}  // namespace
}  // namespace tovik::sem::availability_test
