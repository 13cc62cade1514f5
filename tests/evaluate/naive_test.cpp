#include "naive.hpp"

#include <gtest/gtest.h>

#include <random>

#include "evaluate/error.hpp"

namespace tovik::tests::naive_test {
namespace {

using tokens = std::vector<std::string>;

// No row is 0 or makes two constants of the alphabet equal, so that x - x and x / x simplify without a case.
const std::vector<double> rows = {1.5, -2.5, nan, 0.25};

std::string joined(const tokens& list) {
  std::string out;
  for (const std::string& token : list) out += token + " ";
  return out;
}

bool same(double a, double b) {
  if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
  return a == b || std::abs(a - b) <= 1e-12 * std::max(std::abs(a), std::abs(b));
}

struct counts {
  int values = 0;
  int failures = 0;
  int faults = 0;
};

/// Equality of a tree's column with the wanted one; rows that are missing may turn out known after
/// simplifying.
bool agrees(const evaluate::node& t, const arma::mat& data, const naive_value& wanted, bool missing_counts) {
  const arma::vec found = t.eval(data);
  for (std::size_t i = 0; i < wanted.rows.size(); ++i) {
    const bool skip = !missing_counts && std::isnan(wanted.rows[i]);
    if (!skip && !same(found[i], wanted.rows[i])) return false;
  }
  return wanted.varies == t.is_vector || !missing_counts;
}

/// Scalar form, simplified form and the form read back from print, once the value of the tree is right.
bool forms_agree(const std::string& text, const evaluate::node& t, const arma::mat& data,
                 const naive_value& wanted) {
  if (!wanted.varies && !same(t.eval(), wanted.rows[0])) return false;
  tree simple;
  try {
    simple = simplified(text);
  } catch (const evaluate::error_debug_parse&) {
    // One leaf on both sides of an operation without a simple form.
    return std::count(text.begin(), text.end(), 'x') > 1;
  }
  if (!agrees(*simple, data, wanted, false)) return false;
  const std::string printed = t.name();
  if (printed.find("and") != std::string::npos || printed.find("or") != std::string::npos) return true;
  const tree again(evaluate::ast(printed, names()));
  if (!agrees(*again, data, wanted, true)) return false;
  // A negative literal is read back as a product, which folds everywhere but inside a list.
  if (printed.find(',') != std::string::npos) return true;
  return evaluate::opt_ast(printed, names())->name() == simple->name();
}

void check(const tokens& list, const arma::mat& data, counts& seen) {
  const std::string text = joined(list);
  naive_value wanted;
  bool has_value = true;
  try {
    wanted = naive(list, rows).read();
  } catch (const std::runtime_error&) {
    has_value = false;
  }
  bool right = false;
  try {
    const tree t = make(text);
    arma::vec(t->eval(data));
    right = has_value && agrees(*t, data, wanted, true) && forms_agree(text, *t, data, wanted);
  } catch (const std::exception&) {
    right = !has_value;
  }
  ++(has_value ? seen.values : seen.failures);
  if (!right && ++seen.faults < 20) ADD_FAILURE() << text << (has_value ? "has" : "has not") << " a value";
}

/// Checks every text of up to `longest` tokens of an alphabet.
counts check_all(const tokens& alphabet, std::size_t longest) {
  const arma::mat data = arma::vec(rows);
  counts seen;
  for (std::size_t length = 1; length <= longest; ++length) {
    std::vector<std::size_t> digits(length, 0);
    for (;;) {
      tokens list;
      for (const std::size_t digit : digits) list.push_back(alphabet[digit]);
      check(list, data, seen);
      std::size_t place = 0;
      while (place < length && ++digits[place] == alphabet.size()) digits[place++] = 0;
      if (place == length) break;
    }
  }
  return seen;
}

TEST(AgainstANaiveReading, AllTextsUpToFiveTokensAgree) {
  const counts seen = check_all({"x", "2", "-", "^", "*", "(", ")", "log", ",", "<"}, 5);
  EXPECT_EQ(seen.faults, 0);
  EXPECT_EQ(seen.values + seen.failures, 111110);
  EXPECT_GT(seen.values, 400);
}

TEST(AgainstANaiveReading, AllTextsUpToFourTokensOfEveryKindAgree) {
  const counts seen =
      check_all({"x", "2", "3", "-", "+", "^", "*", "/", "(", ")", "log", "max", ",", "<", "and", "or"}, 4);
  EXPECT_EQ(seen.faults, 0);
  EXPECT_GT(seen.values, 300);
}

/// A random text that nearly always has a value.
void grow(std::mt19937& random, int depth, tokens& out) {
  const auto below = [&](unsigned n) { return static_cast<unsigned>(random() % n); };
  const tokens leaves = {"x", "2", "3"};
  const tokens operators = {"+", "-", "*", "/", "^", "<", "==", "and", "or"};
  const unsigned kind = depth == 0 ? 0 : below(10);
  if (kind < 2) {
    out.push_back(leaves[below(3)]);
  } else if (kind < 7) {
    grow(random, depth - 1, out);
    out.push_back(operators[below(9)]);
    grow(random, depth - 1, out);
  } else if (kind == 7) {
    out.push_back(below(2) ? "-" : "+");
    grow(random, depth - 1, out);
  } else if (kind == 8) {
    if (below(2)) out.push_back("log");
    out.push_back("(");
    grow(random, depth - 1, out);
    out.push_back(")");
  } else {
    for (const char* token : {"max", "("}) out.push_back(token);
    grow(random, depth - 1, out);
    out.push_back(",");
    grow(random, depth - 1, out);
    out.push_back(")");
  }
}

TEST(AgainstANaiveReading, LongRandomTextsAgree) {
  std::mt19937 random(20);
  const arma::mat data = arma::vec(rows);
  counts seen;
  for (int i = 0; i < 40000; ++i) {
    tokens list;
    grow(random, 1 + i % 5, list);
    check(list, data, seen);
  }
  EXPECT_EQ(seen.faults, 0);
  EXPECT_GT(seen.values, 10000);
}

}  // namespace
}  // namespace tovik::tests::naive_test
