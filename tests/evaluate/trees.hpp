#pragma once

#include <gtest/gtest.h>

#include <armadillo>
#include <cmath>
#include <limits>
#include <memory>
#include <string>

#include "evaluate/error.hpp"
#include "evaluate/node.hpp"
#include "evaluate/parser.hpp"
#include "support/error.hpp"

namespace tovik::tests {

using tree = std::unique_ptr<evaluate::node>;

inline constexpr double nan = std::numeric_limits<double>::quiet_NaN();

/// Columns 0, 1, 2 are x, y, z; p and q are the parameters 0 and 1; u is declared only.
inline const evaluate::defines& names() {
  static const auto table = [] {
    auto out = std::make_unique<evaluate::defines>();
    out->define_data("x", 0);
    out->define_data("y", 1);
    out->define_data("z", 2);
    out->define_var("p", 0);
    out->define_var("q", 1);
    out->define("u");
    out->define("half", "x / 2");
    return out;
  }();
  return *table;
}

inline tree make(const std::string& text) {
  return evaluate::ast(text, names());
}
inline tree simplified(const std::string& text) {
  return evaluate::opt_ast(text, names());
}

/// Printed form of the tree of a text, as parsed and after simplifying.
inline std::string shown(const std::string& text) {
  return make(text)->name();
}
inline std::string shown_simplified(const std::string& text) {
  return simplified(text)->name();
}

/// The text of the failure that a call raises; empty when there is none.
template <class Call>
std::string failure(const Call& call) {
  try {
    call();
  } catch (const std::exception& raised) {
    return raised.what();
  }
  return "";
}

/// The message (without the expression) with which a text fails to parse.
inline std::string parse_failure(const std::string& text) {
  try {
    make(text);
  } catch (const evaluate::error_parse& raised) {
    EXPECT_TRUE(raised.message() + "\n" + raised.expression() == raised.what());
    EXPECT_TRUE(raised.expression() == text);
    return raised.message();
  }
  return "";
}

inline double scalar(const std::string& text) {
  return make(text)->eval();
}

/// Rows: x = 1, -2, NaN; y = 4, 0.5, 3; z = 0, 1, 2.
inline const arma::mat& sample() {
  static const arma::mat data = {{1.0, 4.0, 0.0}, {-2.0, 0.5, 1.0}, {nan, 3.0, 2.0}};
  return data;
}

inline arma::vec over_sample(const std::string& text) {
  return make(text)->eval(sample());
}

inline void expect_column(const arma::vec& found, const arma::vec& wanted, const std::string& what) {
  ASSERT_EQ(found.n_elem, wanted.n_elem) << what;
  for (arma::uword i = 0; i < found.n_elem; ++i) {
    if (std::isnan(wanted[i])) {
      EXPECT_TRUE(std::isnan(found[i])) << what << " row " << i << " is " << found[i];
    } else {
      EXPECT_DOUBLE_EQ(found[i], wanted[i]) << what << " row " << i;
    }
  }
}

}  // namespace tovik::tests
