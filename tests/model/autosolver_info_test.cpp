// Plans of full conditional distributions: which unknowns are normal, or inverse gamma, given all else.

#include "model/autosolver_info.hpp"

#include "run_models.hpp"

namespace tovik::tests::autosolver_info_test {
namespace {

using sem::distribution_type;
using plan = std::vector<model::autosolver_info>;
using list = std::vector<unsigned>;

struct planned : run_models {
  planned(unsigned identifiers, const std::vector<std::string>& texts,
          const std::vector<std::string>& parameters = {})
      : run_models(identifiers, texts, parameters) {
    tests::prepare(run_models::list);
    all.define_parameters();
  }
  plan of(const std::string& name, model::type type = model::type::variable) {
    model::anyVariable term;
    term.variable = run_models::list.find(name);
    term.type = type;
    return all.autosolverInfo(term);
  }
  plan of_label(const std::string& name) { return all.autosolverInfo(model::parameter::labelled(name)); }
  std::string holder(const model::autosolver_info& entry) { return all[entry.model].name(); }
};

plan variable_plan(unsigned identifiers, const std::vector<std::string>& texts, const std::string& name,
                   model::type type = model::type::variable) {
  return planned(identifiers, texts).of(name, type);
}

plan label_plan(const std::vector<std::string>& texts, const std::vector<std::string>& parameters,
                const std::string& label, unsigned identifiers = 0) {
  return planned(identifiers, texts, parameters).of_label(label);
}

// Variables.

TEST(PlanOfAVariable, APlainTermIsOneFixedEntry) {
  planned run(0, {"x ~ z", "y ~ z x"});
  const plan found = run.of("x");
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(run.holder(found[0]), "y");
  EXPECT_EQ(found[0].type, distribution_type::fixed);
  EXPECT_EQ(found[0].positions, (list{2}));
  EXPECT_TRUE(found[0].columns.empty());
}

TEST(PlanOfAVariable, AProductIsOneComputeEntryWithThePlainTerm) {
  planned run(0, {"x ~ z", "y ~ x (z*z) (x*z) (2*x - z)"});
  const plan found = run.of("x");
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].type, distribution_type::compute);
  EXPECT_EQ(found[0].positions, (list{1}));
  EXPECT_EQ(found[0].columns, (list{1, 2}));
}

TEST(PlanOfAVariable, OneEntryForEachEquation) {
  planned run(0, {"x ~ z", "y ~ x", "y2 ~ (x*z)", "bin ~ x", "z.missing ~ x"});
  const plan found = run.of("x");
  ASSERT_EQ(found.size(), 4u);
  std::vector<std::string> holders;
  for (const auto& entry : found) holders.push_back(run.holder(entry));
  std::sort(holders.begin(), holders.end());
  EXPECT_EQ(holders, (std::vector<std::string>{"bin", "y", "y2", "z.missing"}));
}

TEST(PlanOfAVariable, ItsOwnMissingDataIndicatorMayReadIt) {
  EXPECT_EQ(variable_plan(0, {"x ~ z", "x.missing ~ x"}, "x").size(), 1u);
}

TEST(PlanOfAVariable, EmptyWithoutAReader) {
  EXPECT_TRUE(variable_plan(0, {"x ~ z", "y ~ z"}, "x").empty());
}

TEST(PlanOfAVariable, EmptyWithoutAnEquationOfItsOwn) {
  EXPECT_TRUE(variable_plan(0, {"y ~ x"}, "x").empty());
}

TEST(PlanOfAVariable, EmptyWhereATermIsNotLinear) {
  for (const char* term : {"(x*x)", "(exp(x))", "(x^2)", "(z/x)", "(x*z + x)", "(log(x + 1))"})
    EXPECT_TRUE(variable_plan(0, {"x ~ z", std::string("y ~ x ") + term}, "x").empty()) << term;
}

TEST(PlanOfAVariable, EmptyWhereAStatisticOfAColumnHoldsIt) {
  EXPECT_TRUE(variable_plan(0, {"x ~ z", "y ~ (mean(x))"}, "x").empty());
  EXPECT_TRUE(variable_plan(0, {"x ~ z", "y ~ (x - mean(x))"}, "x").empty());
}

