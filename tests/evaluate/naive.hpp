#pragma once

#include <cmath>
#include <stdexcept>
#include <string>
#include <vector>

#include "trees.hpp"

/// A second, slow reading of the expression language for tests: recursive descent that computes values while
/// it reads, with no tree, no stack and no table in common with the library.
namespace tovik::tests {

/// One or more columns; a list has more than one.
struct naive_value {
  std::vector<double> rows;
  bool varies = false;
  bool list = false;
  std::vector<naive_value> items;
};

class naive {
 public:
  naive(const std::vector<std::string>& tokens, const std::vector<double>& x) : tokens_(tokens), x_(x) {}

  /// The value of the whole text. Throws std::runtime_error when there is none.
  naive_value read() {
    naive_value out = binary(1);
    if (at_ != tokens_.size() || out.list) fail();
    return out;
  }

 private:
  [[noreturn]] static void fail() { throw std::runtime_error("no value"); }
  bool end() const { return at_ == tokens_.size(); }

  static int precedence(const std::string& token) {
    if (token == "^") return 6;
    if (token == "*" || token == "/") return 5;
    if (token == "+" || token == "-") return 4;
    if (token == "<" || token == "==") return 3;
    if (token == "and" || token == "or") return 2;
    if (token == ",") return 1;
    return 0;
  }

  /// Operators that bind at least as strongly as `lowest`; "^" and "," group from the right.
  naive_value binary(int lowest) {
    naive_value out = prefix();
    while (!end() && precedence(tokens_[at_]) >= lowest) {
      const std::string token = tokens_[at_++];
      const int strength = precedence(token);
      const bool from_right = token == "^" || token == ",";
      out = combine(token, out, binary(from_right ? strength : strength + 1));
    }
    return out;
  }

  /// A minus takes only powers with it; a function takes only what follows directly.
  naive_value prefix() {
    if (end()) fail();
    const std::string token = tokens_[at_++];
    if (token == "-") return combine("*", number(-1.0), binary(6));
    if (token == "+") return prefix();
    if (token == "log" || token == "max") return call(token, prefix());
    if (token == "x") {
      naive_value out;
      out.rows = x_;
      out.varies = true;
      return out;
    }
    if (token == "(") {
      naive_value out = binary(1);
      if (end() || tokens_[at_++] != ")") fail();
      return out;
    }
    if (token == "2" || token == "3") return number(token == "2" ? 2.0 : 3.0);
    fail();
  }

  naive_value number(double value) const {
    naive_value out;
    out.rows.assign(x_.size(), value);
    return out;
  }

  static void append(const naive_value& from, std::vector<naive_value>& items, bool left) {
    // A list on the left is one input that cannot be used; on the right it is the rest of this list.
    if (from.list && !left) {
      items.insert(items.end(), from.items.begin(), from.items.end());
    } else {
      items.push_back(from);
    }
  }

  static naive_value combine(const std::string& token, const naive_value& a, const naive_value& b) {
    naive_value out;
    out.varies = a.varies || b.varies;
    if (token == ",") {
      out.list = true;
      append(a, out.items, true);
      append(b, out.items, false);
      return out;
    }
    if (a.list || b.list || (token == "^" && b.varies)) fail();
    for (std::size_t i = 0; i < a.rows.size(); ++i) out.rows.push_back(apply(token, a.rows[i], b.rows[i]));
    return out;
  }

  static double apply(const std::string& token, double a, double b) {
    if (token == "^") return std::pow(a, b);
    if (token == "*") return a * b;
    if (token == "/") return a / b;
    if (token == "+") return a + b;
    if (token == "-") return a - b;
    if (std::isnan(a) || std::isnan(b)) return nan;
    if (token == "<") return a < b;
    if (token == "==") return a == b;
    return token == "and" ? (a != 0) && (b != 0) : (a != 0) || (b != 0);
  }

  static naive_value call(const std::string& name, const naive_value& argument) {
    naive_value out;
    out.varies = argument.varies;
    if (name == "log") {
      if (argument.list) fail();
      for (const double value : argument.rows) out.rows.push_back(std::log(value));
      return out;
    }
    // The largest of a column, the larger of two; a number alone is no column.
    if (!argument.varies && !argument.list) fail();
    if (!argument.list) {
      double best = nan;
      for (const double value : argument.rows) best = std::isnan(best) || value > best ? value : best;
      out.rows.assign(argument.rows.size(), best);
      return out;
    }
    if (argument.items.size() != 2) fail();
    const naive_value &a = argument.items[0], &b = argument.items[1];
    if (a.list || b.list) fail();
    for (std::size_t i = 0; i < a.rows.size(); ++i) {
      out.rows.push_back(a.rows[i] > b.rows[i] ? a.rows[i] : b.rows[i]);
    }
    return out;
  }

  const std::vector<std::string>& tokens_;
  const std::vector<double>& x_;
  std::size_t at_ = 0;
};

}  // namespace tovik::tests
