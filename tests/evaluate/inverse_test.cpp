#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "evaluate/error.hpp"
#include "evaluate/pair.hpp"
#include "evaluate/value.hpp"
#include "trees.hpp"

namespace tovik::tests::inverse_test {
namespace {

const std::string y = "#DATA(0)";

/// Printed form of the inverse of the simplified tree of a text.
std::string inverted(const std::string& text) {
  return tree(simplified(text)->inverse())->name();
}
std::string solved(const std::string& text, const std::string& target) {
  return tree(make(text)->inverse(make(target).get()))->name();
}

TEST(Inverse, UndoesOneOperation) {
  struct row {
    std::string text, wanted;
  };
  const std::vector<row> rows = {
      {"z", y},
      {"log(z)", "exp(" + y + ")"},
      {"ln(z)", "exp(" + y + ")"},
      {"exp(z)", "log(" + y + ")"},
      {"logit(z)", "sigm(" + y + ")"},
      {"sigm(z)", "logit(" + y + ")"},
      {"log1p(z)", "expm1(" + y + ")"},
      {"expm1(z)", "log1p(" + y + ")"},
      {"phi(z)", "iphi(" + y + ")"},
      {"iphi(z)", "phi(" + y + ")"},
      {"probit(z)", "phi(" + y + ")"},
      {"sin(z)", "asin(" + y + ")"},
      {"asin(z)", "sin(" + y + ")"},
      {"cos(z)", "acos(" + y + ")"},
      {"acos(z)", "cos(" + y + ")"},
      {"tan(z)", "atan(" + y + ")"},
      {"atan(z)", "tan(" + y + ")"},
      {"sqrt(z)", "(" + y + "^2.0)"},
      {"z ^ 2", "(" + y + "^(1.0/2.0))"},
      {"z * z", "(" + y + "^(1.0/2.0))"},
      {"z + z", "(" + y + "/2.0)"},
      {"z + 3", "(" + y + "-3.0)"},
      {"3 + z", "(" + y + "-3.0)"},
      {"z - 3", "(" + y + "+3.0)"},
      {"3 - z", "(3.0-" + y + ")"},
      {"z * 3", "(" + y + "/3.0)"},
      {"3 * z", "(" + y + "/3.0)"},
      {"z / 3", "(" + y + "*3.0)"},
      {"1 / z", "(1.0/" + y + ")"},
      {"-z", "(" + y + "/-1.0)"},
      {"yjt(z, 0.5)", "iyjt(" + y + ", 0.500000)"},
      {"iyjt(z, 0.5)", "yjt(" + y + ", 0.500000)"},
      {"yjt(z, p)", "iyjt(" + y + ", #VAR(0))"},
      {"yjt(z)", "iyjt(" + y + ")"},
      {"vec(2) + 1", "(" + y + "-1.0)"},
  };
  for (const row& wanted : rows) EXPECT_EQ(inverted(wanted.text), wanted.wanted) << wanted.text;
}

TEST(Inverse, UndoesOperationsFromTheOutsideIn) {
  EXPECT_EQ(inverted("2 * z + 3"), "((" + y + "-3.0)/2.0)");
  EXPECT_EQ(inverted("log(2 * z + 3)"), "((exp(" + y + ")-3.0)/2.0)");
  EXPECT_EQ(inverted("1 / (1 - sqrt(z))"), "((1.0-(1.0/" + y + "))^2.0)");
  EXPECT_EQ(inverted("yjt(log(z), 1.5) / 2"), "exp(iyjt((" + y + "*2.0), 1.500000))");
  EXPECT_EQ(inverted("z * p"), "(" + y + "/#VAR(0))");
  EXPECT_EQ(inverted("z ^ p"), "(" + y + "^(1.0/#VAR(0)))");
}

TEST(Inverse, SaysWhyThereIsNone) {
  const std::string unsolvable = "ERROR: Evaluator cannot solve the inverse function.";
  const std::string several =
      "ERROR: Cannot solve the inverse function when more than one variable or vectorization is present.";
  const std::string none = "ERROR: Cannot solve the inverse function when no variables in expression.";
  struct row {
    std::string text, wanted;
  };
  const std::vector<row> rows = {
      {"1 + p", none},
      {"3", none},
      {"p", none},
      {"abs(x)", "ERROR: Evaluator cannot solve the inverse function when using absolute values."},
      {"log(abs(x) + 1)", "ERROR: Evaluator cannot solve the inverse function when using absolute values."},
      {"x + y", several},
      {"x * log(x)", several},
      {"x / (x + 1)", several},
      {"x + vec(1)", several},
      {"yjt(x, y)", several},
      {"yjt(2, x)", unsolvable},
      {"yjt(p, x)", unsolvable},
      {"iyjt(2, x)", unsolvable},
      {"x > 1", unsolvable},
      {"x and 1", unsolvable},
      {"mean(x)", unsolvable},
      {"center(x)", unsolvable},
      {"max(x, 1)", unsolvable},
      {"ifelse(x > 1, 2, 3)", unsolvable},
      {"ismissing(x)", unsolvable},
      {"lag1(x, y)", unsolvable},
      {"uniform(0, 1)", unsolvable},
      {"x, 1", unsolvable},
      {"x ^ 0", unsolvable},
      {"x * 0", unsolvable},
      {"0 * x", unsolvable},
      {"0 / x", unsolvable},
      {"x / 0", unsolvable},
      {"x + inf", unsolvable},
      {"x * nan", unsolvable},
      {"x ^ inf", unsolvable},
      {"yjt(x, 1, 2)", "ERROR: Function has too many inputs."},
  };
  for (const row& wanted : rows) {
    EXPECT_EQ(failure([&] { tree(make(wanted.text)->inverse()); }), wanted.wanted) << wanted.text;
  }
}

TEST(Inverse, SolvesForATarget) {
  EXPECT_EQ(solved("2 * p + x", "p"), "((" + y + "-#DATA(0))/2.0)");
  EXPECT_EQ(solved("q - log(z)", "z"), "exp((#VAR(1)-" + y + "))");
  EXPECT_EQ(solved("z / (p + 1)", "p"), "((#DATA(2)/" + y + ")-1.0)");
  EXPECT_EQ(solved("yjt(p, q)", "p"), "iyjt(" + y + ", #VAR(1))");
  EXPECT_EQ(solved("p", "p"), y);
}

TEST(Inverse, NeedsTheTargetOnceOnTheWay) {
  const std::string later = "ERROR: Evaluator cannot solve the inverse function at this time.";
  const std::string lost = "ERROR: Cannot find variable that is being solved for.";
  const std::string unsolvable = "ERROR: Evaluator cannot solve the inverse function.";
  EXPECT_EQ(failure([] { solved("p * (p + 1)", "p"); }), later);
  EXPECT_EQ(failure([] { solved("yjt(p, p)", "p"); }), later);
  EXPECT_EQ(failure([] { solved("x + 1", "p"); }), lost);
  EXPECT_EQ(failure([] { solved("x", "y"); }), lost);
  EXPECT_EQ(failure([] { solved("2", "y"); }), lost);
  EXPECT_EQ(failure([] { solved("2 ^ p", "p"); }), unsolvable);
  EXPECT_EQ(failure([] { solved("yjt(x, p)", "p"); }), unsolvable);
  EXPECT_EQ(failure([] { tree(make("x")->inverse(make("2").get())); }),
            "Can only check for data or variables.");
}

TEST(Inverse, MakesThePairOfATransformation) {
  const evaluate::pair pair = evaluate::pair::transformation(make("log(x + 1)"));
  EXPECT_TRUE(pair.flag);
  EXPECT_EQ(pair.data_side->name(), "log((" + y + "+1.0))");
  EXPECT_EQ(pair.parameter_side->name(), "(exp(" + y + ")-1.0)");
  EXPECT_THROW(evaluate::pair::transformation(make("abs(x)")), evaluate::error);
}

/// One invertible step: the text around "@", and the inputs on which it can be undone.
struct step {
  std::string text;
  double low, high;
};

const std::vector<step>& steps() {
  static const std::vector<step> all = {
      {"log(@)", 0.01, 50},      {"exp(@)", -5, 4},        {"logit(@)", 0.02, 0.98}, {"sigm(@)", -5, 5},
      {"log1p(@)", -0.9, 50},    {"expm1(@)", -4, 4},      {"phi(@)", -3, 3},        {"iphi(@)", 0.01, 0.99},
      {"sin(@)", -1.4, 1.4},     {"asin(@)", -0.95, 0.95}, {"cos(@)", 0.1, 3.0},     {"acos(@)", -0.95, 0.95},
      {"tan(@)", -1.4, 1.4},     {"atan(@)", -10, 10},     {"sqrt(@)", 0.01, 100},   {"(@) ^ 3", 0.1, 5},
      {"(@) ^ -2", 0.1, 5},      {"(@) + 2", -50, 50},     {"(@) - 0.5", -50, 50},   {"1 - (@)", -50, 50},
      {"(@) * 3", -50, 50},      {"0.25 * (@)", -50, 50},  {"(@) / 2", -50, 50},     {"1 / (@)", 0.05, 20},
      {"-(@)", -50, 50},         {"yjt(@, 0.5)", -5, 5},   {"yjt(@, 0)", -3, 20},    {"yjt(@, 2)", -20, 3},
      {"iyjt(@, 1.5)", -1.5, 5}, {"iyjt(@, 1)", -5, 5},
  };
  return all;
}

std::string around(const step& outer, const std::string& inner) {
  std::string text = outer.text;
  return text.replace(text.find('@'), 1, inner);
}

/// Values of the steps one by one; false when an input leaves its range.
bool forward(const std::vector<const step*>& chain, double& x) {
  for (const step* one : chain) {
    if (!(x >= one->low && x <= one->high)) return false;
    const arma::mat data = arma::vec{x};
    x = simplified(around(*one, "x"))->eval(data)[0];
  }
  return true;
}

/// Goes forth and back on a grid; returns how many points lie in the range.
int round_trips(const std::vector<const step*>& chain) {
  std::string text = "x";
  for (const step* one : chain) text = around(*one, text);
  const tree f = simplified(text);
  const tree g(f->inverse());
  std::vector<double> inputs;
  for (int i = 1; i < 8; ++i) {
    const double start = chain[0]->low + (chain[0]->high - chain[0]->low) * i / 8.0;
    double end = start;
    if (forward(chain, end)) inputs.push_back(start);
  }
  const arma::vec x(inputs);
  const arma::vec back = g->eval(f->eval(x));
  for (arma::uword i = 0; i < x.n_elem; ++i) {
    EXPECT_NEAR(back[i], x[i], 1e-6 * std::max(1.0, std::abs(x[i]))) << text << " at " << x[i];
  }
  return static_cast<int>(inputs.size());
}

TEST(Inverse, BringsBackEveryValueInRange) {
  int points = 0;
  for (const step& first : steps()) {
    const int alone = round_trips({&first});
    EXPECT_EQ(alone, 7) << first.text;
    for (const step& second : steps()) points += round_trips({&first, &second});
  }
  EXPECT_GT(points, 3000);
}

TEST(Inverse, BringsBackValuesThroughThreeSteps) {
  int points = 0;
  const auto& all = steps();
  for (std::size_t i = 0; i < all.size(); ++i) {
    for (std::size_t j = 0; j < all.size(); ++j) {
      points += round_trips({&all[i], &all[j], &all[(i * 7 + j * 11) % all.size()]});
    }
  }
  EXPECT_GT(points, 1500);
}

TEST(Inverse, ReadsLiveParameters) {
  evaluate::value cell(2.0);
  const tree f = make("x * p"), g(f->inverse());
  f->register_var(&cell, 0);
  g->register_var(&cell, 0);
  const arma::mat data = arma::vec{3.0};
  EXPECT_DOUBLE_EQ(g->eval(f->eval(data))[0], 3.0);
  cell.number = 5.0;
  EXPECT_DOUBLE_EQ(f->eval(data)[0], 15.0);
  EXPECT_DOUBLE_EQ(g->eval(f->eval(data))[0], 3.0);
}

}  // namespace
}  // namespace tovik::tests::inverse_test
