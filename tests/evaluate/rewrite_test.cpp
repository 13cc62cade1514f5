#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <vector>

#include "evaluate/error.hpp"
#include "evaluate/value.hpp"
#include "trees.hpp"

namespace tovik::tests::rewrite_test {
namespace {

using evaluate::node;

std::string expanded(const std::string& text, const std::string& target = "x") {
  return make(text)->expand_multi(make(target).get())->name();
}

/// Printed form with x, y, z, p, q for their columns and cells.
std::string readable(std::string text) {
  const std::vector<std::pair<std::string, std::string>> short_names = {
      {"#DATA(0)", "x"}, {"#DATA(1)", "y"}, {"#DATA(2)", "z"}, {"#VAR(0)", "p"}, {"#VAR(1)", "q"}};
  for (const auto& [from, to] : short_names) {
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from)) {
      text.replace(at, from.size(), to);
    }
  }
  return text;
}

TEST(ExpandMulti, MultipliesOutTheSumsWithTheTarget) {
  struct row {
    std::string text, wanted;
  };
  const std::vector<row> rows = {
      {"p * (x + q)", "((p*x)+(p*q))"},
      {"(x + q) * p", "((x*p)+(q*p))"},
      {"p * (x - q)", "((p*x)-(p*q))"},
      {"((x + p) + q) * y", "(((x*y)+(p*y))+(q*y))"},
      {"(x + p) * y * z", "(((x*y)*z)+((p*y)*z))"},
      {"p * (q * (x + 1))", "((p*(q*x))+(p*(q*1.0)))"},
      {"(y + p) * (z + q)", "((y+p)*(z+q))"},
      {"(x + y) * (z + q)", "((x*(z+q))+(y*(z+q)))"},
      {"(x + y) * x", "((x+y)*x)"},
      {"x * (y + 1)", "(x*(y+1.0))"},
      {"(y + 1) * x", "((y+1.0)*x)"},
      {"(x + 1) * (x + 2)", "((x+1.0)*(x+2.0))"},
      {"x / 2", "((1.0/2.0)*x)"},
      {"(x + p) / q", "(((1.0/q)*x)+((1.0/q)*p))"},
      {"(x * p) / 2", "((1.0/2.0)*(x*p))"},
      {"y / x", "(y/x)"},
      {"(x + 1) / x", "((x+1.0)/x)"},
      {"y / p", "(y/p)"},
      {"log((x + 1) * p)", "log(((x*p)+(1.0*p)))"},
      {"p * x ^ 2", "(p*(x^2.0))"},
      {"x", "x"},
      {"p * (y + 1)", "(p*(y+1.0))"},
  };
  for (const row& wanted : rows) EXPECT_EQ(readable(expanded(wanted.text)), wanted.wanted) << wanted.text;
  EXPECT_EQ(readable(expanded("x * (p + q)", "p")), "((x*p)+(x*q))");
}

TEST(ExpandMulti, AcceptsOnlyLeavesAsTarget) {
  const std::string message = "Can only check for data or variables.";
  EXPECT_EQ(failure([] { expanded("x", "2"); }), message);
  EXPECT_EQ(failure([] { expanded("x", "log(x)"); }), message);
  EXPECT_EQ(failure([] { make("x")->factor_out(make("2").get()); }), message);
  EXPECT_EQ(failure([] { make("x")->remove(*make("x + 1")); }), "Cannot remove node.");
}

std::string repeated(const std::string& piece, int times) {
  std::string out;
  for (int i = 0; i < times; ++i) out += piece;
  return out;
}

TEST(ExpandMulti, StaysWithinTheLimitsOfATree) {
  // Sums without the target stay as they are, however many there are.
  const std::string free = "x" + repeated(" * (y + z)", 200);
  EXPECT_EQ(make(expanded(free))->name(), make(free)->name());
  // Multiplying out a long sum below a long product would make a tree that is too large or too deep to
  // evaluate: it stays a product, hence not linear.
  const std::string deep = "(x" + repeated(" + y", 700) + ")" + repeated(" * z", 700);
  const tree whole =
      make("(" + repeated("(", 1) + "x" + repeated(" + y", 400) + ")" + repeated(" * z", 400) + ")");
  const tree twin(whole->copy());
  whole->expand_multi(make("x").get());
  EXPECT_LE(whole->depth(), static_cast<unsigned>(evaluate::max_depth));
  const arma::mat point = {{2.0, 3.0, 1.0}};
  EXPECT_DOUBLE_EQ(whole->eval(point)[0], twin->eval(point)[0]);
  EXPECT_NE(parse_failure(deep), "");
  std::string nest = "x";
  for (int i = 0; i < 240; ++i) nest = "((" + nest + ") + y) * (z + y * p + q * 2)";
  const tree nested = make(nest), same(nested->copy());
  nested->expand_multi(make("x").get());
  EXPECT_LE(nested->depth(), static_cast<unsigned>(evaluate::max_depth));
  if (!nested->check_distribute_plus(make("x").get())) {
    EXPECT_TRUE(*nested == *same);
  }
}