TEST(PlanOfAVariable, EmptyWhereARandomTermHoldsIt) {
  EXPECT_TRUE(variable_plan(1, {"x ~ z", "y ~ x | x"}, "x").empty());
  EXPECT_TRUE(variable_plan(1, {"x ~ z", "y ~ x | (x*z)"}, "x").empty());
}

TEST(PlanOfAVariable, EmptyWhereAModelThatIsNotNormalReadsIt) {
  EXPECT_TRUE(variable_plan(0, {"x ~ z", "logit(bin) ~ x"}, "x").empty());
  EXPECT_TRUE(variable_plan(0, {"x ~ z", "y ~ x", "visits ~ x"}, "x").empty());
  EXPECT_TRUE(variable_plan(0, {"x ~ z", "y ~ x", "g ~ x"}, "x").empty());
  EXPECT_TRUE(variable_plan(0, {"x ~ z", "y ~ x", "var(y) ~ x"}, "x").empty());
}

TEST(PlanOfAVariable, EmptyWithATransformationOfItsOwn) {
  EXPECT_TRUE(variable_plan(0, {"log(x) ~ z", "y ~ x"}, "x").empty());
  EXPECT_TRUE(variable_plan(0, {"yjt(x) ~ z", "y ~ x"}, "x").empty());
}

TEST(PlanOfAVariable, ATransformedReaderIsNormalInItsOwnScale) {
  EXPECT_EQ(variable_plan(0, {"x ~ z", "log(y) ~ x"}, "x").size(), 1u);
  EXPECT_EQ(variable_plan(0, {"x ~ z", "yjt(y) ~ x"}, "x").size(), 1u);
}

TEST(PlanOfAVariable, EmptyWhereItsMeansAreRead) {
  EXPECT_TRUE(variable_plan(1, {"x ~ z", "y ~ x x.mean"}, "x").empty());
}

TEST(PlanOfAVariable, EmptyForTwoEquationsOfTheVariable) {
  const bool reduced = sem::defaults::reduce_models;
  sem::defaults::reduce_models = false;
  EXPECT_TRUE(variable_plan(0, {"x ~ z", "x ~ y2", "y ~ x"}, "x").empty());
  sem::defaults::reduce_models = reduced;
}

TEST(PlanOfAVariable, AHigherLevelIsReadByLowerOnes) {
  planned run(2, {"w ~ v", "y ~ w x"});
  EXPECT_EQ(run.of("w").size(), 1u);
}

TEST(PlanOfAVariable, AFactorIsReadByItsIndicators) {
  planned run(0, {"eta -> y y2 y10"});
  const plan found = run.of("eta");
  ASSERT_EQ(found.size(), 3u);
  for (const auto& entry : found) EXPECT_EQ(entry.type, distribution_type::fixed);
}

TEST(PlanOfAVariable, ALatentInteractionIsLinearInEachFactor) {
  planned run(1, {"eta -> y y2", "zeta -> y10 z", "x ~ eta zeta (eta*zeta)"});
  EXPECT_EQ(run.of("eta").size(), 3u);
  EXPECT_EQ(run.of("zeta").size(), 3u);
}

// Propensities.

TEST(PlanOfAPropensity, IsReadAsAnyVariable) {
  planned run(0, {"bin ~ z", "y ~ bin.latent (bin.latent*z)"});
  const plan found = run.of("bin", model::type::latent);
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].type, distribution_type::compute);
  EXPECT_EQ(found[0].positions, (list{1}));
  EXPECT_EQ(found[0].columns, (list{0}));
}

TEST(PlanOfAPropensity, EmptyBesideTheCategoryInOneModel) {
  EXPECT_TRUE(variable_plan(0, {"bin ~ z", "y ~ bin bin.latent"}, "bin", model::type::latent).empty());
}

TEST(PlanOfAPropensity, TheCategoryInAnotherModelIsData) {
  EXPECT_EQ(variable_plan(0, {"bin ~ z", "y ~ bin.latent", "y2 ~ bin"}, "bin", model::type::latent).size(),
            1u);
}

TEST(PlanOfAPropensity, EmptyForALogisticOutcomeAndForTheCategory) {
  EXPECT_TRUE(variable_plan(0, {"bin ~ z", "y ~ bin"}, "bin").empty());
  EXPECT_TRUE(variable_plan(0, {"bin ~ z", "y ~ bin"}, "bin", model::type::latent).empty());
}

