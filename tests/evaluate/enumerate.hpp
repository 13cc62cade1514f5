#pragma once

#include <boost/math/distributions/normal.hpp>
#include <cmath>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "trees.hpp"

/// All small expressions as structures, and their values by definition: every function is written out here a
/// second time, slowly, row by row, with nothing in common with the library.
namespace tovik::tests {

/// A leaf (a name or a number) or an operation on its inputs.
struct formula {
  std::string op;
  std::vector<formula> in;
};

/// The formula as text, with parentheses around every operation.
inline std::string text_of(const formula& f) {
  if (f.in.empty()) return f.op;
  if (f.in.size() == 2 && (!std::isalpha(f.op[0]) || f.op == "and" || f.op == "or")) {
    return "(" + text_of(f.in[0]) + " " + f.op + " " + text_of(f.in[1]) + ")";
  }
  std::string out = f.op + "(";
  for (std::size_t i = 0; i < f.in.size(); ++i) out += (i == 0 ? "" : ", ") + text_of(f.in[i]);
  return out + ")";
}

/// A number, or one number per row.
struct result {
  std::vector<double> rows;
  bool varies = false;
};

class by_definition {
 public:
  /// Columns and parameters by name.
  by_definition(std::map<std::string, std::vector<double>> columns, std::map<std::string, double> parameters)
      : columns_(std::move(columns)), parameters_(std::move(parameters)) {
    n_ = columns_.begin()->second.size();
  }

  /// Throws std::runtime_error when there is no value.
  result value(const formula& f) const {
    if (f.in.empty()) return leaf(f.op);
    if (f.op == "ifelse" || f.op == "switch") return choose(f);
    std::vector<result> in;
    for (const formula& one : f.in) in.push_back(value(one));
    if (f.op == "vec") {
      if (in[0].varies) fail();
      in[0].varies = true;
      return in[0];
    }
    bool varies = false;
    for (const result& one : in) varies = varies || one.varies;
    if (is_infix(f.op)) {
      if (f.op == "^" && in[1].varies) fail();
      return each(in, varies, [&](double a, double b) { return infix(f.op, a, b); });
    }
    if (f.op == "yjt" || f.op == "iyjt") {
      return each(in, varies,
                  [&](double a, double b) { return f.op == "yjt" ? power(a, b) : unpower(a, b); });
    }
    if (f.in.size() == 1 && is_elementary(f.op)) {
      return each({in[0], in[0]}, varies, [&](double a, double) { return elementary(f.op, a); });
    }
    if ((f.op == "max" || f.op == "min") && in.size() == 2) {
      return each(in, varies, [&](double a, double b) { return (f.op == "max" ? a > b : a < b) ? a : b; });
    }
    if (!varies) fail();
    result out;
    out.varies = true;
    out.rows = column(f, in);
    return out;
  }

 private:
  [[noreturn]] static void fail() { throw std::runtime_error("no value"); }

  static bool is_logic(const std::string& op) {
    for (const char* one : {"==", "!=", "<", ">", ">=", "<=", "and", "or"}) {
      if (op == one) return true;
    }
    return false;
  }
  static bool is_infix(const std::string& op) {
    return is_logic(op) || op == "+" || op == "-" || op == "*" || op == "/" || op == "^";
  }
  static bool is_elementary(const std::string& op) {
    for (const char* one : {"abs", "sqrt", "exp", "log", "ln", "logit", "sigm", "log1p", "expm1", "sin",
                            "cos", "tan", "asin", "acos", "atan", "phi", "iphi", "probit"}) {
      if (op == one) return true;
    }
    return false;
  }

  result leaf(const std::string& name) const {
    result out;
    if (const auto found = columns_.find(name); found != columns_.end()) {
      out.rows = found->second;
      out.varies = true;
      return out;
    }
    const auto parameter = parameters_.find(name);
    out.rows.assign(n_, parameter != parameters_.end() ? parameter->second : std::stod(name));
    return out;
  }

  template <class Function>
  result each(const std::vector<result>& in, bool varies, const Function& f) const {
    result out;
    out.varies = varies;
    for (std::size_t i = 0; i < n_; ++i) out.rows.push_back(f(in[0].rows[i], in[1].rows[i]));
    return out;
  }