TEST(ExpandMulti, FindsATargetAtTheEndOfALongTreeInTime) {
  // 300 products over 300 sums: searching for the target anew at every step would take minutes.
  const auto tower = [](int n) {
    return repeated("y*(", n) + repeated("y+(", n) + "x" + repeated(")", 2 * n);
  };
  const tree x = make("x"), t = make(tower(300));
  const arma::mat point = {{2.0, 0.999, 1.0}};
  const double before = t->eval(point)[0];
  const auto start = std::chrono::steady_clock::now();
  ASSERT_TRUE(t->expand_multi(x.get())->distribute_plus(x.get()));
  const tree product(t->factor_out(x.get()));
  product->remove(*x);
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
  EXPECT_LT(seconds.count(), 20.0);
  EXPECT_NEAR(product->eval(point)[0] * 2.0 + t->eval(point)[0], before, 1e-9 * before);
}

TEST(DistributePlus, TestsWhetherItCanWork) {
  for (const std::string text :
       {"x", "p * x", "y * (x * p)", "x + y", "y + (p + x * q)", "(y + p * x) + q"}) {
    EXPECT_TRUE(make(text)->check_distribute_plus(make("x").get())) << text;
  }
  for (const std::string text :
       {"x * x", "x + x", "exp(x)", "x ^ 2", "y - x", "p * (x + y)", "y + exp(x) * p", "x / 2", "y", "2",
        "y + p * (x + 1)", "ifelse(x > 1, 1, 2)"}) {
    const tree t = make(text), before(t->copy());
    EXPECT_FALSE(t->check_distribute_plus(make("x").get())) << text;
    EXPECT_EQ(t->distribute_plus(make("x").get()), nullptr) << text;
    EXPECT_EQ(t->name(), before->name());
  }
  EXPECT_FALSE(make("x")->check_distribute_plus(make("2").get()));
  EXPECT_FALSE(make("x")->check_distribute_plus(nullptr));
}

TEST(DistributePlus, BringsTheProductWithTheTargetToTheTop) {
  struct row {
    std::string text, wanted;
  };
  const std::vector<row> rows = {
      {"x", "x"},
      {"p * x", "(p*x)"},
      {"x + y", "(x+y)"},
      {"y + x", "(x+y)"},
      {"(p * x + y) + q", "((p*x)+(q+y))"},
      {"q + (y + p * x)", "((p*x)+(q+y))"},
      {"1 + (2 + (3 + (x * p + 4)))", "((x*p)+(1.0+(2.0+(3.0+4.0))))"},
      {"((x + 1) + 2) + 3", "(x+(3.0+(2.0+1.0)))"},
  };
  for (const row& wanted : rows) {
    const tree t = make(wanted.text);
    EXPECT_EQ(t->distribute_plus(make("x").get()), t.get());
    EXPECT_EQ(readable(t->name()), wanted.wanted) << wanted.text;
    EXPECT_TRUE(t->is_vector);
  }
}

TEST(FactorOut, DetachesTheProductWithTheTarget) {
  struct row {
    std::string text, product, rest;
  };
  const std::vector<row> rows = {
      {"x", "x", "0.0"},
      {"p * x", "(p*x)", "0.0"},
      {"(p * x) + (p * q)", "(p*x)", "(0.0+(p*q))"},
      {"y + x", "x", "(y+0.0)"},
      {"q + (y + p * x)", "(p*x)", "(q+(y+0.0))"},
  };
  for (const row& wanted : rows) {
    const tree t = make(wanted.text);
    const tree product(t->factor_out(make("x").get()));
    ASSERT_NE(product, nullptr) << wanted.text;
    EXPECT_EQ(readable(product->name()), wanted.product);
    EXPECT_EQ(readable(t->name()), wanted.rest);
  }
  for (const std::string text : {"y", "x * x", "exp(x)", "y - x", "x + x", "y + log(x)", "p * (x + 1)"}) {
    const tree t = make(text), before(t->copy());
    EXPECT_EQ(t->factor_out(make("x").get()), nullptr) << text;
    EXPECT_EQ(t->name(), before->name()) << text;
  }
}

TEST(FactorOut, LeavesTheRestWithItsOwnLayout) {
  const tree t = make("p * x + q");
  const tree product(t->factor_out(make("x").get()));
  EXPECT_FALSE(t->is_vector);
  evaluate::value cell(4.0);
  t->register_var(&cell, 1);
  EXPECT_DOUBLE_EQ(t->eval(), 4.0);
  expect_column(t->eval(sample()), {4.0, 4.0, 4.0}, "rest");
}

