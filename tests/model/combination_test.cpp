// Computed terms: names, columns, trees, labels, and definitions inside them.

#include "model/combination.hpp"

#include <armadillo>

#include "catalogue.hpp"
#include "evaluate/defines.hpp"
#include "model/compute.hpp"

namespace tovik::tests::combination_test {
namespace {

using model::combinationOfAnyVariable;

struct computed {
  VariableList list = catalogue(2);
  evaluate::defines names;
  combinationOfAnyVariable term;

  explicit computed(const std::string& text,
                    const std::vector<std::pair<std::string, std::string>>& defined = {}) {
    for (const auto& [name, expression] : defined) names.announce(name, expression);
    term = combinationOfAnyVariable::parse(text, text, list, &names);
  }
  unsigned column(const std::string& name) const { return list.find(name)->column; }
  const combinationOfAnyVariable* operator->() const { return &term; }
};

std::string fault(const std::string& text,
                  const std::vector<std::pair<std::string, std::string>>& defined = {}) {
  try {
    computed term(text, defined);
  } catch (const error& e) {
    return e.what();
  }
  return "";
}

texts variable_names(const std::vector<model::anyVariable>& list) {
  texts out;
  for (const auto& v : list) out.push_back(v.name());
  return out;
}

TEST(Combination, DropsOneOuterPairOfParentheses) {
  EXPECT_EQ(computed("(x*z)")->statement, "x*z");
  EXPECT_EQ(computed("((x*z))")->statement, "(x*z)");
  EXPECT_EQ(computed("(x)*(z)")->statement, "(x)*(z)");
  EXPECT_EQ(computed("log(x)")->statement, "log(x)");
}

TEST(Combination, ListsItsVariablesInOrderWithRepeats) {
  const computed c("(x*Z + log(x) - x.mean[district])");
  EXPECT_EQ(variable_names(c->variables), (texts{"x", "z", "x", "x.mean"}));
  EXPECT_EQ(c->tokens, (texts{"x", "Z", "x", "x.mean[district]"}));
  EXPECT_EQ(variable_names(c->all_variables()), (texts{"x", "z", "x.mean"}));
}

TEST(Combination, NamesOfRowsAreShownNamesWithoutBlanks) {
  EXPECT_EQ(computed("( X * z )")->names(), (texts{"x*z"}));
  EXPECT_EQ(computed("(g*x)")->names(), (texts{"g.2*x", "g.3*x"}));
  EXPECT_EQ(computed("(x*b)")->names(), (texts{"x*b"}));
  EXPECT_EQ(computed("(x.mean*z)")->names(), (texts{"x.mean[school]*z", "x.mean[district]*z"}));
}

TEST(Combination, EachCombinationOfDummyCodesIsAColumn) {
  computed c("(g*x)");
  const unsigned g2 = c.column("g.2"), g3 = c.column("g.3"), x = c.column("x");
  EXPECT_EQ(c->indicators(), (std::vector<columns>{{x, g2}, {x, g3}}));
  const auto trees = c->nodes();
  ASSERT_EQ(trees.size(), 2u);
  EXPECT_EQ(trees[0]->name(), "(#DATA(" + std::to_string(g2) + ")*#DATA(" + std::to_string(x) + "))");
  EXPECT_EQ(trees[1]->name(), "(#DATA(" + std::to_string(g3) + ")*#DATA(" + std::to_string(x) + "))");
}

TEST(Combination, TheVariableNamedFirstVariesSlowest) {
  VariableList list = catalogue(0);
  const auto h = std::make_shared<data::variable>("h", data::type::nominal, 60, 0);
  h->values = {1, 2, 3};
  list.variables.push_back(h);
  for (double value : {2.0, 3.0}) {
    const auto code = std::make_shared<data::dummy>(h, value, 60 + static_cast<unsigned>(value));
    h->setDummy(code);
    list.variables.push_back(code);
  }
  evaluate::defines names;
  const auto term = [&](const std::string& text) {
    return combinationOfAnyVariable::parse(text, text, list, &names).names();
  };
  EXPECT_EQ(term("(g*h)"), (texts{"g.2*h.2", "g.2*h.3", "g.3*h.2", "g.3*h.3"}));
  EXPECT_EQ(term("(h*g)"), (texts{"h.2*g.2", "h.2*g.3", "h.3*g.2", "h.3*g.3"}));
  EXPECT_EQ(term("(h*g*h)"), (texts{"h.2*g.2*h.2", "h.2*g.3*h.2", "h.3*g.2*h.3", "h.3*g.3*h.3"}));
  EXPECT_EQ(term("(h.3*g)"), (texts{"h.3*g.2", "h.3*g.3"}));
}

TEST(Combination, RefusesAnExplosionOfColumns) {
  VariableList list = catalogue(0);
  std::string product = "1";
  for (int k = 0; k < 40; ++k) {
    const auto h = std::make_shared<data::variable>("h" + std::to_string(k), data::type::nominal, 60, 0);
    list.variables.push_back(h);
    for (double value : {2.0, 3.0}) h->setDummy(std::make_shared<data::dummy>(h, value, 70));
    product += "*h" + std::to_string(k);
  }
  evaluate::defines names;
  try {
    combinationOfAnyVariable::parse(product, "(h)", list, &names);
    FAIL();
  } catch (const error& e) {
    EXPECT_STREQ(e.what(), "ERROR: The computed term '(h)' has more than 10000 design columns.");
  }
}

TEST(Combination, LabelsStandBetweenVariables) {
  computed c("(x*b*Z + B*x)");
  EXPECT_EQ(c->labels(), texts{"b"});
  EXPECT_EQ(c.names.find("b")->kind, 0);
  ASSERT_TRUE(c.names.define_var("B", 7));
  const auto trees = c->nodes();
  const std::string x = "#DATA(" + std::to_string(c.column("x")) + ")";
  const std::string z = "#DATA(" + std::to_string(c.column("z")) + ")";
  EXPECT_EQ(trees.at(0)->name(), "(((" + x + "*#VAR(7))*" + z + ")+(#VAR(7)*" + x + "))");
}

TEST(Combination, LooksThroughDefinitions) {
  const computed c("(d*w + b)", {{"d", "x*E"}, {"e", "g.2 + c*w.mean + log(x)"}});
  EXPECT_EQ(variable_names(c->variables), texts{"w"});
  EXPECT_EQ(variable_names(c->all_variables()), (texts{"w", "x", "g.2", "w.mean"}));
  EXPECT_EQ(c->labels(), (texts{"b", "c"}));
  EXPECT_TRUE(c->has(*c.list.find("x")));
  EXPECT_TRUE(c->has(*c.list.find("g")));
  EXPECT_FALSE(c->has(*c.list.find("z")));
  const auto as = [&](const std::string& t) { return model::anyVariable::parse(t, c.list, nullptr, false); };
  EXPECT_TRUE(c->has(as("w.mean")));
  EXPECT_FALSE(c->has(as("w.missing")));
  EXPECT_FALSE(c->has(as("x.mean")));
}

TEST(Combination, ColumnsReadThroughDefinitionsBelongToEveryColumn) {
  const computed c("(g*d)", {{"d", "x + z"}});
  const unsigned x = c.column("x"), z = c.column("z");
  EXPECT_EQ(c->indicators(), (std::vector<columns>{{x, z, c.column("g.2")}, {x, z, c.column("g.3")}}));
}

TEST(Combination, DefinitionsInACircleEnd) {
  const computed own("(d*x)", {{"d", "d + z"}});
  EXPECT_EQ(variable_names(own->all_variables()), (texts{"x", "z"}));
  const computed two("(d*x)", {{"d", "e + z"}, {"e", "d + y"}});
  EXPECT_EQ(variable_names(two->all_variables()), (texts{"x", "z", "y"}));
}

TEST(Combination, ALongChainOfDefinitionsIsReadToItsEnd) {
  std::vector<std::pair<std::string, std::string>> chain;
  for (int k = 0; k < 20000; ++k) chain.emplace_back("d" + std::to_string(k), "d" + std::to_string(k + 1));
  chain.emplace_back("d20000", "x");
  EXPECT_EQ(variable_names(computed("(d0*2)", chain)->all_variables()), texts{"x"});
}

TEST(Combination, WordsOfNumbersAreNumbersUnlessNamed) {
  EXPECT_TRUE(computed("min(x, inf)")->labels().empty());
  EXPECT_TRUE(computed("min(x, Infinity)")->labels().empty());
  EXPECT_TRUE(computed("(nan + x)")->labels().empty());
  EXPECT_EQ(computed("(info + x)")->labels(), texts{"info"});
  EXPECT_EQ(variable_names(computed("(inf + x)", {{"inf", "z"}})->all_variables()), (texts{"x", "z"}));
}

TEST(Combination, ALabelMayLookLikeASuffixedName) {
  EXPECT_EQ(computed("(y.residvar*x)")->labels(), texts{"y.residvar"});
  EXPECT_EQ(computed("(a.mean*x)")->labels(), texts{"a.mean"});
}

TEST(Combination, TellsWhatIsWrongWithTheExpression) {
  const struct {
    const char* text;
    const char* message;
  } rows[] = {
      {"(x*)", "ERROR: Could not parse statement."},
      {"()", "ERROR: Could not parse statement."},
      {"(x z)", "ERROR: Was expecting an operator or function but recieved a variable or number."},
      {"(2 3*x)", "ERROR: Was expecting an operator or function but recieved a variable or number."},
      {"x)", "ERROR: The parentheses do not match."},
      {"(x, z)", "ERROR: Function has too many inputs."},
      {"mean(x, z, w)", "ERROR: Function has too many inputs."},
      {"ifelse(x, 1, 0)", "ERROR: The \"ifelse\" function requires logical statement as first input."},
      {"(x == x)", "ERROR: The expression could not be evaluated."},
      {"yjt(x)", "ERROR: The expression could not be evaluated."},
      {"(mean(b)*x)", "ERROR: The expression could not be evaluated."},
      {"(x and z)", "ERROR: Was expecting an operator or function but recieved a variable or number."},
      {"(x == 1 and z == 2)", "ERROR: Could not parse statement."},
      {"(x^z)", "ERROR: Cannot exponentiate variables with '^'"},
      {"iphi(2)*x", "ERROR: 'iphi' inputs must be between 0 and 1."},
  };
  for (const auto& row : rows)
    EXPECT_EQ(fault(row.text), row.message + std::string("\n       See \"") + row.text + "\"") << row.text;
  // What depends on the values cannot be known yet.
  for (const char* text :
       {"(iphi(x + 2))", "max(x, x)", "((x > 1) and (z < 2))", "(x/0)", "log(x)^2", "2^b*x"})
    EXPECT_EQ(fault(text), "") << text;
}

TEST(Combination, ADefinitionIsAColumnOrAParameter) {
  EXPECT_EQ(fault("(2^d)", {{"d", "b + 1"}}), "");
  EXPECT_EQ(fault("(2^d)", {{"d", "x + 1"}}),
            "ERROR: Cannot exponentiate variables with '^'\n       See \"(2^d)\"");
}

TEST(Combination, EqualityIgnoresBlanksAndCase) {
  const auto of = [](const std::string& text) { return computed(text).term; };
  EXPECT_TRUE(of("(x * Z)") == of("X*z"));
  EXPECT_FALSE(of("(x*z)") == of("(z*x)"));
}

TEST(Combination, DeepParenthesesAreAClearError) {
  const std::string deep = std::string(10000, '(') + "x" + std::string(10000, ')');
  EXPECT_NE(fault("log(" + deep + ")"), "");
  EXPECT_EQ(fault(deep).substr(0, 6), "ERROR:");
}

TEST(Compute, DefinitionsAreTheNamesThatStatementsGive) {
  evaluate::defines names;
  names.define("label");
  names.announce("d", "x*2");
  names.announce("empty", "");
  names.define_var("b", 1);
  names.define_data("x", 2);
  EXPECT_TRUE(model::is_definition("D", &names));
  EXPECT_TRUE(model::is_definition("empty", &names));
  for (const char* name : {"label", "b", "x", "nobody"})
    EXPECT_FALSE(model::is_definition(name, &names)) << name;
  EXPECT_FALSE(model::is_definition("d", nullptr));
}

}  // namespace
}  // namespace tovik::tests::combination_test
