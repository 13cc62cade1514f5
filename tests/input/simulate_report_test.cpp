#include <fstream>
#include <sstream>

#include "simulated.hpp"

namespace tovik::tests::simulate_report_test {
namespace {

struct SimulateReport : Simulated {
  /// Runs the data stage; returns the data.
  arma::Mat<double> run(const std::string& commands) {
    in = read(commands);
    return in->data();
  }

  std::string file(const std::string& name) const {
    std::ifstream stream(folder_ / name);
    std::stringstream text;
    text << stream.rdbuf();
    return text.str();
  }
};

constexpr char rule3[] = "                                ----------------------------------\n";
constexpr char rule4[] = "                                ---------------------------------------------\n";

TEST_F(SimulateReport, SummarisesTheColumns) {
  run("SIMULATE: n = 4; id(2) = 2; n: x = n * 1000.5; id: a_long_name_that_passes_the_thirty_columns = 2;");
  EXPECT_EQ(report_.text(),
            "\nSIMULATED DATA SUMMARIES:\n\n"
            "Variables                              Mean     StdDev        VAR \n" +
                std::string(rule3) +
                "  n                                   2.500      1.291      1.667 \n"
                "  id                                  1.500      0.577      0.333 \n"
                "  x                                2501.250   1291.640  1668333.750 \n"
                "  a_long_name_that_passes_the_th      2.000      0.000      0.000 \n" +
                rule3);
}

TEST_F(SimulateReport, SummarisesObservedCells) {
  run("SIMULATE: n = 4; n: x = missing(n > 3, n);");
  EXPECT_EQ(report_.text(),
            "\nSIMULATED DATA SUMMARIES:\n\n"
            "  NOTE: The summaries are based on complete data only.\n\n"
            "Variables                              Mean     StdDev        VAR  % Missing \n" +
                std::string(rule4) +
                "  n                                   2.500      1.291      1.667      0.000 \n"
                "  x                                   2.000      1.000      1.000     25.000 \n" +
                rule4);
}

TEST_F(SimulateReport, SavesTheData) {
  run("SIMULATE: n = 4; id(2) = 2; n: x = missing(n == 2, n / 8); SAVE: dataset = out.csv;");
  EXPECT_EQ(file("out.csv"), "n,id,x\n1,1,0.1250\n2,1,NA\n3,2,0.3750\n4,2,0.5000\n");
  const std::string text = report_.text();
  EXPECT_EQ(text.substr(text.find("\nVARIABLE")),
            "\nVARIABLE ORDER IN SIMULATED DATA:\n\n   dataset = 'out.csv'\n\n     n id x\n\n");
}

TEST_F(SimulateReport, SavesWhatVariablesLists) {
  run("VARIABLES: x n; SIMULATE: n = 2; n: x = n / 8; SAVE: dataset = out.dat;");
  EXPECT_EQ(file("out.dat"), "      0.1250       1.0000\n      0.2500       2.0000\n");
  run("VARIABLES: x n; SIMULATE: n = 2; n: x = n / 8; SAVE: dataset = out.csv; OPTIONS: savevarnames;");
  EXPECT_EQ(file("out.csv"), "x,n\n0.1250,1\n0.2500,2\n");
}

TEST_F(SimulateReport, SavesTheMissingCode) {
  run("SIMULATE: n = 2; n: x = missing(n == 2, n); SAVE: dataset = out.csv; MISSING: -99;");
  EXPECT_EQ(file("out.csv"), "n,x\n1,1\n2,-99\n");
  run("SIMULATE: n = 2; n: x = missing(n == 2, n); SAVE: dataset = out.csv; MISSING: .;");
  EXPECT_EQ(file("out.csv"), "n,x\n1,1\n2,.\n");
  // A value that equals the numeric code is missing, as it is in a file.
  EXPECT_TRUE(run("SIMULATE: n = 3; n: x = n; MISSING: 2;").row(1).has_nan());
}

TEST_F(SimulateReport, WrapsTheNames) {
  std::string expected = "     n";
  std::string line = " n";
  for (int i = 10; i < 40; ++i) {
    const std::string name = " variable" + std::to_string(i);
    if (line.size() + name.size() > 76) {
      expected += "\n    ";
      line.clear();
    }
    line += name;
    expected += name;
  }
  run("SIMULATE: n = 4; n: variable10:variable39 = n; SAVE: dataset = out.csv;");
  const std::string text = report_.text();
  EXPECT_EQ(text.substr(text.find("\n\n     n") + 2), expected + "\n\n");
}

TEST_F(SimulateReport, DataSetIsWrittenOnlyWhenSimulated) {
  add("SAVE: dataset = out.csv;")->data();
  EXPECT_FALSE(std::filesystem::exists(folder_ / "out.csv"));
  EXPECT_EQ(report_.text(), "");
}

TEST_F(SimulateReport, PathsAreProbedBeforeGenerating) {
  EXPECT_EQ(read_fault("SIMULATE: n = 4; SAVE: dataset = none/out.csv;"),
            "ERROR: File \"none/out.csv\" cannot be created.\n"
            "       Please check that the file path is correct in SAVE command.");
}

TEST_F(SimulateReport, OneRowIsNoDataSet) {
  EXPECT_EQ(
      fault([&] { run("SIMULATE: n = 1;"); }).rfind("ERROR: The data set was read in with only one row.", 0),
      0u);
}

TEST_F(SimulateReport, SavedDataComeBack) {
  const arma::Mat<double> made =
      run("SEED: 3; SIMULATE: n = 60; id(2) = 12; id: u = normal(0, 1); n: x = normal(0, 1); y = u + x;"
          "z = missing(x > 1, x); SAVE: dataset = out.csv; OPTIONS: scientific;");
  const arma::Mat<double> back = run("DATA: out.csv; SEED: 3; BURN: 1; ITER: 2; MODEL: y ~ x;");
  EXPECT_EQ(in->variableNames, (Names{"n", "id", "u", "x", "y", "z"}));
  ASSERT_EQ(back.n_rows, made.n_rows);
  ASSERT_EQ(back.n_cols, made.n_cols);
  for (arma::uword i = 0; i < made.n_elem; ++i) {
    if (std::isnan(made[i])) {
      EXPECT_TRUE(std::isnan(back[i]));
    } else {
      EXPECT_NEAR(back[i], made[i], 1e-10 * std::abs(made[i]));
    }
  }
}

}  // namespace
}  // namespace tovik::tests::simulate_report_test