TEST(Remove, LeavesTheCofactorOfAProduct) {
  const auto removed = [](const std::string& text, const std::string& target) {
    return readable(make(text)->remove(*make(target))->name());
  };
  EXPECT_EQ(removed("x", "x"), "1.0");
  EXPECT_EQ(removed("p * x", "x"), "p");
  EXPECT_EQ(removed("x * p", "x"), "p");
  EXPECT_EQ(removed("x * p * 2", "x"), "(p*2.0)");
  EXPECT_EQ(removed("2 * (y * (p * x))", "x"), "(2.0*(y*p))");
  EXPECT_EQ(removed("p * x", "p"), "x");
  EXPECT_EQ(removed("(1 / 2) * x", "x"), "0.500000");
}

TEST(Remove, LeavesNothingOfATreeWithoutTheTarget) {
  const auto removed = [](const std::string& text) {
    return readable(make(text)->remove(*make("x"))->name());
  };
  EXPECT_EQ(removed("y"), "0.0");
  EXPECT_EQ(removed("p + 2"), "0.0");
  EXPECT_EQ(removed("3"), "0.0");
}

TEST(Remove, LeavesTheRestOfASum) {
  const auto removed = [](const std::string& text) {
    return readable(make(text)->remove(*make("x"))->name());
  };
  EXPECT_EQ(removed("x + y"), "y");
  EXPECT_EQ(removed("y - x"), "y");
  EXPECT_EQ(removed("p + q * x"), "(p+(q*0.0))");
  EXPECT_EQ(removed("exp(x) + y"), "(1.0+y)");
  EXPECT_EQ(removed("x * x"), "0.0");
  const tree t = make("mean(x) + y");
  expect_column(t->remove(*make("x"))->eval(sample()), {4.0, 0.5, 3.0}, "column function over a number");
}

TEST(Remove, TakesALeafOfTheTreeItself) {
  const tree t = make("p * x");
  EXPECT_EQ(readable(t->remove(*t->right)->name()), "p");
  const tree s = make("p * (x + q)");
  EXPECT_EQ(readable(s->expand_multi(s->right->left.get())->name()), "((p*x)+(p*q))");
  const tree u = make("x + (x * y)");
  EXPECT_EQ(readable(u->replace(*u->left, *u->right)->name()), "((x*y)+((x*y)*y))");
}

TEST(Replace, PutsACopyInPlaceOfEveryEqualOperand) {
  const auto replaced = [](const std::string& text, const std::string& old, const std::string& with) {
    return readable(make(text)->replace(*make(old), *make(with))->name());
  };
  EXPECT_EQ(replaced("x + log(x) * y", "x", "p"), "(p+(log(p)*y))");
  EXPECT_EQ(replaced("log(x + y) - (y + x)", "x + y", "z"), "(log(z)-z)");
  EXPECT_EQ(replaced("x + 1", "x", "x + x"), "((x+x)+1.0)");
  EXPECT_EQ(replaced("x", "x", "y"), "x");
  EXPECT_EQ(replaced("ifelse(x > 1, x, 2)", "x", "p"), "ifelse((p>1.0), p, 2.0)");
  EXPECT_EQ(replaced("2 * 2", "2", "3"), "(3.0*3.0)");
  EXPECT_EQ(replaced("x + nan", "nan", "3"), "(x+nan)");
  EXPECT_EQ(replaced("#DATA(7) + 7", "7", "3"), "(#DATA(7)+3.0)");
}

TEST(Replace, KeepsTheLayoutRight) {
  const tree to_scalar = make("x + 1");
  to_scalar->replace(*make("x"), *make("5"));
  EXPECT_FALSE(to_scalar->is_vector);
  EXPECT_DOUBLE_EQ(to_scalar->eval(), 6.0);
  const tree to_column = make("log(p) * 2");
  to_column->replace(*make("p"), *make("y"));
  EXPECT_TRUE(to_column->is_vector);
  expect_column(to_column->eval(sample()), {2 * std::log(4.0), 2 * std::log(0.5), 2 * std::log(3.0)},
                "column");
  EXPECT_EQ(failure([] { make("2 ^ p")->replace(*make("p"), *make("x")); }),
            "ERROR: Cannot exponentiate variables with '^'");
}

/// All binary trees over a small alphabet with a given number of leaves, as text.
const std::vector<std::string>& trees_of(int leaves) {
  static std::vector<std::vector<std::string>> known = {{}, {"x", "y", "p", "2"}};
  while (static_cast<int>(known.size()) <= leaves) {
    const std::size_t n = known.size();
    std::vector<std::string> out;
    for (std::size_t left = 1; left < n; ++left) {
      for (const std::string& a : known[left]) {
        for (const std::string& b : known[n - left]) {
          for (const char op : {'+', '-', '*', '/'}) out.push_back("(" + a + op + b + ")");
        }
      }
    }
    known.push_back(out);
  }
  return known[leaves];
}

