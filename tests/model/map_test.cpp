// The table of parameters of a run.

#include <ctime>
#include <map>

#include "evaluate/defines.hpp"
#include "evaluate/value.hpp"
#include "model/row_table.hpp"
#include "run_models.hpp"

namespace tovik::tests::map_test {
namespace {

/// The names of the table by slot.
std::map<unsigned, texts> by_slot(const ModelList& list) {
  std::map<unsigned, texts> out;
  for (const auto& [name, info] : list.generate_map()) out[info.slot].push_back(name);
  for (auto& [slot, names] : out) std::sort(names.begin(), names.end());
  return out;
}

texts in_order(const ModelList& list) {
  texts out;
  for (const auto& [slot, names] : by_slot(list)) out.push_back(join(names, "|"));
  return out;
}

texts five(const std::string& name) {
  return {name + ".coefvar", name + ".iceptvar", name + ".slopevar", name + ".residvar", name + ".totalvar"};
}

std::string failure_of(run_models& run) {
  try {
    run.all.generate_map();
  } catch (const error& fault) {
    return fault.what();
  }
  return "";
}

std::string missing(const std::string& name, const std::string& term) {
  return "ERROR: Parameter \"" + name + "\" does not exist. To specify it:\n       - Use \"@" + name +
         "\" to label the parameter.\n       - Define \"" + name +
         "\" using the PARAMETER command before using it.\n       See \"" + term + "\"";
}

std::string vector(const std::string& name) {
  return "ERROR: Generated parameter in PARAMETER command produces a vector: \"" + name + "\"";
}

std::string specified(const std::string& name) {
  return "ERROR: Generated Parameter \"" + name + "\" is already been specified.";
}

TEST(ParameterMap, VariancesThenLabelsThenParameters) {
  run_models run(0, {"y2 ~ x@b", "y ~ x@a z@B"}, {"p ~ normal(0, 1)", "b ~ normal(0, 1)", "d = a + p"});
  texts expected = five("y");
  for (const std::string& name : five("y2")) expected.push_back(name);
  for (const char* name : {"a", "b", "p", "d"}) expected.push_back(name);
  EXPECT_EQ(in_order(run.all), expected);
}

TEST(ParameterMap, WhichOutcomesShowTheirVariance) {
  run_models run(0, {"y ~ x", "var(y) ~ z", "eta ~ x", "grade ~ x", "logit(bin) ~ x", "visits ~ x", "g ~ x",
                     "y2.missing ~ x"});
  for (const char* name : {"y", "eta", "grade", "bin"})
    EXPECT_EQ(run.all.generate_map().count(std::string(name) + ".totalvar"), 1u) << name;
  for (const char* name : {"visits", "g", "y2", "y2.missing"})
    EXPECT_EQ(run.all.generate_map().count(std::string(name) + ".totalvar"), 0u) << name;
  EXPECT_EQ(run.all.generate_map().size(), 20u);
}

TEST(ParameterMap, BlocksAndPhantomsAddNoVariances) {
  run_models block(0, {"y <-> y2"});
  EXPECT_EQ(block.all.generate_map().size(), 10u);
  run_models phantom(1, {"y[school] <-> y2[school]"});
  EXPECT_EQ(phantom.all.generate_map().size(), 10u);
}

TEST(ParameterMap, ShortenedNamesAreAliases) {
  run_models run(0, {"y ~ x"}, {"d = LONG.totalvar * 2"});
  run.list.find("y")->fullName = "long_name";
  run.list.find("y")->name = "long";
  const auto map = run.all.generate_map();
  ASSERT_TRUE(map.count("long_name.totalvar"));
  ASSERT_TRUE(map.count("long.totalvar"));
  EXPECT_EQ(map.at("long.totalvar").slot, map.at("long_name.totalvar").slot);
  EXPECT_EQ(map.at("long.totalvar").cell, map.at("long_name.totalvar").cell);
  EXPECT_EQ(map.at("d").slot, 5u);
}

TEST(ParameterMap, EveryEntryHasACellOfItsOwnAndEveryTableTheSameSlots) {
  run_models run(0, {"y ~ x@a z@b"});
  const auto first = run.all.generate_map();
  const auto second = run.all.generate_map();
  std::vector<const void*> cells;
  for (const auto& [name, info] : first) {
    ASSERT_TRUE(info.cell);
    EXPECT_EQ(info.slot, second.at(name).slot);
    EXPECT_NE(info.cell, second.at(name).cell);
    EXPECT_EQ(info.tag, 0);
    cells.push_back(info.cell.get());
  }
  std::sort(cells.begin(), cells.end());
  EXPECT_EQ(std::unique(cells.begin(), cells.end()), cells.end());
}

TEST(ParameterMap, LabelsOfTermsAreNoLongerNew) {
  run_models run(0, {"y ~ x@a", "y ~~ y@rv"}, {"p ~ normal(0, 1)"});
  const auto map = run.all.generate_map();
  EXPECT_FALSE(map.at("a").is_new);
  EXPECT_TRUE(map.at("p").is_new);
  EXPECT_TRUE(map.at("y.totalvar").is_new);
}

TEST(ParameterMap, ALabelAndAComputationShareOneCell) {
  run_models run(0, {"y ~ x@a (z*a)"}, {"d = a * 2"});
  const auto map = run.all.generate_map();
  run.all.define_parameters();
  const auto trees = run["y"].xindCompute(map);
  ASSERT_EQ(trees.size(), 1u);
  ASSERT_EQ(trees[0].size(), 1u);
  map.at("a").cell->number = 3;
  const std::unique_ptr<evaluate::node> computed(run.all.names->find("a")->get_node());
  computed->register_var(map.at("a").cell.get(), map.at("a").slot);
  EXPECT_EQ(computed->eval(), 3);
  arma::Mat<double> data(1, 64, arma::fill::value(5.0));
  EXPECT_EQ(trees[0][0]->eval(data)(0), 15);
}

TEST(ParameterMap, NamesEnterTheNameTable) {
  run_models run(0, {"y ~ x@Slope"}, {"d = slope * y.TOTALVAR"});
  run.all.define_parameters();
  const auto map = run.all.generate_map();
  for (const auto& [name, info] : map) {
    const auto* entry = run.all.names->find(name);
    ASSERT_TRUE(entry) << name;
    EXPECT_EQ(entry->text, "#VAR(" + std::to_string(info.slot) + ")");
  }
  EXPECT_EQ(map.size(), 7u);
}

TEST(ParameterMap, AComputationReadsWhatStandsBeforeIt) {
  run_models run(0, {"y ~ x@a"}, {"d = a * 2", "e = d + y.residvar"});
  EXPECT_EQ(failure_of(run), "");
}

TEST(ParameterMap, AComputedParameterMayBeALabel) {
  run_models run(0, {"y ~ x@a z@d"}, {"d = a * 2"});
  EXPECT_EQ(failure_of(run), "");
  EXPECT_EQ(run.all.generate_map().size(), 7u);
}

TEST(ParameterMap, UnknownNamesFail) {
  run_models run(0, {"y ~ x@a"}, {"d = a - c"});
  EXPECT_EQ(failure_of(run), missing("c", "d = a - c"));
}

TEST(ParameterMap, LaterAndOwnNamesFail) {
  run_models later(0, {"y ~ x@a"}, {"d = e + 1", "e = a"});
  EXPECT_EQ(failure_of(later), missing("e", "d = e + 1"));
  run_models own(0, {"y ~ x@d"}, {"d = d + 1"});
  EXPECT_EQ(failure_of(own), missing("d", "d = d + 1"));
  run_models ring(0, {"y ~ x@a"}, {"d = e", "e = d"});
  EXPECT_EQ(failure_of(ring), missing("e", "d = e"));
}

TEST(ParameterMap, UnknownNamesOfComputedTermsFail) {
  run_models fixed(0, {"y ~ x (z*nothing)"});
  EXPECT_EQ(failure_of(fixed), missing("nothing", "(z*nothing)"));
  run_models random(1, {"y ~ x | (z*nothing)"});
  EXPECT_EQ(failure_of(random), missing("nothing", "(z*nothing)"));
  run_models defined(0, {"y ~ d", "d = x * nothing"});
  EXPECT_EQ(failure_of(defined), missing("nothing", "(d)"));
}

TEST(ParameterMap, ComputedTermsReadLabelsAndPriors) {
  run_models run(0, {"y ~ x@a (z*a) (v*p)"}, {"p ~ normal(0, 1)"});
  EXPECT_EQ(failure_of(run), "");
}

TEST(ParameterMap, VariablesMakeAVector) {
  run_models run(0, {"y ~ x@a"}, {"d = a * X"});
  run.all.names->define_data("x", run.list.find("x")->column);
  EXPECT_EQ(failure_of(run), vector("d"));
  run_models definition(0, {"y ~ x@a q", "q = x * z"}, {"d = a * q"});
  EXPECT_EQ(failure_of(definition), vector("d"));
}

TEST(ParameterMap, VectorFunctionsMakeAVector) {
  for (const char* text : {"d = vec(a)", "d = mean(a)", "d = a + sd(2*a)"}) {
    run_models run(0, {"y ~ x@a"}, {text});
    EXPECT_EQ(failure_of(run), vector("d")) << text;
  }
  for (const char* text :
       {"d = max(a, 0)", "d = exp(a) / (1 + exp(a))", "d = a - a", "d = ifelse(a > 0, 1, a)"}) {
    run_models run(0, {"y ~ x@a"}, {text});
    EXPECT_EQ(failure_of(run), "") << text;
  }
}

TEST(ParameterMap, ALabelCannotBeAColumn) {
  run_models definition(0, {"y ~ x@q", "q = x * z", "y2 ~ q"});
  EXPECT_EQ(failure_of(definition), vector("q"));
}

TEST(ParameterMap, NamesOfVariancesAreTaken) {
  run_models computation(0, {"y ~ x@a"}, {"y.totalvar = a"});
  EXPECT_EQ(failure_of(computation), specified("y.totalvar"));
  run_models prior(0, {"y ~ x@a"}, {"y.residvar ~ normal(0, 1)"});
  EXPECT_EQ(failure_of(prior), specified("y.residvar"));
  run_models label(0, {"y ~ x@y.coefvar"});
  EXPECT_EQ(failure_of(label), specified("y.coefvar"));
}

TEST(ParameterMap, APriorOrAComputationGivesANameOnce) {
  run_models run(0, {"y ~ x@a"});
  run.all.add_parameter("b ~ normal(0, 1)");
  Model again("b = 2 * a");
  again.block = block::predef::computation;
  run.all.push_back(again);
  EXPECT_EQ(failure_of(run), specified("b"));
}

TEST(ParameterMap, TiedRandomEffectVariancesFailWhenTheTableIsMade) {
  EXPECT_EQ(failure(1, texts{"y ~ x | x@a", "z ~ y2 | y2@a"}),
            "ERROR: Cannot specify random effect variance constraints.\n       the parameter labeled 'a' was "
            "used\n       more than once.");
}

TEST(AddNode, LeavesTermsWithoutLabelAlone) {
  run_models run(0, {"y ~ x"});
  std::unordered_map<std::string, model::parameter_info> map;
  run["y"].fixed[1].addNode(map, *run.all.names);
  EXPECT_TRUE(map.empty());
}

TEST(AddNode, FailsForALabelOutsideTheTable) {
  run_models run(0, {"y ~ x@a"});
  std::unordered_map<std::string, model::parameter_info> map;
  try {
    run["y"].fixed[1].addNode(map, *run.all.names);
    FAIL();
  } catch (const error& fault) {
    EXPECT_EQ(fault.what(), missing("a", "x@a"));
  }
}

TEST(AddNode, FailsForATransformedOutcome) {
  run_models run(0, {"log(y) ~ x"});
  model::anyVariable outcome = run.all.at(0).outcomes.at(0);
  for (const Model& model : run.all) {
    if (model.outcomes.at(0).is_transformed()) outcome = model.outcomes.at(0);
  }
  outcome.param = model::parameter::labelled("a");
  std::unordered_map<std::string, model::parameter_info> map;
  try {
    outcome.addNode(map, *run.all.names);
    FAIL();
  } catch (const error_debug& fault) {
    EXPECT_STREQ(fault.what(), "Cannot Generate for Transformation.");
  }
}

TEST(ParameterMap, GrowsWithTheListAndNoFaster) {
  const auto seconds = [](unsigned n) {
    VariableList list = catalogue(1);
    ModelList all;
    const auto x = list.find("x");
    for (unsigned i = 0; i < n; ++i) {
      list.variables.push_back(
          std::make_shared<data::variable>("v" + std::to_string(i), data::type::continuous, 200 + i, 1u));
      Model model("y ~ x@l" + std::to_string(i) + " z@m" + std::to_string(i / 2), list, all.names.get());
      model.outcomes[0].variable = list.variables.back();
      model.block_number = 0;
      all.push_back(model);
    }
    const std::clock_t start = std::clock();
    EXPECT_EQ(all.generate_map().size(), 5 * n + n + (n + 1) / 2);
    EXPECT_EQ(model::row_table(all).starts().size(), n + 1);
    EXPECT_EQ(all.label_table().size(), n + (n + 1) / 2);
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
  };
  const double small = seconds(500);
  EXPECT_LT(seconds(4000), 8 * 8 * small + 1.0);
}

}  // namespace
}  // namespace tovik::tests::map_test
