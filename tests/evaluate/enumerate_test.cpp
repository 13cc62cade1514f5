#include "enumerate.hpp"

#include <gtest/gtest.h>

#include <algorithm>

#include "evaluate/value.hpp"

namespace tovik::tests::enumerate_test {
namespace {

/// Rows without 0, so that x - x and x / x simplify without a case; z is an identifier with a missing value.
const std::map<std::string, std::vector<double>> columns = {
    {"x", {1.5, -2.5, nan, 0.25}}, {"y", {0.5, 2.0, 3.0, -1.0}}, {"z", {7.0, 7.0, 2.0, nan}}};
const std::map<std::string, double> parameters = {{"p", 0.75}};

struct laboratory {
  laboratory() : naive(columns, parameters), data(4, 3) {
    data.col(0) = arma::vec(columns.at("x"));
    data.col(1) = arma::vec(columns.at("y"));
    data.col(2) = arma::vec(columns.at("z"));
  }

  by_definition naive;
  arma::mat data;
  evaluate::value cell{0.75};
  int values = 0, failures = 0, faults = 0;
};

bool same(double a, double b) {
  if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
  return a == b || std::abs(a - b) <= 1e-11 * std::max({1.0, std::abs(a), std::abs(b)});
}

/// With `known_only`, rows that are missing in `wanted` do not count: x - x is 0 even where x is missing.
bool agree(const arma::vec& found, const result& wanted, bool known_only) {
  if (found.n_elem != wanted.rows.size()) return false;
  for (std::size_t i = 0; i < wanted.rows.size(); ++i) {
    if (known_only && std::isnan(wanted.rows[i])) continue;
    if (!same(found[i], wanted.rows[i])) return false;
  }
  return true;
}

int times(const std::string& text, char letter) {
  return static_cast<int>(std::count(text.begin(), text.end(), letter));
}

/// One leaf on both sides of an operation that has no simple form is the one thing that simplifying rejects.
bool may_be_rejected(const std::string& text) {
  return times(text, 'x') > 1 || times(text, 'y') > 1 || times(text, 'z') > 1 || times(text, 'p') > 1;
}

bool simplified_agrees(const std::string& text, laboratory& lab, const result& wanted) {
  // x - x becomes 0 even where x is missing, which these would see.
  const bool sees_missing =
      text.find("ismissing") != std::string::npos || text.find("max(") != std::string::npos;
  if (sees_missing && may_be_rejected(text)) return true;
  tree simple;
  try {
    simple = simplified(text);
  } catch (const evaluate::error_debug_parse&) {
    return may_be_rejected(text);
  }
  simple->register_var(&lab.cell, 0);
  return agree(simple->eval(lab.data), wanted, true);
}

/// "and" and "or" print without blanks and cannot be read again.
bool printed_agrees(const evaluate::node& t, laboratory& lab, const result& wanted) {
  const std::string printed = t.name();
  if (printed.find("and") != std::string::npos || printed.find("or") != std::string::npos) return true;
  const tree again(evaluate::ast(printed, names()));
  if (!(*again == t) || again->name() != printed) return false;
  again->register_var(&lab.cell, 0);
  return agree(again->eval(lab.data), wanted, false);
}

bool right_value(const std::string& text, laboratory& lab, const result& wanted) {
  const tree t = make(text);
  t->register_var(&lab.cell, 0);
  if (!agree(t->eval(lab.data), wanted, false)) return false;
  if (!wanted.varies && !same(t->eval(), wanted.rows[0])) return false;
  if (t->is_vector != wanted.varies) return false;
  return simplified_agrees(text, lab, wanted) && printed_agrees(*t, lab, wanted);
}

bool right_failure(const std::string& text, laboratory& lab) {
  try {
    const tree t = make(text);
    t->register_var(&lab.cell, 0);
    t->eval(lab.data);
  } catch (const evaluate::error&) {
    return true;
  }
  return false;
}

void check(const formula& f, laboratory& lab) {
  const std::string text = text_of(f);
  result wanted;
  bool has_value = true;
  try {
    wanted = lab.naive.value(f);
  } catch (const std::runtime_error&) {
    has_value = false;
  }
  ++(has_value ? lab.values : lab.failures);
  std::string raised;
  bool right = false;
  try {
    right = has_value ? right_value(text, lab, wanted) : right_failure(text, lab);
  } catch (const std::exception& problem) {
    raised = problem.what();
  }
  if (!right && ++lab.faults < 20)
    ADD_FAILURE() << text << (has_value ? "" : " has no value") << " " << raised;
}

void check_all(formulas& all, std::size_t longest, laboratory& lab) {
  for (std::size_t size = 1; size <= longest; ++size) {
    for (const formula& f : all.of(size)) check(f, lab);
  }
  EXPECT_EQ(lab.faults, 0);
}

const std::vector<std::string> elementary = {"abs",  "sqrt",  "exp",   "log", "ln",   "logit",
                                             "sigm", "log1p", "expm1", "sin", "cos",  "tan",
                                             "asin", "acos",  "atan",  "phi", "iphi", "probit"};
const std::vector<std::string> infix = {
    "+", "-", "*", "/", "^", "==", "!=", "<", ">", ">=", "<=", "and", "or"};

std::vector<std::string> both(std::vector<std::string> a, const std::vector<std::string>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

TEST(AllFormulas, OfThreeWordsOfTheWholeVocabularyAgree) {
  laboratory lab;
  formulas all(
      {{"x", "y", "z", "p", "0", "1", "2"},
       both(elementary, {"mean", "sd", "scale", "stand", "center", "max", "min", "ismissing", "vec"}),
       both(infix, {"mean", "sd", "scale", "center", "clmn", "clsd", "max", "min", "missing", "yjt", "iyjt",
                    "lag1"}),
       {"ifelse", "switch", "lag1"}});
  check_all(all, 3, lab);
  EXPECT_GT(lab.values, 4000);
  EXPECT_GT(lab.failures, 500);
}

TEST(AllFormulas, OfSixWordsWithConditionsAgree) {
  laboratory lab;
  formulas all({{"x", "p", "1"}, {"log", "iphi"}, {"<", "==", "and", "-"}, {"ifelse", "switch"}});
  check_all(all, 6, lab);
  EXPECT_GT(lab.values, 5000);
}

TEST(AllFormulas, OfSixWordsWithStatisticsAgree) {
  laboratory lab;
  formulas all({{"x", "z", "2"}, {"mean", "vec", "max"}, {"clmn", "scale", "lag1", "min", "*", "-"}, {}});
  check_all(all, 6, lab);
  EXPECT_GT(lab.values, 5000);
}

TEST(AllFormulas, OfSixWordsOfArithmeticAgree) {
  laboratory lab;
  formulas all({{"x", "p", "1"}, {"exp", "ismissing"}, {"+", "-", "*", "/", "^"}, {}});
  check_all(all, 6, lab);
  EXPECT_GT(lab.values, 10000);
}

TEST(AllFormulas, AgreeOnAChoiceOfThreeConditions) {
  laboratory lab;
  std::vector<formula> conditions;
  for (const std::string a : {"x", "y", "1"}) {
    for (const std::string op : {"<", ">="}) conditions.push_back({op, {{a, {}}, {"0", {}}}});
  }
  for (const formula& a : conditions) {
    for (const formula& b : conditions) {
      for (const formula& c : conditions) {
        check({"switch", {a, {"x", {}}, b, {"10", {}}, c, {"p", {}}, {"y", {}}}}, lab);
      }
    }
  }
  EXPECT_EQ(lab.faults, 0);
  EXPECT_EQ(lab.values, 216);
}

}  // namespace
}  // namespace tovik::tests::enumerate_test