// Phantoms.

TEST(PlanOfAPhantom, BothSidesWithItsPlace) {
  planned run(0, {"y ~ x", "bin ~ x", "y <-> bin", "y2 ~ x", "y2 <-> y", "y2 <-> visits", "visits ~ x"});
  const auto phantom_of = [&](const std::string& other) {
    for (const Model& model : run.all) {
      if (model.kind() != model::kind::phantom) continue;
      const std::string name = model.command();
      if (name.find("y ") == std::string::npos && name.find(" y") == std::string::npos) continue;
      if (name.find(other) != std::string::npos) return run.all.autosolverInfo(model.outcomes.front());
    }
    return plan();
  };
  const plan found = phantom_of("bin");
  ASSERT_EQ(found.size(), 2u);
  for (const auto& entry : found) EXPECT_EQ(entry.type, distribution_type::phantom);
  EXPECT_TRUE(phantom_of("visits").empty());
}

// Labels.

TEST(PlanOfALabel, ACoefficientWithANormalPrior) {
  const plan found = label_plan({"y ~ x@b"}, {"b ~ normal(0, 1)"}, "b");
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].type, distribution_type::param);
  EXPECT_EQ(found[0].positions, (list{1}));
}

TEST(PlanOfALabel, FlatAndBoundedPriorsAreSolvedToo) {
  for (const char* prior : {"uniform(0, 1)", "truncate(0, inf)", "normal(1, 2)"})
    EXPECT_EQ(label_plan({"y ~ x@b"}, {std::string("b ~ ") + prior}, "b").size(), 1u) << prior;
  EXPECT_EQ(label_plan({"y ~ x@b z@b"}, {}, "b").size(), 1u);
}

TEST(PlanOfALabel, EmptyForOtherPriors) {
  for (const char* prior : {"beta(1, 2)", "gamma(1, 2)", "laplace(0, 1)", "cauchy(0, 1)", "invgamma(1, 2)"})
    EXPECT_TRUE(label_plan({"y ~ x@b"}, {std::string("b ~ ") + prior}, "b").empty()) << prior;
}

TEST(PlanOfALabel, TwoPlacesOfOneModelAreOneEntry) {
  const plan found = label_plan({"y ~ x@b z@b"}, {}, "b");
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].positions, (list{1, 2}));
}

TEST(PlanOfALabel, PlacesOfTwoModelsAreTwoEntries) {
  EXPECT_EQ(label_plan({"y ~ x@b", "y2 ~ z@b", "bin ~ x@b"}, {}, "b").size(), 3u);
}

TEST(PlanOfALabel, AFactorOfAComputedTerm) {
  const plan found = label_plan({"y ~ z (x*z) (x*b)"}, {"b ~ normal(0, 1)"}, "b");
  ASSERT_EQ(found.size(), 1u);
  EXPECT_TRUE(found[0].positions.empty());
  EXPECT_EQ(found[0].columns, (list{1}));
}

TEST(PlanOfALabel, EmptyWhereATermIsNotLinear) {
  for (const char* term : {"(x^b)", "(exp(b*x))", "(x*b*b)", "(x/b)", "(x*b + z*b)"})
    EXPECT_TRUE(label_plan({std::string("y ~ z ") + term}, {"b ~ normal(0, 1)"}, "b").empty()) << term;
}

TEST(PlanOfALabel, EmptyWhereAnotherLabelMultipliesIt) {
  EXPECT_TRUE(label_plan({"y ~ (x*a*b)"}, {"a ~ normal(0, 1)", "b ~ normal(0, 1)"}, "b").empty());
  EXPECT_TRUE(label_plan({"y ~ (x*b)@b"}, {"b ~ normal(0, 1)"}, "b").empty());
  EXPECT_EQ(label_plan({"y ~ (x*b + a)"}, {"a ~ normal(0, 1)", "b ~ normal(0, 1)"}, "b").size(), 1u);
}

