#include "simulated.hpp"

namespace tovik::tests::simulate_messages_test {
namespace {

struct SimulateMessages : Simulated {
  void expect(std::initializer_list<std::pair<const char*, const char*>> cases) {
    for (const auto& [commands, text] : cases) EXPECT_EQ(simulate_fault(commands), text) << commands;
  }
};

TEST_F(SimulateMessages, Identifiers) {
  expect({
      {"n = 4; m = 2;",
       "ERROR: Already generated the identifier variable for level-1\n       Problem command: m = 2"},
      {"n = 4; a(2) = 2; b(2) = 2;",
       "ERROR: Already generated the identifier variable for level-2\n       Problem command: b(2) = 2"},
      {"n = 4; N(2) = 2;",
       "ERROR: Already generated the identifier variable with name 'N'\n       Problem command: N(2) = 2"},
      {"n: x = 1;",
       "ERROR: No identifier variables specified for SIMULATE command.\n"
       "       You must specify the sample size for each level\n"
       "       of observations. For single level data, specify only level-1."},
      {"id(2) = 4;",
       "ERROR: No identifier variables specified for SIMULATE command.\n"
       "       You must specify the sample size for each level\n"
       "       of observations. For single level data, specify only level-1."},
      {"n = 4; id(3) = 2;",
       "ERROR: No identifier variables specified for SIMULATE command.\n"
       "       You must specify the sample size for each level\n"
       "       of observations. For single level data, specify only level-1."},
      {"log = 4;", "ERROR: Cannot have variable name 'log' This is a tovik syntax function."},
  });
}

TEST_F(SimulateMessages, Nesting) {
  const auto text = [](const char* a, const char* n, const char* b, const char* m) {
    return std::string(
               "ERROR: The level structure is not evenly nested.\n"
               "       SIMULATE command requires equal group sizes.\n") +
           "       Level-" + a + " has " + n + " observations.\n       Level-" + b + " has " + m +
           " observations.";
  };
  EXPECT_EQ(simulate_fault("n(1) = 401; id(2) = 100;"), text("1", "401", "2", "100"));
  EXPECT_EQ(simulate_fault("n(1) = 100; id(2) = 400;"), text("1", "100", "2", "400"));
  EXPECT_EQ(simulate_fault("n = 12; c(2) = 4; d(3) = 3;"), text("2", "4", "3", "3"));
  EXPECT_EQ(simulate_fault("n = 12; c(2) = 0;"), text("1", "12", "2", "0"));
  EXPECT_EQ(simulate_fault("n = 0; c(2) = 3;"), text("1", "0", "2", "3"));
  EXPECT_EQ(simulate_fault("n = 6; c(2) = 3; d(3) = 0;"), text("2", "3", "3", "0"));
}

TEST_F(SimulateMessages, SizesAndLevels) {
  for (const char* statement :
       {"n", "n 5", "n == 5", "n = -5", "n = 2.5", "n = 1000000000000000000", "n = 4294967296", "n = x",
        "n = 5 5", "n = 2*3", "n(0) = 5", "n(4) = 5", "n(-1) = 5", "n(1.5) = 5", "n() = 5", "n(x) = 5",
        "n = inf", "n = nan", "n(99999999999) = 5"}) {
    EXPECT_EQ(simulate_fault(statement),
              "ERROR: SIMULATE command not correctly specified.\n"
              "       Command must be new variable name = statement.\n"
              "       Problem command: " +
                  std::string(statement));
  }
  EXPECT_EQ(simulate_fault("n = 0;"),
            "ERROR: SIMULATE command not correctly specified.\n"
            "       Command must be new variable name = statement.\n"
            "       Problem command: n = 0");
  EXPECT_EQ(simulate_fault("n = 50000001;"),
            "ERROR: SIMULATE command asks for more than 50000000 observations.\n       Problem command: n = "
            "50000001");
  EXPECT_EQ(simulate_fault("n = 1000; n: x1:x1000000 = 1;").substr(0, 61),
            "ERROR: SIMULATE command asks for more than 500000000 values.\n");
}

TEST_F(SimulateMessages, EmptySides) {
  expect({
      {"n = 4; = 3;",
       "ERROR: No command specified on the left hand side of simulate equation.\n       Problem command: = "
       "3"},
      {"n = 4; n: = 3;",
       "ERROR: No command specified on the left hand side of simulate equation.\n       Problem command: = "
       "3"},
      {"n = 4; define: = 3;",
       "ERROR: No command specified on the left hand side of simulate equation.\n       Problem command: = "
       "3"},
      {"n = 4; (2) = 3;",
       "ERROR: No variable specified on the left hand side of simulate equation.\n"
       "       Problem command: (2) = 3"},
      {"n =;",
       "ERROR: No command specified on the right hand side of simulate equation.\n       Problem command: n "
       "="},
      {"n = 4; n: x =;",
       "ERROR: No command specified on the right hand side of simulate equation.\n       Problem command: x "
       "="},
      {"n = 4; mu := ;",
       "ERROR: No command specified on the right hand side of simulate equation.\n       Problem command: mu "
       "="},
  });
}

TEST_F(SimulateMessages, Assignments) {
  expect({
      {"n = 4; n: x normal(0, 1);",
       "ERROR: SIMULATE command not correctly specified.\n"
       "       Command must be new variable name = statement.\n"
       "       Problem command: x normal(0, 1)"},
      {"n = 4; n: x == 3;",
       "ERROR: SIMULATE command not correctly specified.\n"
       "       Command must be new variable name = statement.\n"
       "       Problem command: x == 3"},
      {"n = 4; define: mu 3;",
       "ERROR: SIMULATE command not correctly specified.\n"
       "       Command must be new parameter name = statement.\n"
       "       Problem command: mu 3"},
      {"n = 4; group: x = 3;",
       "ERROR: No identifier variable has been specified for 'group'.\n       Problem command: x = 3"},
  });
}

TEST_F(SimulateMessages, Constants) {
  expect({
      {"n = 4; define: mu = normal(0, 1);",
       "ERROR: SIMULATE command not correctly specified.\n"
       "       Defined value not specified \"normal(0, 1)\".\n"
       "       Only defind values are allowed in the define block.\n"
       "       Problem command: mu = normal(0, 1)"},
      {"n = 4; define: mu = n;",
       "ERROR: SIMULATE command not correctly specified.\n"
       "       Defined value not specified \"n\".\n"
       "       Only defind values are allowed in the define block.\n"
       "       Problem command: mu = n"},
      {"n = 4; mu := mean(3);",
       "ERROR: SIMULATE command not correctly specified.\n"
       "       Defined value not specified \"mean(3)\".\n"
       "       Only defind values are allowed in the define block.\n"
       "       Problem command: mu = mean(3)"},
      {"n = 4; define: m*u = 3;",
       "ERROR: Defined value in SIMULATE command contains illegal characters."
       "       Problem command: m*u = 3"},
      {"n = 4; define: m u = 3;",
       "ERROR: Defined value in SIMULATE command contains illegal characters."
       "       Problem command: m u = 3"},
      {"n = 4; a := 1; define: A = 3;",
       "ERROR: Defined value specified in SIMULATE command already exists.\n       Problem command: A = 3"},
      {"n = 4; define: n = 3;",
       "ERROR: Defined value specified in SIMULATE command already exists.\n       Problem command: n = 3"},
      {"n = 4; define: n.time = 3;",
       "ERROR: Defined value specified in SIMULATE command already exists.\n       Problem command: n.time = "
       "3"},
      {"n = 4; mu := nu; nu := 3;",
       "ERROR: Unable to find variable or definition \"nu\"\n       See \"mu = nu\""},
      {"n = 4; mu := mu + 1;",
       "ERROR: Unable to find variable or definition \"mu\"\n       See \"mu = mu + 1\""},
      {"n = 4; define: exp = 3;", "ERROR: Cannot have variable name 'exp' This is a tovik syntax function."},
      {"n = 4; define: _pi = 3;",
       "ERROR: Defined value in SIMULATE command contains illegal characters."
       "       Problem command: _pi = 3"},
      {"n = 4; define: a = (1;",
       "ERROR: There are mismatched parentheses in the 'a' SIMULATE command:\n       \"a = (1\"\n            "
       "^"},
  });
}

TEST_F(SimulateMessages, Names) {
  expect({
      {"a,b = 4;",
       "ERROR: Variable name in SIMULATE command contains illegal characters.       Problem command: a,b = "
       "4"},
      {"a b = 4;",
       "ERROR: Variable name in SIMULATE command contains illegal characters.       Problem command: a b = "
       "4"},
      {"n = 4; n: x, y = 4;",
       "ERROR: Variable in SIMULATE command contains illegal characters.       Problem command: x, y = 4"},
      {"n = 4; n: 2 = 4;",
       "ERROR: Variable in SIMULATE command contains illegal characters.       Problem command: 2 = 4"},
      {"n = 4; n: x(2) = 4;",
       "ERROR: Variable in SIMULATE command contains illegal characters.       Problem command: x(2) = 4"},
      {"n = 4; n: mean = 4;", "ERROR: Cannot have variable name 'mean' This is a tovik syntax function."},
      {"n = 4; mu := 4; n: MU = 4;",
       "ERROR: Variable specified in SIMULATE is the name of a defined constant.\n       Problem command: MU "
       "= 4"},
      {"n = 4; n: x = 1; x = 2;",
       "ERROR: Variable specified in SIMULATE command already exists.\n       Problem command: x = 2"},
      {"n = 4; n: x x = 2;",
       "ERROR: Variable specified in SIMULATE command already exists.\n       Problem command: x x = 2"},
      {"n = 4; n: n = 2;",
       "ERROR: Variable specified in SIMULATE command already exists.\n       Problem command: n = 2"},
      {"n = 4; n: n.time = 2;",
       "ERROR: Variable specified in SIMULATE command already exists.\n       Problem command: n.time = 2"},
  });
  for (const char* mark :
       {"&", "@", "%", "^", "*", "/", "+", "-", "~", "<", ">", "[", "]", "|", "$", "{", "}", "!"}) {
    const std::string statement = "x" + std::string(mark) + "y = 1";
    EXPECT_EQ(simulate_fault("n = 4; n: " + statement),
              "ERROR: Variable in SIMULATE command contains illegal characters.       Problem command: " +
                  statement);
  }
}

TEST_F(SimulateMessages, Expressions) {
  expect({
      {"n = 4; n: x = b@1;",
       "ERROR: SIMULATE command cannot contain parameters.\n       Problem command: x = b@1"},
      {"n = 4; n: x = &b + 1;",
       "ERROR: SIMULATE command cannot contain parameters references '&'.\n       Problem command: x = &b + "
       "1"},
      {"n = 4; n: y = z + 1;",
       "ERROR: Unable to find variable or definition \"z\"\n       See \"y = z + 1\""},
      {"n = 4; n: y = y + 1;",
       "ERROR: Unable to find variable or definition \"y\"\n       See \"y = y + 1\""},
      {"n = 4; n: y = x; x = 1;", "ERROR: Unable to find variable or definition \"x\"\n       See \"y = x\""},
      {"n = 4; id(2) = 2; n: x = 1; id: u = x;",
       "ERROR: Unable to find variable or definition \"x\"\n       See \"u = x\""},
      {"n = 4; id(2) = 2; id: u = n.time;",
       "ERROR: Unable to find variable or definition \"n.time\"\n       See \"u = n.time\""},
      {"n = 4; n: x = 1e-5;", "ERROR: Unable to find variable or definition \"1e\"\n       See \"x = 1e-5\""},
      {"n = 4; n: x = {n};", "ERROR: Unable to find variable or definition \"{\"\n       See \"x = {n}\""},
      {"n = 4; n: x = a = b;",
       "ERROR: Unable to find variable or definition \"a\"\n       See \"x = a = b\""},
      {"n = 4; n: x y = (n + 1;",
       "ERROR: There are mismatched parentheses in the 'x y' SIMULATE command:\n"
       "       \"x y = (n + 1\"\n"
       "              ^"},
      {"n = 4; n: x = n) + 1;",
       "ERROR: There are mismatched parentheses in the 'x' SIMULATE command:\n"
       "       \"x = n) + 1\"\n"
       "             ^"},
      {"n = 4; n: x = n n;", "ERROR: Could not parse statement.\n       See \"x = n n\""},
      {"n = 4; n: x = n +;", "ERROR: Could not parse statement.\n       See \"x = n +\""},
      {"n = 4; n: x = n == n;", "ERROR: Could not parse statement.\n       See \"x = n == n\""},
      {"n = 4; n: x = 2^n;",
       "ERROR: Cannot exponentiate variables with '^'\n       Problem command: x = 2^n"},
      {"n = 4; n: x = normal(0);",
       "ERROR: Function \"normal\" requires two inputs.\n       See \"x = normal(0)\""},
      {"n = 4; n: x = normal(0, 0);",
       "ERROR: Variance is not greater than 0.\n       Problem command: x = normal(0, 0)"},
      {"n = 4; n: x = uniform(1, 1);",
       "ERROR: Lower bound is greater than or equal to upper bound.\n       Problem command: x = uniform(1, "
       "1)"},
      {"n = 4; n: x = ifelse(n, 1, 0);",
       "ERROR: The \"ifelse\" function requires logical statement as first input.\n"
       "       Problem command: x = ifelse(n, 1, 0)"},
      {"n = 4; n: x = missing(n > 0, n);",
       "ERROR: SIMULATE command produced a variable with all\n"
       "       observations missing. This generally happens when\n"
       "       using commands like 'center', 'mean', and 'scale'.\n"
       "       Problem command: x = missing(n > 0, n)"},
  });
}

TEST_F(SimulateMessages, WordOperatorsNeedParentheses) {
  EXPECT_EQ(simulate_fault("n = 4; n: x = (n > 1) and (n < 3);"), "");
  EXPECT_EQ(simulate_fault("n = 4; n: x = n and n;"),
            "ERROR: Was expecting an operator or function but recieved a variable or number.\n"
            "       See \"x = n and n\"");
}

TEST_F(SimulateMessages, SeedIsNeededForDraws) {
  EXPECT_EQ(simulate_fault("n = 4; n: x = n * 2;", ""), "");
  EXPECT_EQ(simulate_fault("n = 4; n: x = normal(0, 1);", ""), "ERROR: Missing SEED command.");
  EXPECT_EQ(simulate_fault("n = 4; n: x = 2 * uniform(0, n);", ""), "ERROR: Missing SEED command.");
}

TEST_F(SimulateMessages, DeepAndLongStatementsEnd) {
  const std::string deep = std::string(10000, '(') + "n" + std::string(10000, ')');
  EXPECT_NE(simulate_fault("n = 4; n: x = " + deep + ";").find("ERROR: The expression is nested too deeply."),
            std::string::npos);
  std::string sum = "n";
  for (int i = 0; i < 300000; ++i) sum += "+n";
  EXPECT_NE(simulate_fault("n = 4; n: x = " + sum + ";").find("ERROR: The expression is"), std::string::npos);
}

TEST_F(SimulateMessages, InfiniteValuesStop) {
  in = read("SIMULATE: n = 4; n: x = 1 / (n - 2);");
  EXPECT_EQ(fault([&] { in->data(); }), "ERROR: Simulated data matrix has an Inf value.");
  in = read("SIMULATE: n = 4; n: x = 1 / (n - 2); y = ifelse(x > 1000, 1, 0); VARIABLES: y;");
  EXPECT_EQ(fault([&] { in->data(); }), "");
}

TEST_F(SimulateMessages, NamesAreCheckedAsInAFile) {
  const std::pair<const char*, const char*> cases[] = {
      {"Intercept", "ERROR: Cannot have variable name 'Intercept'. This is reserved for intercept."},
      {"x.mean", "ERROR: Variable name 'x.mean' cannot end with '.mean'"}};
  for (const auto& [name, text] : cases) {
    in = read("SIMULATE: n = 4; n: " + std::string(name) + " = n;");
    EXPECT_EQ(fault([&] { in->data(); }), text);
  }
  in = read("SIMULATE: n = 4; n: x = n; CLUSTERID: id;");
  EXPECT_EQ(fault([&] { in->data(); }), "ERROR: Identifier variable: \"id\" not in the data.");
}

}  // namespace
}  // namespace tovik::tests::simulate_messages_test
