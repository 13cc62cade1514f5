#include "evaluate/defines.hpp"

#include <gtest/gtest.h>

#include "evaluate/error.hpp"
#include "evaluate/generate_command.hpp"
#include "trees.hpp"

namespace tovik::tests::defines_test {
namespace {

using texts = std::vector<std::string>;
using numbers = std::vector<unsigned>;

TEST(Defines, KeepTheFirstMeaningOfAName) {
  evaluate::defines table;
  EXPECT_TRUE(table.empty());
  table.define("a");
  EXPECT_EQ(table.find("a")->kind, 0);
  table.define_data("a", 3);
  EXPECT_EQ(table.find("a")->kind, 2);
  EXPECT_EQ(table.find("a")->text, "#DATA(3)");
  table.define("a");
  EXPECT_EQ(table.find("a")->kind, 2);
  EXPECT_FALSE(table.define_var("a", 1));
  EXPECT_FALSE(table.define("a", "1 + 1"));
  EXPECT_TRUE(table.define_var("b", 7));
  EXPECT_EQ(table.find("b")->kind, 3);
  EXPECT_EQ(table.find("b")->text, "#VAR(7)");
  table.define_data("b", 1);
  EXPECT_EQ(table.find("b")->kind, 3);
  table.define("c");
  EXPECT_TRUE(table.define("c", "a * b"));
  EXPECT_EQ(table.find("c")->kind, 4);
  EXPECT_EQ(table.find("c")->text, "a * b");
  EXPECT_EQ(table.find("c")->owner, &table);
  EXPECT_EQ(table.size(), 3u);
  EXPECT_EQ(table.find("d"), nullptr);
}

TEST(Defines, MatchNamesInAnyCaseAndKeepTheFirstSpelling) {
  evaluate::defines table;
  table.define_data("Height", 0);
  EXPECT_TRUE(table.define("Double", "2 * HEIGHT"));
  EXPECT_EQ(table.find("hEIGHT")->name, "Height");
  EXPECT_EQ(evaluate::ast("double", table)->name(), "(2.0*#DATA(0))");
  EXPECT_FALSE(table.define_var("HEIGHT", 0));
  EXPECT_EQ(table.get_data("double + Height"), (texts{"HEIGHT", "Height"}));
}

TEST(Defines, ReportAFaultyDefinitionAndForgetIt) {
  evaluate::defines table;
  table.define("u");
  EXPECT_THROW(table.define("a", "1 +"), evaluate::error_parse);
  EXPECT_THROW(table.define("a", ""), evaluate::error_parse);
  EXPECT_THROW(table.define("a", "u"), evaluate::error_undefined_var);
  EXPECT_THROW(table.define("a", "a"), evaluate::error_non_numeric);
  EXPECT_THROW(table.define("u", "u + 1"), evaluate::error_undefined_var);
  EXPECT_EQ(table.find("a"), nullptr);
  EXPECT_EQ(table.find("u")->kind, 0);
  EXPECT_TRUE(table.define("a", "1"));
}

TEST(Defines, TellDefinitionsFromData) {
  EXPECT_TRUE(names().is_def("u"));
  EXPECT_TRUE(names().is_def("p"));
  EXPECT_TRUE(names().is_def("HALF"));
  EXPECT_FALSE(names().is_def("x"));
  EXPECT_FALSE(names().is_def("nothing"));
}

TEST(Defines, ListTheNamesOfAnExpressionInOrder) {
  evaluate::defines table;
  table.define_data("x", 0);
  table.define_data("y", 1);
  table.define_var("b", 0);
  table.define("u");
  EXPECT_TRUE(table.define("d", "b * y + x"));
  EXPECT_EQ(table.get_var("b * x + log(b) - u + 2"), (texts{"b", "b", "u"}));
  EXPECT_EQ(table.get_data("y + x * y - u"), (texts{"y", "x", "y", "u"}));
  EXPECT_EQ(table.get_var("d + b"), (texts{"b", "b"}));
  EXPECT_EQ(table.get_data("x + d"), (texts{"x", "y", "x"}));
  EXPECT_EQ(table.get_data("1 + 2"), texts{});
}

TEST(Defines, BoundTheListOfNames) {
  evaluate::defines table;
  table.define_var("b", 0);
  ASSERT_TRUE(table.define("d0", "b + 1"));
  for (int i = 1; i < 15; ++i) {
    const std::string last = "d" + std::to_string(i - 1);
    ASSERT_TRUE(table.define("d" + std::to_string(i), last + " * " + last));
  }
  std::string sum = "d14";
  for (int i = 0; i < 1000; ++i) sum += " + d14";
  EXPECT_NE(failure([&] { table.get_var(sum); }).find("ERROR: The expression is too long."),
            std::string::npos);
}

TEST(Defines, GiveTheTreeOfAnEntry) {
  EXPECT_EQ(tree(names().find("x")->get_node())->name(), "#DATA(0)");
  EXPECT_EQ(tree(names().find("p")->get_node())->name(), "#VAR(0)");
  EXPECT_EQ(tree(names().find("half")->get_node())->name(), "(#DATA(0)/2.0)");
  EXPECT_EQ(names().find("u")->get_node(), nullptr);
}

TEST(GenerateCommand, ReplacesOccurrencesInOrder) {
  const std::string data = evaluate::CMD::DATA;
  EXPECT_EQ(evaluate::generate_command("x + Y * x", texts{"x", "y", "x"}, numbers{3, 4, 3}, data),
            "#DATA(3)+#DATA(4)*#DATA(3)");
  EXPECT_EQ(evaluate::generate_command("x + x", texts{"x"}, numbers{3}, data), "#DATA(3)+x");
  EXPECT_EQ(evaluate::generate_command("y + x", texts{"x", "y"}, numbers{0, 1}, data), "y+#DATA(0)");
  EXPECT_EQ(evaluate::generate_command("x + y", texts{}, numbers{}, data), "x+y");
  EXPECT_EQ(evaluate::generate_command("log(b) + b", std::string("b"), 2u, evaluate::CMD::VAR),
            "log(#VAR(2))+b");
}

TEST(GenerateCommand, TakesAPrefixForEachNameOrWholeReplacements) {
  EXPECT_EQ(evaluate::generate_command("x * b", texts{"x", "b"}, numbers{1, 2}, texts{"#DATA", "#VAR"}),
            "#DATA(1)*#VAR(2)");
  EXPECT_EQ(evaluate::generate_command("x * b", texts{"x", "b"}, texts{"Height", "slope"}), "Height*slope");
}

TEST(GenerateCommand, DropsBlanksBetweenTokens) {
  const texts once = {"x", "x"};
  const std::string text =
      evaluate::generate_command("(x > 1.0) and (x < 3.0)", once, numbers{0, 0}, evaluate::CMD::DATA);
  EXPECT_EQ(text, "(#DATA(0)>1.0)and(#DATA(0)<3.0)");
  EXPECT_NO_THROW(make(text));
  EXPECT_EQ(evaluate::generate_command("x and y", texts{}, texts{}), "xandy");
  EXPECT_THROW(make("xandy"), evaluate::error_non_numeric);
}

TEST(GenerateCommand, JoinsAWordOperatorToItsNeighbour) {
  const std::string data = evaluate::CMD::DATA;
  const std::string words = evaluate::generate_command("x and y", texts{"x", "y"}, numbers{0, 1}, data);
  EXPECT_EQ(words, "#DATA(0)and#DATA(1)");
  EXPECT_EQ(parse_failure(words),
            "ERROR: Was expecting an operator or function but recieved a variable or number.");
  const std::string tests =
      evaluate::generate_command("x == 1 and y == 2", texts{"x", "y"}, numbers{0, 1}, data);
  EXPECT_EQ(tests, "#DATA(0)==1and#DATA(1)==2");
  EXPECT_EQ(parse_failure(tests), "ERROR: Could not parse statement.");
}

TEST(GenerateCommand, LooksThroughTabsAndLineFeeds) {
  EXPECT_EQ(evaluate::generate_command("x\t + \n x ", texts{"x", "x"}, texts{"a", "b"}), "a+b");
  EXPECT_EQ(names().get_data("x\t + \n y "), (texts{"x", "y"}));
  EXPECT_EQ(names().get_var("p\t * \n q "), (texts{"p", "q"}));
}

TEST(GenerateCommand, TakesNamesInUtf8) {
  const std::string name = "\u00c0ge\u20ac";
  EXPECT_EQ(evaluate::generate_command(name + "\u2212" + name, texts{name, name}, texts{"a", "b"}),
            "a\u2212b");
}

TEST(GenerateCommand, RefusesListsOfDifferentLengths) {
  const std::string text = "Cannot parse evaluate string.";
  const std::string data = evaluate::CMD::DATA;
  EXPECT_EQ(failure([&] { evaluate::generate_command("x", texts{"x"}, numbers{}, data); }), text);
  EXPECT_EQ(failure([&] { evaluate::generate_command("x", texts{"x"}, numbers{1}, texts{}); }), text);
  EXPECT_EQ(failure([&] { evaluate::generate_command("x", texts{}, texts{"y"}); }), text);
}

TEST(Errors, SayWhatTheySay) {
  using namespace evaluate;
  using evaluate::error;
  using evaluate::error_debug;
  EXPECT_STREQ(error_comma().what(), "ERROR: Function has too many inputs.");
  EXPECT_STREQ(error_ifelse().what(),
               "ERROR: The \"ifelse\" function requires logical statement as first input.");
  EXPECT_STREQ(error_missing().what(),
               "ERROR: The \"missing\" function requires logical statement as first input.");
  EXPECT_STREQ(
      error_switch().what(),
      "ERROR: Function \"switch\" requires the following form:\n       switch(logical 1, value 1, logical "
      "2, value 2, ..., default value)");
  EXPECT_STREQ(error_non_numeric("e").what(), "ERROR: Non-numeric value was supplied.\ne");
  EXPECT_STREQ(error_undefined_var("a", "e").what(), "ERROR: The variable 'a' is not defined but used.\ne");
  EXPECT_STREQ(error_debug_parse().what(), "Evaluator failed to properly parse computation.");
  EXPECT_STREQ(error_debug_rng().what(), "RNG not set.");
  EXPECT_STREQ(error_debug_var("#VAR(1)").what(), "Variable not set.");
  EXPECT_EQ(error_debug_var("#VAR(1)").name(), "#VAR(1)");
  static_assert(std::is_base_of_v<std::exception, error> && !std::is_base_of_v<tovik::error, error>);
  static_assert(std::is_base_of_v<error_debug, error_debug_var> && std::is_base_of_v<error, error_debug>);
  static_assert(std::is_base_of_v<error_parse, error_non_numeric>);
}

}  // namespace
}  // namespace tovik::tests::defines_test
