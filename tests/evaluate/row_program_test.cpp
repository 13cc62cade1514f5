#include "evaluate/row_program.hpp"

#include "evaluate/value.hpp"
#include "random/random.hpp"
#include "trees.hpp"

namespace tovik::tests::row_program_test {
namespace {

using evaluate::row_program;

arma::mat random_columns(int rows, int columns) {
  Random rng(5, 0);
  return rng.randn(rows, columns);
}

constexpr const char* by_rows[] = {"x",
                                   "x * y",
                                   "x - y - z",
                                   "2 - x / y",
                                   "p * x + q",
                                   "(x + p) * (y - q) / (z * z + 1)",
                                   "x^3",
                                   "(x * y)^(p + 1)",
                                   "exp(x) + log(abs(y) + 1)",
                                   "sqrt(x * x + y * y)",
                                   "phi(p * x) - sin(y)",
                                   "(x > y) * z",
                                   "x >= 0 and y < z",
                                   "x == 1 or y != p",
                                   "exp(p) * x"};

TEST(RowProgram, AgreesWithTheTreeInEveryRowAndAtChosenRows) {
  arma::mat data = random_columns(300, 3);
  data(7, 0) = data(200, 1) = nan;
  data(11, 1) = 0.0;
  evaluate::value p(0.7), q(-1.3);
  const arma::uvec rows = arma::regspace<arma::uvec>(5, 2, 299);
  for (const char* text : by_rows) {
    const tree formula = make(text);
    formula->register_var(&p, 0);
    formula->register_var(&q, 1);
    const auto program = row_program::make(*formula);
    ASSERT_NE(program, nullptr) << text;
    for (double value : {0.7, 2.0}) {  // parameters are read at each call
      p.number = value;
      const arma::vec expected = formula->eval(data);
      arma::vec all(300), some(rows.n_elem);
      program->eval(data, nullptr, 300, all.memptr());
      program->eval(data, rows.memptr(), rows.n_elem, some.memptr());
      for (arma::uword i = 0; i < 300; ++i) {
        EXPECT_TRUE(all(i) == expected(i) || (std::isnan(all(i)) && std::isnan(expected(i))))
            << text << ", row " << i;
      }
      for (arma::uword k = 0; k < rows.n_elem; ++k) {
        EXPECT_TRUE(some(k) == all(rows(k)) || (std::isnan(some(k)) && std::isnan(all(rows(k))))) << text;
      }
    }
  }
}

TEST(RowProgram, LeavesOtherTreesToTheirOwnEvaluation) {
  for (const char* text : {"mean(x)", "x - mean(y)", "center(x, z)", "max(x, y)", "ifelse(x > 0, y, z)", "p",
                           "2 + q", "lag1(x, z)"}) {
    EXPECT_EQ(row_program::make(*make(text)), nullptr) << text;
  }
}

TEST(RowProgram, RaisesWhatTheTreeRaises) {
  const arma::mat data = random_columns(10, 3), narrow = data.head_cols(1);
  arma::vec out(10);
  for (const char* text : {"log(x - 100)", "sqrt(-abs(y) - 1)", "p * x"}) {
    const tree formula = make(text);
    const auto program = row_program::make(*formula);
    ASSERT_NE(program, nullptr) << text;
    EXPECT_EQ(failure([&] { program->eval(data, nullptr, 10, out.memptr()); }),
              failure([&] { formula->eval(data); }))
        << text;
  }
  const tree wide = make("x * z");
  const auto program = row_program::make(*wide);
  EXPECT_EQ(failure([&] { program->eval(narrow, nullptr, 10, out.memptr()); }),
            failure([&] { wide->eval(narrow); }));
}

}  // namespace
}  // namespace tovik::tests::row_program_test
