// The language says more than the sampler draws: what is not drawn is refused by name when chains are built,
// and not while the equations are read.

#include "sem/availability.hpp"

#include <gtest/gtest.h>

#include "sem/small_run.hpp"

namespace tovik::sem {
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

TEST(Availability, LabelsThatTieParameters) {
  const std::string text = refused("A label that ties parameters together ('@a')");
  EXPECT_EQ(failure({"y ~ x@a w@A"}), text);
  EXPECT_EQ(failure({"y ~ x@a", "w ~ x@a"}), text);
  EXPECT_EQ(failure({"y ~ x@a", "y ~~ y@a"}), text);
  EXPECT_EQ(failure({"y ~ x@b Intercept@b0 | 1@v"}, {"school"}), "");
}

TEST(Availability, OutcomesByKind) {
  using data::type;
  for (auto const& [kind, text] : {std::pair{type::ordinal, "An ordinal outcome ('y')"},
                                   {type::count, "A count outcome ('y')"},
                                   {type::nominal, "A nominal outcome ('y')"},
                                   {type::latent, "A latent outcome ('y')"},
                                   {type::phantom, "A phantom outcome ('y')"}}) {
    small_run run(names, columns(), {}, {"w ~ 1", "y ~ x"});
    run.vars.find("y")->type = kind;
    EXPECT_EQ(run.failure(), refused(text));
  }
}

TEST(Availability, TermsByKind) {
  using model::type;
  for (auto const& [kind, text] : {std::pair{type::mean, "A latent cluster mean as a predictor ('y')"},
                                   {type::latent, "A latent propensity as a predictor ('y')"},
                                   {type::missing, "A missing data indicator as a predictor ('y')"},
                                   {type::random, "A named random effect as a predictor ('y')"},
                                   {type::phantom, "A phantom variable as a predictor ('y')"}}) {
    small_run run(names, columns(), {}, {"y ~ x"});
    run.models[0].fixed.back().type = kind;
    EXPECT_EQ(run.failure(), refused(text));
  }
}

TEST(Availability, VariablesThatAreNoData) {
  using data::type;
  for (auto const& [kind, text] : {std::pair{type::latent, "A latent variable as a predictor ('y')"},
                                   {type::phantom, "A phantom variable as a predictor ('y')"},
                                   {type::random_effect, "A named random effect as a predictor ('y')"}}) {
    small_run run(names, columns(), {}, {"y ~ x"});
    run.vars.find("x")->type = kind;
    EXPECT_EQ(run.failure(), refused(text));
  }
}

TEST(Availability, TransformedOutcome) {
  small_run run(names, columns(), {}, {"y ~ x"});
  run.models[0].outcomes.front().transformation = "exp(y)";
  EXPECT_EQ(run.failure(), refused("A transformed outcome ('y')"));
}

TEST(Availability, ComputedTermsAndCorrelations) {
  small_run run(names, columns(), {}, {"y ~ x"});
  run.models[0].phantoms.push_back(run.models[0].fixed.back());
  EXPECT_EQ(run.failure(), refused("A residual correlation ('y')"));
  small_run other(names, columns(), {}, {"y ~ x"});
  other.models[0].random_compute.emplace_back();
  EXPECT_EQ(other.failure(), refused("A computed term in an equation ('y')"));
}

TEST(Availability, Definitions) {
  small_run run(names, columns(), {}, {"y ~ x"});
  run.models.definitions.emplace_back("d", model::combinationOfAnyVariable());
  EXPECT_EQ(run.failure(), refused("A definition in the MODEL command ('d')"));
}

}  // namespace
}  // namespace tovik::sem
