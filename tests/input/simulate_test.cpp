#include <cmath>

#include "input/simulate_levels.hpp"
#include "simulated.hpp"

namespace tovik::tests::simulate_test {
namespace {

using Column = arma::Col<double>;

struct SimulateCommand : Simulated {};

TEST_F(SimulateCommand, MakesIdentifierAndVariable) {
  const auto m = simulate("n = 100; n: x = normal(0, 1);");
  EXPECT_EQ(in->variableNames, (Names{"n", "x"}));
  ASSERT_EQ(m.n_rows, 100u);
  ASSERT_EQ(m.n_cols, 2u);
  expect_equal(m.col(0), arma::regspace(1.0, 100.0));
  EXPECT_TRUE(m.is_finite());
}

TEST_F(SimulateCommand, MakesIdentifiersAlone) {
  expect_equal(simulate("n = 3;").col(0), Column{1, 2, 3});
  const auto m = simulate("cls(2) = 2; n(1) = 4;");
  EXPECT_EQ(in->variableNames, (Names{"n", "cls"}));
  expect_equal(m.col(0), Column{1, 2, 3, 4});
  expect_equal(m.col(1), Column{1, 1, 2, 2});
}

TEST_F(SimulateCommand, ReadsLevelsInEveryNotation) {
  for (const char* text : {"n = 4; id(2) = 2;", "n (1) = 4; id (2)=2;", "id( 2 )=2; n=4;"}) {
    const auto m = simulate(text);
    EXPECT_EQ(in->variableNames, (Names{"n", "id"})) << text;
    expect_equal(m.col(1), Column{1, 1, 2, 2});
  }
}

TEST_F(SimulateCommand, CountsPositionsWithinClusters) {
  const auto m = simulate("n(1) = 400; id(2) = 100; n: a = n.time; b = id.time; id: c = id.time;");
  EXPECT_EQ(in->variableNames, (Names{"n", "id", "a", "b", "c"}));
  for (arma::uword i = 0; i < 400; ++i) {
    EXPECT_EQ(m(i, 0), i + 1.0);
    EXPECT_EQ(m(i, 1), std::floor(i / 4.0) + 1.0);
    EXPECT_EQ(m(i, 2), i % 4 + 1.0);
    EXPECT_EQ(m(i, 3), m(i, 1));
    EXPECT_EQ(m(i, 4), m(i, 1));
  }
}

TEST_F(SimulateCommand, NestsThreeLevels) {
  const auto m = simulate(
      "school(3) = 2; n(1) = 12; class(2) = 4;"
      "n: t1 = n.time; t2 = class.time; t3 = school.time; class: u = class.time + 10*school;"
      "school: w = school*100;");
  EXPECT_EQ(in->variableNames, (Names{"n", "class", "school", "t1", "t2", "t3", "u", "w"}));
  expect_equal(m.col(1), Column{1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4});
  expect_equal(m.col(2), Column{1, 1, 1, 1, 1, 1, 2, 2, 2, 2, 2, 2});
  expect_equal(m.col(3), Column{1, 2, 3, 1, 2, 3, 1, 2, 3, 1, 2, 3});
  expect_equal(m.col(4), Column{1, 1, 1, 2, 2, 2, 1, 1, 1, 2, 2, 2});
  expect_equal(m.col(5), m.col(2));
  expect_equal(m.col(6), m.col(4) + 10.0 * m.col(2));
  expect_equal(m.col(7), 100.0 * m.col(2));
}

TEST_F(SimulateCommand, CopiesHigherVariablesDown) {
  const auto m = simulate(
      "n = 6; id(2) = 3; top(3) = 1;"
      "id: u = normal(0, 1); top: w = normal(0, 1); id: v = u + w; n: y = u + v + w + n;");
  const Column u = column(m, "u");
  for (arma::uword i = 0; i < 6; i += 2) EXPECT_EQ(u[i], u[i + 1]);
  EXPECT_NE(u[0], u[2]);
  expect_equal(column(m, "v"), u + column(m, "w"));
  expect_equal(column(m, "y"), u + column(m, "v") + column(m, "w") + column(m, "n"));
}

TEST_F(SimulateCommand, EvaluatesOnTheRowsOfTheSection) {
  const auto m = simulate(
      "n = 8; id(2) = 4; id: a = mean(id); b = five; five := 5;"
      "id: c = ifelse(id == 4, 100, 0); d = mean(c); n: e = clmn(n, id);");
  expect_equal(column(m, "a"), Column(8, arma::fill::value(2.5)));
  expect_equal(column(m, "b"), Column(8, arma::fill::value(5.0)));
  expect_equal(column(m, "d"), Column(8, arma::fill::value(25.0)));
  expect_equal(column(m, "e"), Column{1.5, 1.5, 3.5, 3.5, 5.5, 5.5, 7.5, 7.5});
}

TEST_F(SimulateCommand, DrawsOncePerUnitOfTheSection) {
  const auto m = simulate("n = 8; id(2) = 4; id: u = normal(0, 1); n: x = normal(0, 1);");
  Random stream(7u, 0u);
  for (arma::uword j = 0; j < 4; ++j) {
    const double z = stream.rnorm();
    EXPECT_EQ(m(2 * j, 2), z);
    EXPECT_EQ(m(2 * j + 1, 2), z);
  }
  for (arma::uword i = 0; i < 8; ++i) EXPECT_EQ(m(i, 3), stream.rnorm());
  EXPECT_EQ(in->rng->rnorm(), stream.rnorm());
}

TEST_F(SimulateCommand, SectionsMayReturn) {
  const auto m =
      simulate("n = 4; id(2) = 2; n: x = n; id: u = id; n: y = x + u; id: v = u * k; define: k = 2;");
  EXPECT_EQ(in->variableNames, (Names{"n", "id", "x", "u", "y", "v"}));
  expect_equal(column(m, "y"), Column{2, 3, 5, 6});
  expect_equal(column(m, "v"), Column{2, 2, 4, 4});
}

TEST_F(SimulateCommand, ReadsConstants) {
  const auto m = simulate(
      "n = 2; define: a = 3; b = a^2 + 1; c = ifelse(b > 9, -1, 1);"
      "n: x = a; mu := 10 * b; y = mu + c; small := 1 / 10 ^ 9; z = small; negative := -a; q = 2 ^ "
      "negative;");
  EXPECT_EQ(in->variableNames, (Names{"n", "x", "y", "z", "q"}));
  EXPECT_EQ(m(0, 1), 3.0);
  EXPECT_EQ(m(1, 2), 99.0);
  EXPECT_EQ(m(0, 3), 1.0 / std::pow(10.0, 9.0));
  EXPECT_EQ(m(0, 4), 0.125);
}

TEST_F(SimulateCommand, ConstantsMayStandBeforeAndAfterTheirUse) {
  const auto m = simulate("n = 2; mu := 10; n: x = mu + sigma; id: sigma := 4; SIMULATE: ;");
  EXPECT_EQ(m(0, 1), 14.0);
}

TEST_F(SimulateCommand, ManyConstantsBuildOnEachOther) {
  std::string text = "n = 2; define: c0 = 1;";
  for (int i = 1; i <= 1000; ++i) {
    text += "c" + std::to_string(i) + " = c" + std::to_string(i - 1) + " + 1;";
  }
  EXPECT_EQ(simulate(text + "n: x = c1000;")(0, 1), 1001.0);
}

TEST_F(SimulateCommand, OneExpressionServesSeveralNames) {
  const auto m = simulate("n = 50; n: x1 x2 = normal(0, 1); y1:y3 = x1; ");
  EXPECT_EQ(in->variableNames, (Names{"n", "x1", "x2", "y1", "y2", "y3"}));
  for (arma::uword i = 0; i < 50; ++i) EXPECT_NE(m(i, 1), m(i, 2));
  expect_equal(m.col(1), m.col(5));
}

TEST_F(SimulateCommand, NamesMatchWithoutLetterCase) {
  const auto m = simulate(
      "Pupil = 4; ID(2) = 2; define: Mu = 3; PUPIL: X = Mu; id: Zed = id.TIME; pupil: y = x + MU + zED;");
  EXPECT_EQ(in->variableNames, (Names{"Pupil", "ID", "X", "Zed", "y"}));
  expect_equal(column(m, "y"), Column{7, 7, 8, 8});
  EXPECT_EQ(simulate_fault("n = 3; n: x = 1; X = 2;"),
            "ERROR: Variable specified in SIMULATE command already exists.\n       Problem command: X = 2");
}

TEST_F(SimulateCommand, KeepsTheColumnsOfVariables) {
  const auto m = simulate("n = 4; id(2) = 2; n: x = n * 2; id: u = id; VARIABLES: u N.TIME X;");
  EXPECT_EQ(in->variableNames, (Names{"u", "n.time", "x"}));
  expect_equal(m.col(0), Column{1, 1, 2, 2});
  expect_equal(m.col(1), Column{1, 2, 1, 2});
  expect_equal(m.col(2), Column{2, 4, 6, 8});
  EXPECT_EQ(simulate_fault("n = 4; n: x = 1; VARIABLES: x z;"),
            "ERROR: The variable 'z' is listed on the VARIABLES command\n"
            "       but not created in the SIMULATE command.");
  EXPECT_EQ(simulate_fault("n = 4; mu := 1; n: x = mu; VARIABLES: x mu;"),
            "ERROR: The variable 'mu' is listed on the VARIABLES command\n"
            "       but not created in the SIMULATE command.");
  EXPECT_EQ(simulate_fault("n = 4; n: x = 1; VARIABLES: x X;"),
            "ERROR: Variable name 'X' is used more than once.");
}

TEST_F(SimulateCommand, ComparisonsAreNoAssignments) {
  const auto m =
      simulate("n = 4; n: a = n == 2; b = ifelse(n != 2, 1, 0); c = n > = 2; d = (n < = 2); e = n ! = 4;");
  expect_equal(column(m, "a"), Column{0, 1, 0, 0});
  expect_equal(column(m, "b"), Column{1, 0, 1, 1});
  expect_equal(column(m, "c"), Column{0, 1, 1, 1});
  expect_equal(column(m, "d"), Column{1, 1, 0, 0});
  expect_equal(column(m, "e"), Column{1, 1, 1, 0});
}

TEST_F(SimulateCommand, MissingCellsMayBeMade) {
  const auto m = simulate("n = 4; n: x = missing(n > 2, n);");
  EXPECT_EQ(m(1, 1), 2.0);
  EXPECT_TRUE(std::isnan(m(2, 1)) && std::isnan(m(3, 1)));
}

TEST_F(SimulateCommand, EmptyStatementsChangeOnlyTheSection) {
  const auto m = simulate("n = 2; define:; a = 4; n:; x = a; : id(2) = 2;");
  EXPECT_EQ(in->variableNames, (Names{"n", "id", "x"}));
  EXPECT_EQ(m(0, 2), 4.0);
}

TEST_F(SimulateCommand, TextOfAnyLanguageNames) {
  EXPECT_EQ(simulate("n = 2; n: größe = n; y = größe * 2;")(1, 2), 4.0);
  const std::string name(10000, 'a');
  EXPECT_EQ(simulate("n = 2; n: " + name + " = n; y = " + name + ";")(1, 2), 2.0);
}

TEST(SimData, ReadsAndNests) {
  const sim_data one("n = 6");
  EXPECT_EQ(one.name, "n");
  EXPECT_EQ(one.level, 1u);
  EXPECT_EQ(one.size, 6u);
  EXPECT_TRUE(one.no_time());
  const std::vector<sim_data> levels = sim_data::combine({sim_data("id(2)=2"), one});
  ASSERT_EQ(levels.size(), 2u);
  EXPECT_EQ(levels[0].name, "n");
  expect_equal(levels[0].values, Column{1, 2, 3, 4, 5, 6});
  expect_equal(levels[0].time, Column{1, 2, 3, 1, 2, 3});
  EXPECT_FALSE(levels[1].no_time());
  expect_equal(levels[1].time, Column{1, 2});
  try {
    sim_data::combine({});
    ADD_FAILURE();
  } catch (const error_debug& e) {
    EXPECT_EQ(std::string(e.what()).rfind("Cannot combine empy group of da", 0), 0u);
  }
}

}  // namespace
}  // namespace tovik::tests::simulate_test