TEST(PlanOfALabel, EmptyInALogisticModelOrACount) {
  EXPECT_TRUE(label_plan({"logit(bin) ~ x@b"}, {"b ~ normal(0, 1)"}, "b").empty());
  EXPECT_TRUE(label_plan({"y ~ x@b", "logit(bin) ~ x@b"}, {}, "b").empty());
  EXPECT_TRUE(label_plan({"y ~ x@b", "visits ~ x@b"}, {}, "b").empty());
}

TEST(PlanOfALabel, EmptyInARandomTerm) {
  EXPECT_TRUE(label_plan({"y ~ x | (x*b)"}, {"b ~ normal(0, 1)"}, "b", 1).empty());
  EXPECT_TRUE(label_plan({"y ~ x | x@b"}, {}, "b", 1).empty());
}

TEST(PlanOfALabel, EmptyWhereAComputationFeedsAnEquation) {
  EXPECT_TRUE(label_plan({"y ~ x@b z@d"}, {"b ~ normal(0, 1)", "d = 2*b"}, "b").empty());
  EXPECT_TRUE(label_plan({"y ~ x@b (z*d)"}, {"b ~ normal(0, 1)", "c = b + 1", "d = 2*c"}, "b").empty());
  EXPECT_EQ(label_plan({"y ~ x@b"}, {"b ~ normal(0, 1)", "d = 2*b"}, "b").size(), 1u);
}

TEST(PlanOfALabel, ASharedResidualVariance) {
  const plan found = label_plan({"y ~ x", "z ~ x", "y ~~ y@s", "z ~~ z@s"}, {}, "s");
  ASSERT_EQ(found.size(), 2u);
  for (const auto& entry : found) EXPECT_EQ(entry.type, distribution_type::variance);
  EXPECT_EQ(label_plan({"y ~ x", "y ~~ y@s"}, {"s ~ invgamma(2, 3)"}, "s").size(), 1u);
}

TEST(PlanOfALabel, EmptyForVariancesOfOtherKinds) {
  EXPECT_TRUE(label_plan({"y ~ x", "y ~~ y@s"}, {"s ~ gamma(2, 3)"}, "s").empty());
  EXPECT_TRUE(label_plan({"y ~ x", "y ~~ y@s"}, {"s ~ normal(2, 3)"}, "s").empty());
  EXPECT_TRUE(label_plan({"yjt(y) ~ x", "y ~~ y@s", "z ~ x", "z ~~ z@s"}, {}, "s").empty());
  EXPECT_TRUE(label_plan({"y ~ x", "y ~~ y@s", "z ~ x@s"}, {}, "s").empty());
  // In a block of correlated outcomes, and with a phantom of the residual.
  EXPECT_TRUE(label_plan({"y ~ x", "z ~ x", "y <-> z", "y ~~ y@s"}, {}, "s").empty());
  EXPECT_TRUE(label_plan({"y ~ x", "logit(bin) ~ x", "y <-> bin", "y ~~ y@s"}, {}, "s").empty());
}

TEST(PlanOfALabel, EmptyForACorrelation) {
  EXPECT_TRUE(label_plan({"y ~ x", "z ~ x", "y <-> z@r"}, {}, "r").empty());
}

TEST(PlanOfALabel, EmptyWithoutALabelOrAUse) {
  EXPECT_TRUE(label_plan({"y ~ x"}, {"b ~ normal(0, 1)"}, "b").empty());
  planned run(0, {"y ~ x@0.5"});
  EXPECT_TRUE(run.all.autosolverInfo(model::parameter::fixed_at(0.5)).empty());
}

// Computed terms that read a label.

TEST(TermWithALabel, HasACoefficientOfOneUnlessOneIsAsked) {
  const auto coefficient = [](const char* term) {
    planned run(0, {std::string("y ~ ") + term}, {"b ~ normal(0, 1)"});
    return run["y"].fixed_compute.front().param;
  };
  EXPECT_EQ(coefficient("(x*b)").name(), "@1");
  EXPECT_TRUE(coefficient("(x*b)@c").has_label());
  EXPECT_TRUE(coefficient("(x*b)%1").is_free());
  EXPECT_TRUE(coefficient("(x*z)").is_free());
  EXPECT_EQ(coefficient("(x*b)@2").name(), "@2");
}

}  // namespace
}  // namespace tovik::tests::autosolver_info_test
