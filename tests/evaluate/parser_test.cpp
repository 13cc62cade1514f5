#include "evaluate/parser.hpp"

#include <gtest/gtest.h>

#include "evaluate/error.hpp"
#include "trees.hpp"

namespace tovik::tests::parser_test {
namespace {

const std::string x = "#DATA(0)", y = "#DATA(1)", z = "#DATA(2)", p = "#VAR(0)", q = "#VAR(1)";
const std::string could_not = "ERROR: Could not parse statement.";
const std::string no_match = "ERROR: The parentheses do not match.";
const std::string operand = "ERROR: Was expecting an operator or function but recieved a variable or number.";

TEST(Parser, GroupsByPrecedence) {
  EXPECT_EQ(shown("x + y * z ^ 2"), "(" + x + "+(" + y + "*(" + z + "^2.0)))");
  EXPECT_EQ(shown("x * y + z"), "((" + x + "*" + y + ")+" + z + ")");
  EXPECT_EQ(shown("x + y < z"), "((" + x + "+" + y + ")<" + z + ")");
  EXPECT_EQ(shown("x < y and y < z"), "((" + x + "<" + y + ")and(" + y + "<" + z + "))");
  EXPECT_EQ(shown("(x + y) * z"), "((" + x + "+" + y + ")*" + z + ")");
}

TEST(Parser, GroupsFromTheLeftExceptPowers) {
  EXPECT_EQ(shown("x-y-z"), "((" + x + "-" + y + ")-" + z + ")");
  EXPECT_EQ(shown("x/y*z"), "((" + x + "/" + y + ")*" + z + ")");
  EXPECT_EQ(shown("x^p^q"), "(" + x + "^(" + p + "^" + q + "))");
  EXPECT_EQ(shown("x**p"), shown("x^p"));
  EXPECT_EQ(shown("x or y and z"), "((" + x + "or" + y + ")and" + z + ")");
  EXPECT_EQ(shown("x == y != z"), "((" + x + "==" + y + ")!=" + z + ")");
  EXPECT_EQ(shown("x >= y <= z"), "((" + x + ">=" + y + ")<=" + z + ")");
}

TEST(Parser, NestsListsToTheRight) {
  const tree list = make("x, y, z");
  EXPECT_EQ(list->op, evaluate::operations::comma);
  EXPECT_EQ(list->left->name(), x);
  EXPECT_EQ(list->right->op, evaluate::operations::comma);
  EXPECT_EQ(list->name(), x + ", " + y + ", " + z);
  EXPECT_EQ(list->n_commas(), 2u);
  EXPECT_EQ(make("(x, y), (z, 1)")->n_commas(), 3u);
  EXPECT_EQ(make("log(x), y")->n_commas(), 1u);
  EXPECT_EQ(make("x")->n_commas(), 0u);
}

TEST(Parser, TakesUnaryMinusAsAFactor) {
  EXPECT_EQ(shown("-x^2"), "(-1.0*(" + x + "^2.0))");
  EXPECT_EQ(shown("2^-p"), "(2.0^(-1.0*" + p + "))");
  EXPECT_EQ(shown("--x"), "(-1.0*(-1.0*" + x + "))");
  EXPECT_EQ(shown("x - -y * z"), "(" + x + "-((-1.0*" + y + ")*" + z + "))");
  EXPECT_EQ(shown("+x"), x);
  EXPECT_EQ(shown("x + +y"), "(" + x + "+" + y + ")");
  EXPECT_EQ(shown("log -x"), "log((-1.0*" + x + "))");
}

TEST(Parser, TakesEveryDashAsMinus) {
  for (const std::string dash : {"\u2013", "\u2212"}) {
    EXPECT_EQ(shown("x" + dash + "y"), shown("x-y"));
    EXPECT_EQ(shown(dash + "x"), shown("-x"));
  }
}

TEST(Parser, ReducesAFunctionBeforeAnyOperator) {
  EXPECT_EQ(shown("log(x)^2"), "(log(" + x + ")^2.0)");
  EXPECT_EQ(shown("log x + 1"), "(log(" + x + ")+1.0)");
  EXPECT_EQ(shown("log exp x"), "log(exp(" + x + "))");
  EXPECT_EQ(shown("x, log y"), x + ", log(" + y + ")");
}

TEST(Parser, PrintsOneNameForEachFunction) {
  EXPECT_EQ(shown("ln(x)"), "log(" + x + ")");
  EXPECT_EQ(shown("probit(x)"), "iphi(" + x + ")");
  EXPECT_EQ(shown("scale(x)"), "stand(" + x + ")");
  EXPECT_EQ(shown("max(x, y)"), "max(" + x + ", " + y + ")");
}

TEST(Parser, RefusesWhatIsNoStatement) {
  for (const std::string text : {"",           "   ",
                                 "x +",        "2(x)",
                                 "2 log(x)",   "log()",
                                 "()",         "* x",
                                 ", x",        "x ,",
                                 "(",          "x + )",
                                 "log",        "-",
                                 "+",          "x * * y",
                                 "#DATA(x)",   "#DATA(-1)",
                                 "#VAR(1.5)",  "#VAR(99999999999)",
                                 "#DATA(nan)", "#DATA(#VAR(0))"}) {
    EXPECT_EQ(parse_failure(text), could_not) << text;
  }
}

TEST(Parser, RefusesParenthesesThatDoNotMatch) {
  for (const std::string text : {"(x", "x)", "x )(", "((x)", "(x))", "log(x", "x + (y", "x))", "max(x, y"}) {
    EXPECT_EQ(parse_failure(text), no_match) << text;
  }
}

TEST(Parser, RefusesAnOperandAfterAnOperand) {
  for (const std::string text : {"x y", "x 2", "2 x", "(x) y", "x foo"}) {
    EXPECT_EQ(parse_failure(text), operand) << text;
  }
}

TEST(Parser, RefusesWhatIsNoNumber) {
  for (const std::string text :
       {"foo", "x2", "LOG", "{", "x + {", "a=b", "xandy", "1e400", "_PI", ".", "e5"}) {
    EXPECT_EQ(parse_failure(text), "ERROR: Non-numeric value was supplied.") << text;
    EXPECT_THROW(make(text), evaluate::error_non_numeric) << text;
  }
}

TEST(Parser, ReadsNumbersByTheirPrefix) {
  EXPECT_DOUBLE_EQ(scalar("2x"), 2.0);
  EXPECT_DOUBLE_EQ(scalar("1e-5"), -4.0);
  EXPECT_DOUBLE_EQ(scalar("1e5"), 100000.0);
  EXPECT_DOUBLE_EQ(scalar(".5"), 0.5);
  EXPECT_DOUBLE_EQ(scalar("0x10"), 16.0);
  EXPECT_TRUE(std::isinf(scalar("inf")));
  EXPECT_TRUE(std::isinf(scalar("Infinity")));
  EXPECT_LT(scalar("-inf"), 0.0);
  EXPECT_TRUE(std::isnan(scalar("NaN")));
}

TEST(Parser, ReadsNumbersAtTheEdgeOfDouble) {
  const std::string zeros(400, '0');
  EXPECT_DOUBLE_EQ(scalar("1.7976931348623157e308"), std::numeric_limits<double>::max());
  EXPECT_TRUE(std::isinf(scalar("1e308 * 10")));
  EXPECT_TRUE(std::isinf(scalar("1 / 0")));
  EXPECT_TRUE(std::isnan(scalar("0 / 0")));
  EXPECT_TRUE(std::isnan(scalar("inf - inf")));
  EXPECT_DOUBLE_EQ(scalar("0" + zeros + "7"), 7.0);
  EXPECT_DOUBLE_EQ(scalar("1." + zeros + "1"), 1.0);
  for (const std::string& text :
       std::vector<std::string>{"1e309", "1" + zeros, "0." + zeros + "1", "1e99999999999999999999"}) {
    EXPECT_EQ(parse_failure(text), "ERROR: Non-numeric value was supplied.") << text;
  }
  EXPECT_EQ(parse_failure("#DATA(4294967296)"), "ERROR: Could not parse statement.");
  EXPECT_EQ(parse_failure("#DATA(1e300)"), "ERROR: Could not parse statement.");
  EXPECT_EQ(parse_failure("#VAR(-1)"), "ERROR: Could not parse statement.");
  EXPECT_EQ(parse_failure("#VAR(nan)"), "ERROR: Could not parse statement.");
}

TEST(Parser, TakesNamesInUtf8) {
  evaluate::defines table;
  table.define_data("\u0420\u043e\u0441\u0442", 2);
  const tree t(evaluate::ast("\u0420\u043e\u0441\u0442\u2212\u0420\u043e\u0441\u0442 / 2", table));
  EXPECT_EQ(t->name(), "(#DATA(2)-(#DATA(2)/2.0))");
  EXPECT_EQ(parse_failure("\u00a0x"), "ERROR: Non-numeric value was supplied.");
}

TEST(Parser, LooksUpConstantsThenNamesThenNumbers) {
  evaluate::defines table;
  table.define_data("_pi", 3);
  table.define_data("inf", 4);
  EXPECT_DOUBLE_EQ(evaluate::ast("_pi", table)->eval(), 3.141592653589793);
  EXPECT_DOUBLE_EQ(evaluate::ast("_tau", table)->eval(), 6.283185307179586);
  EXPECT_EQ(evaluate::ast("inf", table)->name(), "#DATA(4)");
}

TEST(Parser, PutsDefinitionsInSimplified) {
  EXPECT_EQ(shown("half + 1"), "((#DATA(0)/2.0)+1.0)");
  EXPECT_EQ(shown("HALF"), "(#DATA(0)/2.0)");
  EXPECT_EQ(parse_failure("x + u"), "ERROR: The variable 'u' is not defined but used.");
  EXPECT_THROW(make("u"), evaluate::error_undefined_var);
}

TEST(Parser, RefusesAColumnAsExponent) {
  const std::string text = "ERROR: Cannot exponentiate variables with '^'";
  EXPECT_EQ(failure([] { make("x^y"); }), text);
  EXPECT_EQ(failure([] { make("2^(1 + x)"); }), text);
  EXPECT_EQ(failure([] { make("2^uniform(0, 1)"); }), text);
  EXPECT_EQ(failure([] { make("2^p"); }), "");
}

TEST(Parser, ChecksTheInputsOfFunctions) {
  const auto function = [](const std::string& name, const std::string& rest) {
    return "ERROR: Function \"" + name + "\" " + rest;
  };
  for (const std::string name :
       {"abs", "sqrt", "exp",  "log",  "ln",  "logit", "sigm",   "log1p",     "expm1", "sin",  "cos",
        "tan", "asin", "acos", "atan", "phi", "iphi",  "probit", "ismissing", "vec",   "#VAR", "#DATA"}) {
    EXPECT_EQ(parse_failure(name + "(x, y)"), function(name, "does not match the inputs given.")) << name;
  }
  for (const std::string name : {"clmn", "clsd", "missing", "uniform", "normal", "iyjt"}) {
    EXPECT_EQ(parse_failure(name + "(x)"), function(name, "requires two inputs.")) << name;
    EXPECT_EQ(parse_failure(name + "(x, y, z)"), function(name, "requires two inputs.")) << name;
    EXPECT_EQ(parse_failure(name + "(x, y)"), "") << name;
  }
  EXPECT_EQ(parse_failure("ifelse(x, y)"), function("ifelse", "requires three inputs."));
  EXPECT_EQ(parse_failure("ifelse(x, y, z, 1)"), function("ifelse", "requires three inputs."));
  EXPECT_EQ(parse_failure("lag1(x)"), function("lag1", "requires two or three inputs."));
  EXPECT_EQ(parse_failure("lag1(x, y, z, 1)"), function("lag1", "requires two or three inputs."));
  EXPECT_EQ(parse_failure("lag1(x, y)") + parse_failure("lag1(x, y, z)"), "");
  const std::string form =
      "requires the following form:\n"
      "       switch(logical 1, value 1, logical 2, value 2, ..., default value)";
  EXPECT_EQ(parse_failure("switch(x)"), function("switch", form));
  EXPECT_EQ(parse_failure("switch(x > 0, 1)"), function("switch", form));
  EXPECT_EQ(parse_failure("switch(x > 0, 1, y > 0, 2)"), function("switch", form));
  EXPECT_EQ(parse_failure("switch(x > 0, 1, 2)"), "");
  for (const std::string name : {"mean", "sd", "scale", "stand", "center", "max", "min", "yjt"}) {
    EXPECT_EQ(parse_failure(name + "(x)") + parse_failure(name + "(x, y, z)"), "") << name;
  }
}

TEST(Parser, CarriesTheWholeExpression) {
  EXPECT_EQ(failure([] { make("x + foo"); }), "ERROR: Non-numeric value was supplied.\nx + foo");
}

std::string repeated(const std::string& piece, int times) {
  std::string out;
  for (int i = 0; i < times; ++i) out += piece;
  return out;
}

TEST(Parser, RefusesDeepNestingWithAClearError) {
  const std::string deep = "ERROR: The expression is nested too deeply.";
  EXPECT_EQ(parse_failure(repeated("(", 10000) + "x" + repeated(")", 10000)), deep);
  EXPECT_EQ(parse_failure(repeated("log ", 10000) + "x"), deep);
  EXPECT_EQ(parse_failure(repeated("-", 10000) + "x"), deep);
  EXPECT_EQ(parse_failure("1" + repeated("+1", 500000)), deep);
  EXPECT_EQ(parse_failure("x" + repeated("^2", 100000)), deep);
  EXPECT_EQ(parse_failure(repeated("x,", 10000) + "x"), deep);
  EXPECT_EQ(parse_failure(repeated("(", 2000000)), deep);
  EXPECT_EQ(parse_failure(repeated("x,", 500000) + "x"), "ERROR: The expression is too long.");
}

TEST(Parser, EvaluatesTheDeepestTreeItBuilds) {
  const int terms = evaluate::max_depth - 1;
  const arma::mat data(2, 1, arma::fill::ones);
  const std::string sum = "x" + repeated("+x*1", terms - 2);
  const tree whole = make(sum);
  EXPECT_DOUBLE_EQ(whole->eval(data)[1], terms - 1.0);
  const tree twin(whole->copy());
  EXPECT_TRUE(*twin == *whole);
  EXPECT_EQ(twin->name(), whole->name());
  EXPECT_DOUBLE_EQ(twin->optimize()->eval(data)[0], terms - 1.0);
  EXPECT_DOUBLE_EQ(scalar("1" + repeated("+1", terms)), terms + 1.0);
  EXPECT_DOUBLE_EQ(scalar(repeated("(", 1000) + "1" + repeated(")", 1000)), 1.0);
}

TEST(Parser, BoundsTheGrowthOfDefinitions) {
  // Each definition uses the one before it twice: a folded constant stays small, yet reading it takes 2^i
  // steps.
  for (const std::string start : {"1", "x"}) {
    evaluate::defines table;
    table.define_data("x", 0);
    table.define("a0", start + " + 1");
    std::string message;
    for (int i = 1; i < 40 && message.empty(); ++i) {
      const std::string last = "a" + std::to_string(i - 1);
      message = failure([&] { table.define("a" + std::to_string(i), last + " + 2 * " + last); });
    }
    EXPECT_NE(message.find("ERROR: The expression is too long."), std::string::npos) << message;
  }
}

TEST(Parser, BoundsTheNestingOfDefinitions) {
  evaluate::defines table;
  table.define("a0", "1");
  std::string message;
  for (int i = 1; i < 1000 && message.empty(); ++i) {
    message = failure([&] { table.define("a" + std::to_string(i), "a" + std::to_string(i - 1)); });
  }
  EXPECT_NE(message.find("ERROR: The definitions are nested too deeply."), std::string::npos) << message;
}

TEST(Parser, ReadsBinaryNoise) {
  std::string noise;
  std::uint32_t state = 7;
  for (int i = 0; i < 20000; ++i) {
    state = state * 1664525u + 1013904223u;
    noise += static_cast<char>(1 + (state >> 24) % 255);
  }
  EXPECT_NE(parse_failure(noise), "");
  EXPECT_TRUE(failure([] { make(std::string("x\0+ 1", 6)); }) != "");
}

}  // namespace
}  // namespace tovik::tests::parser_test
