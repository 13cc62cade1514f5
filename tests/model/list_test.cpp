// The list: classification of statements, merging, order, labels and the parameter table.

#include "catalogue.hpp"
#include "evaluate/defines.hpp"
#include "evaluate/value.hpp"

namespace tovik::tests::list_test {
namespace {

using sem::classify;
using sem::statement_kind;

texts commands(const ModelList& list) {
  texts out;
  for (const Model& model : list) out.push_back(model.command());
  return out;
}

texts commands(unsigned identifiers, const texts& all) {
  VariableList list = catalogue(identifiers);
  return commands(models(list, all));
}

/// Puts the settings of list assembly back.
struct settings_guard {
  ~settings_guard() {
    sem::defaults::reduce_models = true;
    sem::defaults::sort_models = true;
  }
};

TEST(Classify, GoesByTheFirstRuleThatHolds) {
  EXPECT_EQ(classify(""), statement_kind::empty);
  EXPECT_EQ(classify("   "), statement_kind::empty);
  EXPECT_EQ(classify("a <-> b"), statement_kind::correlation);
  EXPECT_EQ(classify("a ~~ a@rv"), statement_kind::correlation);
  EXPECT_EQ(classify("f -> a b"), statement_kind::loading);
  EXPECT_EQ(classify("f =~ a b"), statement_kind::loading);
  EXPECT_EQ(classify("y ~ x"), statement_kind::regression);
  EXPECT_EQ(classify("y ~ (x<-1)"), statement_kind::regression);
  EXPECT_EQ(classify("y <- x"), statement_kind::regression);
  EXPECT_EQ(classify("y <- (x == 1)"), statement_kind::regression);
  EXPECT_EQ(classify("d = x<-1"), statement_kind::definition);
  EXPECT_EQ(classify("d = (x == 1)"), statement_kind::definition);
  for (const char* text : {"y x", "a b = 3", "a == 3", "x - d = 3", "(y ~ x)", "= 3"}) {
    try {
      classify(text);
      ADD_FAILURE() << text;
    } catch (const error& fault) {
      EXPECT_EQ(
          std::string(fault.what()),
          "ERROR: Unable to parse line in MODEL command.\n       Problem command: " + std::string(text));
    }
  }
}

TEST(Parse, PassesOverEmptyStatements) {
  EXPECT_EQ(commands(0, {"", "  ", "y ~ x"}), texts{"y ~ Intercept x"});
  EXPECT_TRUE(commands(0, {}).empty());
}

TEST(Parse, GivesRoles) {
  VariableList list = catalogue(1);
  sem::parse(statements({"y ~ x g | z", "x ~ w"}), list, block::map());
  const auto role = [&](const char* name) { return list.find(name)->usage(); };
  EXPECT_EQ(role("y"), data::usage::outcome);
  EXPECT_EQ(role("x"), data::usage::outcome);
  for (const char* name : {"g", "z", "w"}) EXPECT_EQ(role(name), data::usage::covariate) << name;
  EXPECT_EQ(role("v"), data::usage::unset);
  EXPECT_EQ(role("1"), data::usage::unset);
}

TEST(Parse, WarnsOfDuplicates) {
  VariableList list = catalogue(1);
  drop_unnamed_latents(list, {});
  warning::buffer.clear();
  sem::parse(statements({"y ~ x z x | z z", "y2 ~ g g.2", "y10 ~ x | x[school]"}), list, block::map());
  ASSERT_EQ(warning::buffer.messages().size(), 2u);
  const std::string tail =
      "'' has duplicate predictors.\n         This will most likely cause computational errors.\n"
      "         Problem predictor(s):\n";
  EXPECT_EQ(warning::buffer.messages()[0].text,
            "WARNING: The outcome model for 'y" + tail + "           x\n           z\n");
  EXPECT_EQ(warning::buffer.messages()[1].text,
            "WARNING: The outcome model for 'y2" + tail + "           g.2\n");
  warning::buffer.clear();
}

TEST(Reduce, JoinsEquationsOfOneOutcome) {
  EXPECT_EQ(commands(0, {"y ~ x", "y ~ z"}), texts{"y ~ Intercept x z"});
  EXPECT_EQ(commands(0, {"y ~ x", "y2 ~ x", "Y ~ z", "y ~ w"}),
            (texts{"y ~ Intercept x z w", "y2 ~ Intercept x"}));
  EXPECT_EQ(commands(1, {"y ~ x | x", "y ~ z | z"}), texts{"y ~ Intercept x z | Intercept x z"});
}

TEST(Reduce, CanBeSwitchedOff) {
  const settings_guard guard;
  sem::defaults::reduce_models = false;
  EXPECT_EQ(commands(0, {"y ~ x", "y ~ z"}), (texts{"y ~ Intercept x", "y ~ Intercept z"}));
}

TEST(Reduce, ARemovedInterceptStaysRemoved) {
  EXPECT_EQ(commands(0, {"y ~ 0 x", "y ~ z"}), texts{"y ~ 0 x z"});
  EXPECT_EQ(commands(0, {"y ~ x", "y ~ 0 z"}), texts{"y ~ 0 x z"});
  EXPECT_EQ(commands(1, {"y ~ x | 0", "y ~ z | x"}), texts{"y ~ Intercept x z | 0 x"});
  EXPECT_EQ(commands(1, {"y ~ x | x", "y ~ z | 0"}), texts{"y ~ Intercept x z | 0 x"});
}

TEST(Reduce, ACustomisedInterceptWins) {
  EXPECT_EQ(commands(0, {"y ~ x", "y ~ 1@b"}), texts{"y ~ Intercept@b x"});
  EXPECT_EQ(commands(0, {"y ~ 1@b x", "y ~ z"}), texts{"y ~ Intercept@b x z"});
  EXPECT_EQ(commands(0, {"y ~ 1@b", "y ~ 1@c"}), texts{"y ~ Intercept@b"});
}

TEST(Reduce, WrittenRandomInterceptsReplaceTheDefault) {
  EXPECT_EQ(commands(2, {"y ~ x", "y ~ z | 1[school]"}), texts{"y ~ Intercept x z | Intercept[school]"});
  EXPECT_EQ(commands(2, {"y ~ x | 1[school]", "y ~ z"}), texts{"y ~ Intercept x z | Intercept[school]"});
  EXPECT_EQ(commands(2, {"y ~ x | 1[school]", "y ~ z | 1[district]"}),
            texts{"y ~ Intercept x z | Intercept[school] Intercept[district]"});
  EXPECT_EQ(commands(2, {"y ~ x | 1[school]", "y ~ z | 1"}), texts{"y ~ Intercept x z | Intercept"});
  EXPECT_EQ(commands(1, {"y ~ x | 1", "y ~ z | 1@rv"}), texts{"y ~ Intercept x z | Intercept@rv"});
}

TEST(Reduce, AnUnwrittenLinkTakesTheOther) {
  EXPECT_EQ(commands(0, {"logit(bin) ~ x", "bin ~ z"}), texts{"logit(bin) ~ Intercept x z"});
  EXPECT_EQ(commands(0, {"bin ~ z", "logit(bin) ~ x"}), texts{"logit(bin) ~ Intercept z x"});
  EXPECT_EQ(
      message([] {
        commands(0, {"logit(bin) ~ x", "probit(bin) ~ z"});
      }),
      "ERROR: Two models have the same dependent variable but different\n       links. Problem Models:\n"
      "           logit(bin) ~ Intercept x\n           probit(bin) ~ Intercept z");
}

TEST(Reduce, UnequalModelsDoNotAdd) {
  VariableList list = catalogue(0);
  ModelList m = models(list, {"y ~ x", "y2 ~ x"});
  EXPECT_THROW(m[0] += m[1], error_debug);
}

TEST(Reduce, TheLowerBlockWins) {
  VariableList list = catalogue(0);
  drop_unnamed_latents(list, {});
  block::map blocks;
  blocks.insert("late");
  const ModelList m = sem::_parse({{"y ~ x", "late"}, {"y ~ z", ""}}, list, blocks);
  ASSERT_EQ(m.size(), 1u);
  EXPECT_EQ(m[0].block, "model");
  EXPECT_EQ(m[0].block_number, 0);
}

TEST(Sort, GoesByBlockRankAndName) {
  VariableList list = catalogue(0);
  block::map blocks;
  blocks.insert("first");
  blocks.insert("second");
  const ModelList m = sem::_parse({{"y ~ x", "second"},
                                   {"y10 ~ x", "first"},
                                   {"y2 ~ x", "first"},
                                   {"z ~ x", "_hidden"},
                                   {"eta ~ 1", "first"},
                                   {"w ~ x", ""}},
                                  list, blocks);
  texts names;
  for (const Model& model : m) names.push_back(model.name());
  EXPECT_EQ(names, (texts{"z", "w", "eta", "y2", "y10", "y"}));
  EXPECT_EQ(m[0].block, "_hidden");
  EXPECT_EQ(m[5].block_number, 2);
}

TEST(Sort, CanBeSwitchedOff) {
  const settings_guard guard;
  sem::defaults::sort_models = false;
  EXPECT_EQ(commands(0, {"z ~ 1", "y ~ 1"}), (texts{"z ~ Intercept", "y ~ Intercept"}));
}

TEST(Sort, AnUnknownBlockIsAFaultOfTheProgram) {
  VariableList list = catalogue(0);
  EXPECT_THROW(sem::_parse({{"y ~ x", "nowhere"}}, list, block::map()), error_debug);
}

TEST(Variance, IsFixedLabelledOrStarted) {
  VariableList list = catalogue(0);
  const ModelList fixed = models(list, {"y ~~ y@2", "y ~ x"});
  ASSERT_EQ(fixed.size(), 1u);
  EXPECT_EQ(fixed[0].variance.value(), 2);
  EXPECT_EQ(models(list, {"y@rv ~~ y", "y ~ x"}).at(0).variance.label(), "rv");
  EXPECT_EQ(models(list, {"y ~~ y%3"}).at(0).variance.start(), 3);
  EXPECT_TRUE(models(list, {"y <-> y"}).at(0).variance.is_free());
}

TEST(Variance, MakesAModelWhereThereIsNone) {
  EXPECT_EQ(commands(1, {"y ~~ y@2"}), texts{"y ~ Intercept | Intercept"});
}

TEST(Variance, RefusesWrongParameters) {
  const std::string twice = "ERROR: The variance for \"y\" already has a parameter label.";
  EXPECT_EQ(failure(0, texts{"y ~ x", "y ~~ y@a", "y ~~ y@b"}), twice);
  EXPECT_EQ(failure(0, texts{"y ~ x", "y@a ~~ y@b"}), twice);
  EXPECT_EQ(failure(0, texts{"y ~~ y@0"}), "ERROR: The variance for \"y\" must be positive.");
  EXPECT_EQ(failure(0, texts{"y ~~ y%-1"}), "ERROR: The variance for \"y\" must be positive.");
  EXPECT_EQ(failure(0, texts{"y ~~"}),
            "ERROR: Unable to parse line in MODEL command.\n       Problem command: y ~~");
  EXPECT_EQ(failure(1, texts{"y[school] ~~ y"}), "ERROR: Cannot specify variances for random effects.\n");
}

TEST(Labels, AreGatheredSortedAndOnce) {
  VariableList list = catalogue(1);
  const ModelList m = models(list, {"y ~ x@b10 z@B2 w@0.5 | x@a", "y2 ~ x@b2 z%1", "y2 ~~ y2@rv"});
  texts labels;
  for (const auto& p : m.constraints()) labels.push_back(p.label());
  EXPECT_EQ(labels, (texts{"a", "B2", "b10", "rv"}));
  EXPECT_EQ(m.appearances(model::parameter::labelled("b2")), 2u);
  EXPECT_EQ(m.appearances(model::parameter::labelled("a")), 1u);
  EXPECT_EQ(m.appearances(model::parameter::labelled("none")), 0u);
  EXPECT_EQ(m.appearances(model::parameter::fixed_at(0.5)), 0u);
}

TEST(Span, SumsTheRowsOfTheModelsBefore) {
  VariableList list = catalogue(1);
  const ModelList m = models(list, {"y ~ x | x", "y2 ~ x z | 0", "y10 ~ 1"});
  EXPECT_EQ(m.estimates_span(m[0]), (std::pair<unsigned, unsigned>(0, 4 + 2 + 1 + 4)));
  EXPECT_EQ(m.estimates_span(m[1]), (std::pair<unsigned, unsigned>(11, 1 + 3 + 2 + 2)));
  EXPECT_EQ(m.estimates_span(m[2]), (std::pair<unsigned, unsigned>(19, 1 + 1 + 1 + 0 + 3)));
  EXPECT_EQ(m.estimates_span(Model(m[2])).first, 19u);
  EXPECT_THROW(m.estimates_span(Model("z ~ x", list, nullptr)), error_debug);
}

TEST(Map, SlotsFollowTheListAndCellsAreNew) {
  VariableList list = catalogue(0);
  const ModelList m = models(list, {"y2 ~ z@Lab", "y ~ x@other", "visits ~ x"});
  const auto map = m.generate_map();
  const texts expected = {"y.coefvar",   "y.iceptvar",  "y.slopevar",  "y.residvar",
                          "y.totalvar",  "y2.coefvar",  "y2.iceptvar", "y2.slopevar",
                          "y2.residvar", "y2.totalvar", "lab",         "other"};
  ASSERT_EQ(map.size(), expected.size());
  for (unsigned slot = 0; slot < expected.size(); ++slot) {
    const auto found = map.find(expected[slot]);
    ASSERT_NE(found, map.end()) << expected[slot];
    EXPECT_EQ(found->second.slot, slot) << expected[slot];
    EXPECT_EQ(found->second.is_new, slot < 10);  // labels have a place in a model
    ASSERT_TRUE(found->second.cell);
  }
  EXPECT_NE(m.generate_map().at("lab").cell, map.at("lab").cell);
}

TEST(Map, ParametersAreKnownToExpressions) {
  VariableList list = catalogue(0);
  drop_unnamed_latents(list, {"y ~ x@Lab"});
  const ModelList m = sem::parse(statements({"y ~ x@Lab"}), list, block::map());
  EXPECT_TRUE(m.names->is_def("LAB"));
  EXPECT_EQ(m.names->find("lab")->text, "#VAR(5)");
  EXPECT_EQ(m.names->find("y.totalvar")->text, "#VAR(4)");
  EXPECT_FALSE(m.names->is_def("x"));
}

TEST(Variables, AreSortedAndOnce) {
  VariableList list = catalogue(1);
  const ModelList m = models(list, {"y ~ x y10 | x", "z ~ x y2"});
  texts predictors;
  for (const auto& term : m.variables(model::type::variable, false)) predictors.push_back(term.name());
  EXPECT_EQ(predictors, (texts{"Intercept", "x", "y2", "y10"}));
  EXPECT_EQ(m.variables(model::type::variable, true).size(), 6u);
  EXPECT_TRUE(m.variables(model::type::mean, true).empty());
  EXPECT_TRUE(m[0].has(m[0].random.back()));
  EXPECT_FALSE(m[1].has(m[0].outcomes.front()));
}

TEST(Robustness, StrangeStatementsEndInErrors) {
  for (const char* text :
       {"y ~ (",     "y ~ )",        "y ~ |",   "y ~ | |", "{ ~ x", "} ~ x",  "{} ~ x", "y ~ {x}",
        "y ~ x@((",  "~~",           "<->",     "~",       "<-",    "a ~~ ",  "()~x",   "y()~x",
        "logit()~x", "logit(y,x)~z", "yjt()~x", "y~x[",    "y~x]",  "y~[",    "1 ~ x",  "0 ~ x",
        "y ~ \x01",  "y ~ @",        "y ~ %",   "y~%@",    "| ~ |", "log(y~x"}) {
    try {
      VariableList list = catalogue(2);
      sem::parse(statements({text}), list, block::map());
    } catch (const error_debug& fault) {
      ADD_FAILURE() << text << ": " << fault.what();
    } catch (const error& fault) {
      EXPECT_EQ(std::string(fault.what()).rfind("ERROR: ", 0), 0u) << text;
    }
  }
}

TEST(Robustness, LongStatementsParse) {
  std::string text = "y ~";
  for (int i = 0; i < 20000; ++i) text += " x%" + std::to_string(i);
  warning::buffer.clear();
  EXPECT_EQ(failure(0, text), "");
  EXPECT_EQ(warning::buffer.messages().size(), 1u);
  warning::buffer.clear();
  EXPECT_NE(failure(0, "y ~ x@" + std::string(100000, '(')), "");
  EXPECT_NE(failure(0, "y ~ x@" + std::string(100000, '(') + "1" + std::string(100000, ')')), "");
}

}  // namespace
}  // namespace tovik::tests::list_test
