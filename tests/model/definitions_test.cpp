// Definitions of the MODEL command, given one by one.

#include <armadillo>

#include "catalogue.hpp"
#include "evaluate/defines.hpp"

namespace tovik::tests::definitions_test {
namespace {

struct definitions {
  VariableList list = catalogue(2);
  ModelList all{block::map()};

  std::string give(const std::string& statement) {
    try {
      all.add_define({statement, ""}, list);
    } catch (const error_debug&) {
      throw;
    } catch (const error& fault) {
      return fault.what();
    }
    return "";
  }
};

TEST(Definitions, StandInStatementOrderUnderTheNamesAsWritten) {
  definitions d;
  EXPECT_EQ(d.give("First = x * 2"), "");
  EXPECT_EQ(d.give("second=first+Z"), "");
  ASSERT_EQ(d.all.definitions.size(), 2u);
  EXPECT_EQ(d.all.definitions[0].first, "First");
  EXPECT_EQ(d.all.definitions[0].second.statement, "x * 2");
  EXPECT_EQ(d.all.definitions[1].first, "second");
  EXPECT_EQ(d.all.definitions[1].second.all_variables().size(), 2u);
  EXPECT_EQ(d.all.names->find("SECOND")->kind, 4);
  EXPECT_EQ(d.all.names->find("z")->kind, 2);
}

TEST(Definitions, MayNotUseLaterOnes) {
  definitions d;
  d.all.names->announce("a", "b*2");
  d.all.names->announce("b", "x*2");
  EXPECT_EQ(d.give("a = b*2"),
            "ERROR: The variable 'b' is not defined but used.\nb*2\n       See \"a = b*2\"");
  EXPECT_EQ(d.give("b = x*2"), "");
}

TEST(Definitions, AFailedOneLeavesNothing) {
  definitions d;
  EXPECT_NE(d.give("a = x*"), "");
  EXPECT_TRUE(d.all.definitions.empty());
  EXPECT_EQ(d.give("a = x*2"), "");
}

TEST(Definitions, NamesTakenByParametersAreTaken) {
  definitions d;
  d.all.names->define_var("b", 0);
  EXPECT_EQ(
      d.give("B = x*2"),
      "ERROR: The defined variable 'B' already exists.\n       Use a different name or do not redefine the "
      "varaible in\n       MODEL command.");
  EXPECT_EQ(d.give("a = b*x"), "");
}

TEST(Definitions, NamesOfTheLanguageAreNotForDefinitions) {
  definitions d;
  for (const std::string name :
       {"log", "_pi", "2", ".5", "1x", "INTERCEPT", "a@b", "a[b]", "a$1", "and", "scale"})
    EXPECT_EQ(d.give(name + " = x"),
              "ERROR: defined variable names cannot be numbers or words of the language.\n"
              "       Problem command: " +
                  name + " = x");
  EXPECT_EQ(d.give("a b = x"),
            "ERROR: defined variable names cannot include spaces.\n       Problem command: a b = x");
  EXPECT_EQ(d.give("LOG = x"), "");
  EXPECT_EQ(d.give("\xC3\xA9t\xC3\xA9 = x"), "");
}

TEST(Definitions, PhantomAndNumberedNames) {
  definitions d;
  EXPECT_EQ(d.give("a = x$1*2"),
            "ERROR: Variable \"x\" is not a phantom variable, but is being requested as one.");
  EXPECT_EQ(d.give("a = nobody*2"), "ERROR: Cannot find variable \"nobody\" in VARIABLE command.");
  EXPECT_EQ(d.give("a = x.latent"), "ERROR: Variable \"x\" must be ordinal to use latent propensity.");
  EXPECT_EQ(d.give("a = min(x, inf)"), "");
}

}  // namespace
}  // namespace tovik::tests::definitions_test
