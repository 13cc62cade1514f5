#include "evaluate/node.hpp"

#include <gtest/gtest.h>

#include "evaluate/error.hpp"
#include "evaluate/pair.hpp"
#include "evaluate/stack.hpp"
#include "evaluate/value.hpp"
#include "trees.hpp"

namespace tovik::tests::node_test {
namespace {

using evaluate::node;
using evaluate::operations;
using evaluate::value;

tree literal(double number) {
  return node::literal(number);
}

TEST(Node, KnowsTheLayoutOfItsOperands) {
  struct row {
    std::string text;
    int shape;
    bool is_vector;
  };
  const std::vector<row> rows = {
      {"1", 4, false},           {"x", 2, true},      {"p", 3, false},         {"x + y", 0, true},
      {"1 + x", 1, true},        {"x + 1", 2, true},  {"p + 1", 3, false},     {"log(x)", 2, true},
      {"log(p)", 3, false},      {"x, 1", 2, true},   {"1, 2", 3, false},      {"uniform(0, 1)", 3, true},
      {"normal(0, x)", 2, true}, {"vec(1)", 3, true}, {"vec(p) + 1", 2, true}, {"1 - uniform(0, 1)", 1, true},
      {"max(1, 2)", 3, false},   {"x ^ 2", 2, true},  {"log(vec(2))", 2, true}};
  for (const row& wanted : rows) {
    const tree t = make(wanted.text);
    EXPECT_EQ(t->shape, wanted.shape) << wanted.text;
    EXPECT_EQ(t->is_vector, wanted.is_vector) << wanted.text;
  }
}

TEST(Node, PrintsLiterals) {
  EXPECT_EQ(literal(2)->name(), "2.0");
  EXPECT_EQ(literal(-3)->name(), "-3.0");
  EXPECT_EQ(literal(0.5)->name(), "0.500000");
  EXPECT_EQ(literal(-0.5)->name(), "-0.500000");
  EXPECT_EQ(literal(2147483647.0)->name(), "2147483647.0");
  EXPECT_EQ(literal(-2147483648.0)->name(), "-2147483648.0");
  EXPECT_EQ(literal(2147483648.0)->name(), "2147483648.000000");
  EXPECT_EQ(literal(nan)->name(), "nan");
  EXPECT_EQ(literal(std::numeric_limits<double>::infinity())->name(), "inf");
}

TEST(Node, PrintsOperatorsWithoutBlanksAndListsWithOne) {
  EXPECT_EQ(shown("x - 1"), "(#DATA(0)-1.0)");
  EXPECT_EQ(shown("(x > 1) or (x <= 2)"), "((#DATA(0)>1.0)or(#DATA(0)<=2.0))");
  EXPECT_EQ(shown("ifelse(x != 1, p, 2)"), "ifelse((#DATA(0)!=1.0), #VAR(0), 2.0)");
  EXPECT_EQ(shown("#DATA(7) / #VAR(12)"), "(#DATA(7)/#VAR(12))");
  node odd;
  odd.op = operations::parenthesis;
  EXPECT_EQ(odd.name(), "undefined");
}

TEST(Node, RefusesTokensThatAreNoOperatorOrFunction) {
  for (const char* token : {"log", "(", "?"})
    EXPECT_THROW(node(token, literal(1), literal(2)), evaluate::error_debug_parse) << token;
  EXPECT_THROW(node("+", literal(1)), evaluate::error_debug_parse);
  EXPECT_THROW(node("#DATA", literal(0.5)), evaluate::error_debug_parse);
  EXPECT_THROW(literal(1)->index(), evaluate::error_debug_parse);
}

TEST(Node, HasNoAddressOfItsOwn) {
  const tree t = make("1 + 2");
  double storage = 0.0;
  EXPECT_EQ(failure([&] { t->get(); }), "Cannot get a value.");
  EXPECT_EQ(failure([&] { t->set(&storage); }), "Cannot set a value.");
}

TEST(Value, ReadsItsNumberOrLiveStorage) {
  value cell(2.0);
  EXPECT_DOUBLE_EQ(cell.eval(), 2.0);
  EXPECT_EQ(cell.get(), &cell.number);
  EXPECT_EQ(cell.name(), "2.0");
  double live = 0.25;
  cell.set(&live);
  EXPECT_DOUBLE_EQ(cell.eval(), 0.25);
  EXPECT_EQ(cell.get(), &live);
  EXPECT_EQ(cell.name(), "0.250000");
  const node& as_node = cell;
  EXPECT_DOUBLE_EQ(as_node.eval(), 0.25);
  expect_column(cell.eval(sample()), {0.25, 0.25, 0.25}, "cell");
}

TEST(Node, BindsParametersByIndex) {
  value first(3.0), second(5.0);
  const tree t = make("p * x + q + p");
  EXPECT_TRUE(t->has_unbound_var());
  EXPECT_TRUE(t->register_var(&first, 0));
  EXPECT_TRUE(t->has_unbound_var());
  EXPECT_TRUE(t->register_var(&second, 1));
  EXPECT_FALSE(t->register_var(&second, 2));
  EXPECT_FALSE(t->has_unbound_var());
  expect_column(t->eval(sample()), {11.0, 2.0, nan}, "p * x + q + p");
  double live = 0.0;
  first.set(&live);
  expect_column(t->eval(sample()), {5.0, 5.0, nan}, "live");
}

TEST(Node, CopiesShareTheCellsTheyDoNotOwn) {
  value cell(3.0);
  tree t = make("p + 1");
  t->register_var(&cell, 0);
  const tree twin(t->copy());
  const node by_value(*t);
  t.reset();
  cell.number = 4.0;
  EXPECT_DOUBLE_EQ(twin->eval(), 5.0);
  EXPECT_DOUBLE_EQ(by_value.eval(), 5.0);
  EXPECT_FALSE(twin->has_unbound_var());
}

TEST(Node, FailsOnAnUnboundParameter) {
  const tree t = make("p + 1");
  EXPECT_EQ(failure([&] { t->eval(); }), "Variable not set.");
  try {
    t->eval(sample());
    FAIL();
  } catch (const evaluate::error_debug_var& raised) {
    EXPECT_EQ(raised.name(), "#VAR(0)");
  }
}

TEST(Node, FindsReferencesAndOperations) {
  const tree t = make("x * p + log(x) - 2");
  EXPECT_TRUE(t->has(make("x").get()));
  EXPECT_TRUE(t->has(make("p").get()));
  EXPECT_FALSE(t->has(make("y").get()));
  EXPECT_FALSE(t->has(make("q").get()));
  EXPECT_FALSE(t->has(make("2").get()));
  EXPECT_TRUE(t->has(operations::log));
  EXPECT_TRUE(t->has(operations::var));
  EXPECT_FALSE(t->has(operations::exp));
  EXPECT_EQ(t->count(make("x").get()), 2u);
  EXPECT_EQ(t->count(make("p").get()), 1u);
  EXPECT_EQ(t->count(make("y").get()), 0u);
}

TEST(Node, ChecksTheOperationsOfAllPaths) {
  const std::vector<operations> sums = {operations::plus, operations::minus};
  EXPECT_TRUE(make("x + p - 2")->all(sums));
  EXPECT_TRUE(make("x")->all({}));
  EXPECT_FALSE(make("x + p * 2")->all(sums));
  EXPECT_FALSE(make("x + log(2)")->all(sums));
}

TEST(Node, ChecksTheOperationsOfOnePath) {
  const tree x = make("x"), y = make("y");
  const std::vector<operations> product = {operations::multiply};
  EXPECT_TRUE(make("(p * x) * (y + 1)")->all(product, x.get()));
  EXPECT_FALSE(make("(p * x) * (y + 1)")->all(product, y.get()));
  EXPECT_TRUE(make("x")->all({}, x.get()));
  EXPECT_EQ(failure([&] { make("x * x")->all(product, x.get()); }),
            "Can only check with node occuring once.");
  EXPECT_EQ(failure([&] { make("y")->all(product, x.get()); }), "Can only check with node occuring once.");
  EXPECT_EQ(failure([&] { x->all(product, make("1").get()); }), "Can only check for data or variables.");
  EXPECT_EQ(failure([&] { x->all(product, nullptr); }), "Can only check for data or variables.");
}

TEST(Node, ComparesStructure) {
  const auto same = [](const std::string& a, const std::string& b) { return *make(a) == *make(b); };
  EXPECT_TRUE(same("x + y", "x + y"));
  EXPECT_TRUE(same("x + y", "y + x"));
  EXPECT_TRUE(same("x * (y + z)", "(z + y) * x"));
  EXPECT_TRUE(same("2 * x", "x * 2"));
  EXPECT_TRUE(same("log(x)", "ln(x)"));
  EXPECT_TRUE(same("p", "#VAR(0)"));
  EXPECT_FALSE(same("x - y", "y - x"));
  EXPECT_FALSE(same("x", "y"));
  EXPECT_FALSE(same("x", "p"));
  EXPECT_FALSE(same("1", "2"));
  EXPECT_FALSE(same("log(x)", "exp(x)"));
  EXPECT_FALSE(same("log(x)", "x"));
  EXPECT_FALSE(same("nan", "nan"));
  EXPECT_FALSE(same("x + 1", "x + y"));
  EXPECT_FALSE(same("1", "x"));
}

TEST(Node, ComparesReferences) {
  EXPECT_TRUE(compare(make("x").get(), make("#DATA(0)").get()));
  EXPECT_FALSE(compare(make("x").get(), make("p").get()));
  EXPECT_FALSE(compare(make("x").get(), make("y").get()));
  EXPECT_FALSE(compare(make("1").get(), make("1").get()));
  EXPECT_FALSE(compare(nullptr, make("x").get()));
}

TEST(Pair, OwnsAndCopiesItsTrees) {
  evaluate::pair first(make("log(x)"), make("p"), true);
  evaluate::pair second(first);
  first = evaluate::pair();
  EXPECT_EQ(first.data_side, nullptr);
  EXPECT_EQ(second.data_side->name(), "log(#DATA(0))");
  EXPECT_EQ(second.parameter_side->name(), "#VAR(0)");
  EXPECT_TRUE(second.flag);
  const evaluate::pair third(std::move(second));
  EXPECT_EQ(third.data_side->name(), "log(#DATA(0))");
  const evaluate::pair half(nullptr, make("q"), false);
  EXPECT_EQ(evaluate::pair(half).data_side, nullptr);
}

TEST(Stack, GivesBackTheLastFirst) {
  evaluate::stack<node*> work;
  EXPECT_TRUE(work.empty());
  const tree a = make("1"), b = make("2");
  work.push(a.get());
  work.push(b.get());
  EXPECT_EQ(work.size(), 2u);
  EXPECT_EQ(work.top(), b.get());
  EXPECT_EQ(work.pop(), b.get());
  EXPECT_EQ(work.pop(), a.get());
  EXPECT_TRUE(work.empty());
}

}  // namespace
}  // namespace tovik::tests::node_test