  static double infix(const std::string& op, double a, double b) {
    if (op == "+") return a + b;
    if (op == "-") return a - b;
    if (op == "*") return a * b;
    if (op == "/") return a / b;
    if (op == "^") return std::pow(a, b);
    if (a != a || b != b) return nan;
    if (op == "==") return a == b;
    if (op == "!=") return a != b;
    if (op == "<") return a < b;
    if (op == ">") return a > b;
    if (op == "<=") return a <= b;
    if (op == ">=") return a >= b;
    return op == "and" ? (a != 0) && (b != 0) : (a != 0) || (b != 0);
  }

  static double elementary(const std::string& op, double x) {
    if (x != x) return nan;
    if (op == "abs") return x < 0 ? -x : x;
    if (op == "sqrt") return std::sqrt(x);
    if (op == "exp") return std::exp(x);
    if (op == "log" || op == "ln") return std::log(x);
    if (op == "log1p") return std::log1p(x);
    if (op == "expm1") return std::expm1(x);
    if (op == "sin") return std::sin(x);
    if (op == "cos") return std::cos(x);
    if (op == "tan") return std::tan(x);
    if (op == "asin") return std::asin(x);
    if (op == "acos") return std::acos(x);
    if (op == "atan") return std::atan(x);
    if (op == "phi") return 0.5 * (1.0 + std::erf(x / std::sqrt(2.0)));
    if (op == "logit") {
      const double odds = x / (1 - x);
      if (std::isinf(odds) && odds > 0) return 9.21;
      if (!(odds > 0)) return -9.21;
      return std::min(9.21, std::max(-9.21, std::log(odds)));
    }
    if (op == "sigm") {
      if (x >= 709.782712893384) return 1;
      const double s = std::exp(x) / (1 + std::exp(x));
      return s < 0.00011 ? 0 : s > 0.9998 ? 1 : s;
    }
    if (x < 0 || x > 1) fail();
    if (x == 0 || x == 1) return (x - 0.5) * std::numeric_limits<double>::infinity();
    return boost::math::quantile(boost::math::normal(), x);
  }

  static double power(double x, double lambda) {
    if (x >= 0) return std::abs(lambda) <= 0.0001 ? std::log(x + 1) : (std::pow(x + 1, lambda) - 1) / lambda;
    if (lambda >= 1.9999 && lambda <= 2.0001) return -std::log(1 - x);
    return -(std::pow(1 - x, 2 - lambda) - 1) / (2 - lambda);
  }
  static double unpower(double y, double lambda) {
    if (y >= 0)
      return std::abs(lambda) <= 0.0001 ? std::exp(y) - 1 : std::pow(y * lambda + 1, 1 / lambda) - 1;
    if (lambda >= 1.9999 && lambda <= 2.0001) return 1 - std::exp(-y);
    return 1 - std::pow(-y * (2 - lambda) + 1, 1 / (2 - lambda));
  }

  /// The rows that belong together with row i; the identifier is the input `k`, or there is none.
  std::vector<std::size_t> company(const std::vector<result>& in, std::size_t k, std::size_t i) const {
    std::vector<std::size_t> out;
    for (std::size_t j = 0; j < n_; ++j) {
      if (k >= in.size() || in[k].rows[j] == in[k].rows[i]) out.push_back(j);
    }
    return out;
  }

  std::vector<double> column(const formula& f, const std::vector<result>& in) const {
    const std::string& op = f.op;
    if (op == "missing" && !is_logic(f.in[0].op)) fail();
    std::vector<double> out;
    for (std::size_t i = 0; i < n_; ++i) {
      const double x = in[0].rows[i];
      if (op == "ismissing") {
        out.push_back(x != x);
      } else if (op == "missing") {
        out.push_back(x != x || x == 1 ? nan : in[1].rows[i]);
      } else if (op == "lag1") {
        out.push_back(before(in, i));
      } else if ((op == "max" || op == "min") && in.size() == 2) {
        const double y = in[1].rows[i];
        out.push_back(op == "max" ? (x > y ? x : y) : (x < y ? x : y));
      } else {
        out.push_back(statistic(op, in, i));
      }
    }
    return out;
  }

  double statistic(const std::string& op, const std::vector<result>& in, std::size_t i) const {
    const std::vector<std::size_t> rows = company(in, 1, i);
    const std::vector<double>& x = in[0].rows;
    if (rows.empty()) return nan;
    double n = 0, sum = 0, squares = 0, largest = nan, smallest = nan;
    for (const std::size_t j : rows) {
      n += 1;
      sum += x[j];
      if (!(largest >= x[j])) largest = x[j] != x[j] ? largest : x[j];
      if (!(smallest <= x[j])) smallest = x[j] != x[j] ? smallest : x[j];
    }
    const double mean = sum / n;
    for (const std::size_t j : rows) squares += (x[j] - mean) * (x[j] - mean);
    const double sd = std::sqrt(squares / (n - 1));
    if (op == "max") return largest;
    if (op == "min") return smallest;
    if (op == "mean" || op == "clmn") return mean;
    if (op == "sd" || op == "clsd") return sd;
    return op == "center" ? x[i] - mean : (x[i] - mean) / sd;
  }