struct position {
  int times = 0;
  bool linear = true;
};

/// How often the target occurs, and whether only sums, differences, products and numerators lie above it.
position locate(const std::string& text, char target, std::size_t& at) {
  position out;
  if (text[at] != '(') {
    out.times = text[at] == target ? 1 : 0;
    ++at;
    return out;
  }
  ++at;
  const position a = locate(text, target, at);
  const char op = text[at++];
  const position b = locate(text, target, at);
  ++at;
  out.times = a.times + b.times;
  out.linear = a.linear && b.linear && !(op == '/' && b.times > 0);
  return out;
}

struct point {
  arma::mat data = arma::mat{{0.7513, -1.2371, 0.5}, {-3.0719, 2.5433, 1.75}, {5.4127, 0.3319, -0.8}};
  evaluate::value p{1.7177};
  evaluate::value q{-0.6421};

  tree bound(const std::string& text) {
    tree t = make(text);
    t->register_var(&p, 0);
    t->register_var(&q, 1);
    return t;
  }
};

bool close(const arma::vec& a, const arma::vec& b) {
  for (arma::uword i = 0; i < a.n_elem; ++i) {
    if (!std::isfinite(a[i]) || !std::isfinite(b[i])) continue;  // a denominator of 0
    if (!(std::abs(a[i] - b[i]) <= 1e-9 * (1.0 + std::abs(a[i])))) return false;
  }
  return true;
}

/// A * target + rest from the pieces equals the tree, wherever the target stands linearly; elsewhere nothing
/// comes out.
bool solves_rightly(const std::string& text, const std::string& name, point& at) {
  std::size_t start = 0;
  const position place = locate(text, name[0], start);
  const tree original = at.bound(text), target = at.bound(name);
  const tree t = at.bound(text);
  t->convert_minus()->expand_multi(target.get());
  if (!close(original->eval(at.data), t->eval(at.data))) return false;
  const bool expected = place.times == 1 && place.linear;
  if (t->check_distribute_plus(target.get()) != expected) return false;
  if ((t->distribute_plus(target.get()) != nullptr) != expected) return false;
  if (!close(original->eval(at.data), t->eval(at.data))) return false;
  const tree product(t->factor_out(target.get()));
  if ((product != nullptr) != expected) return false;
  if (!expected) return true;
  if (t->has(target.get())) return false;
  product->remove(*target);
  if (product->has(target.get())) return false;
  const arma::vec sum = product->eval(at.data) % target->eval(at.data) + t->eval(at.data);
  return close(original->eval(at.data), sum);
}

TEST(LinearForm, OfAllSmallTreesEqualsTheTree) {
  point at;
  int checked = 0, wrong = 0;
  for (int leaves = 1; leaves <= 4; ++leaves) {
    for (const std::string& text : trees_of(leaves)) {
      for (const std::string target : {"x", "p"}) {
        ++checked;
        if (!solves_rightly(text, target, at) && ++wrong < 20) ADD_FAILURE() << text << " for " << target;
      }
    }
  }
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(checked, 2 * (4 + 64 + 2048 + 81920));
}

TEST(LinearForm, OfLargerTreesEqualsTheTree) {
  point at;
  std::uint32_t state = 12345;
  const auto below = [&](std::uint32_t n) {
    state = state * 1664525u + 1013904223u;
    return (state >> 8) % n;
  };
  int wrong = 0, linear = 0;
  for (int i = 0; i < 20000; ++i) {
    // A path to x from the inside out, with random company.
    std::string text = "x";
    const int length = 1 + static_cast<int>(below(8));
    for (int j = 0; j < length; ++j) {
      const auto& company = trees_of(1 + static_cast<int>(below(3)));
      std::string other = company[below(static_cast<std::uint32_t>(company.size()))];
      if (below(8) != 0) {
        for (char& c : other) c = c == 'x' ? 'q' : c;
      }
      const char op = "++-**/"[below(6)];
      text = below(2) ? "(" + text + op + other + ")" : "(" + other + op + text + ")";
    }
    std::size_t start = 0;
    const position place = locate(text, 'x', start);
    linear += place.times == 1 && place.linear;
    if (!solves_rightly(text, "x", at) && ++wrong < 20) ADD_FAILURE() << text;
  }
  EXPECT_EQ(wrong, 0);
  EXPECT_GT(linear, 3000);
}

}  // namespace
}  // namespace tovik::tests::rewrite_test