  /// lag1: two rows of one time anywhere leave no value at all.
  double before(const std::vector<result>& in, std::size_t i) const {
    const std::vector<double>& time = in[1].rows;
    double found = nan, latest = -std::numeric_limits<double>::infinity();
    bool any = false;
    for (std::size_t a = 0; a < n_; ++a) {
      for (const std::size_t b : company(in, 2, a)) {
        if (a != b && time[a] == time[b]) fail();
      }
    }
    for (const std::size_t j : company(in, 2, i)) {
      if (time[j] < time[i] && (!any || time[j] > latest)) {
        any = true;
        latest = time[j];
        found = in[0].rows[j];
      }
    }
    return found;
  }

  /// "ifelse" and "switch": only logic counts as condition. Over numbers alone a missing condition is not met
  /// and what is not chosen is not computed; over columns it leaves the row missing.
  result choose(const formula& f) const {
    bool varies = false;
    for (std::size_t k = 0; k + 1 < f.in.size(); k += 2) {
      if (!is_logic(f.in[k].op)) fail();
    }
    if (!contains_column(f)) return choose_number(f);
    std::vector<result> in;
    for (const formula& one : f.in) {
      in.push_back(value(one));
      varies = varies || in.back().varies;
    }
    result out = in.back();
    out.varies = varies;
    for (std::size_t i = 0; i < n_; ++i) {
      for (std::size_t k = 0; k + 1 < in.size(); k += 2) {
        const double met = in[k].rows[i];
        if (met == 0) continue;
        out.rows[i] = met == 1 ? in[k + 1].rows[i] : nan;
        break;
      }
    }
    return out;
  }

  result choose_number(const formula& f) const {
    std::size_t chosen = f.in.size() - 1;
    for (std::size_t k = 0; k + 1 < f.in.size(); k += 2) {
      const bool met = value(f.in[k]).rows[0] == 1;
      if (met && chosen == f.in.size() - 1) chosen = k + 1;
    }
    return value(f.in[chosen]);
  }

  bool contains_column(const formula& f) const {
    if (f.in.empty()) return columns_.count(f.op) > 0;
    if (f.op == "vec") return true;
    for (const formula& one : f.in) {
      if (contains_column(one)) return true;
    }
    return false;
  }

  std::map<std::string, std::vector<double>> columns_;
  std::map<std::string, double> parameters_;
  std::size_t n_;
};

/// The words of an alphabet, by the number of inputs.
struct alphabet {
  std::vector<std::string> leaves, unary, binary, ternary;
};

/// All formulas of exactly `size` words.
class formulas {
 public:
  explicit formulas(alphabet words) : words_(std::move(words)) { known_.resize(1); }

  const std::vector<formula>& of(std::size_t size) {
    while (known_.size() <= size) add(known_.size());
    return known_[size];
  }

 private:
  void add(std::size_t size) {
    std::vector<formula> out;
    if (size == 1) {
      for (const std::string& leaf : words_.leaves) out.push_back({leaf, {}});
    }
    if (size > 1) {
      for (const std::string& op : words_.unary) {
        for (const formula& a : known_[size - 1]) out.push_back({op, {a}});
      }
    }
    for (std::size_t i = 1; i + 1 < size; ++i) {
      for (const std::string& op : words_.binary) {
        for (const formula& a : known_[i]) {
          for (const formula& b : known_[size - 1 - i]) out.push_back({op, {a, b}});
        }
      }
      for (std::size_t j = 1; i + j + 1 < size; ++j) {
        for (const std::string& op : words_.ternary) add_ternary(op, i, j, size - 1 - i - j, out);
      }
    }
    known_.push_back(std::move(out));
  }

  void add_ternary(const std::string& op, std::size_t i, std::size_t j, std::size_t k,
                   std::vector<formula>& out) {
    for (const formula& a : known_[i]) {
      for (const formula& b : known_[j]) {
        for (const formula& c : known_[k]) out.push_back({op, {a, b, c}});
      }
    }
  }

  alphabet words_;
  std::vector<std::vector<formula>> known_;
};

}  // namespace tovik::tests
