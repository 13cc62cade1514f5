#include <cerrno>
#include <sstream>

#include "command_file.hpp"
#include "results/dic.hpp"
#include "results/run_stat.hpp"
#include "results/summary.hpp"

namespace tovik::tests::write_test {
namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

/// Tests of the result files of a command file.
struct WriteFiles : CommandFile {
  std::string file(const std::string& name) const {
    std::ostringstream text;
    text << std::ifstream(folder_ / name).rdbuf();
    return text.str();
  }
  bool exists(const std::string& name) const { return std::filesystem::exists(folder_ / name); }

  /// What goes to standard output while `run` runs.
  template <class Run>
  static std::string output(Run run) {
    testing::internal::CaptureStdout();
    run();
    return testing::internal::GetCapturedStdout();
  }

  /// Two parameters, three draws in the first chain and two in the second.
  static Summary draws() {
    return Summary(std::vector<arma::Mat<double>>{{{1.5, 2, -3}, {0.25, 1e-5, 4}}, {{7, 8}, {0.5, nan}}}, 3);
  }
  static arma::Mat<double> cells(double start) {
    return arma::Mat<double>{{start, start + 0.5}, {start + 1, nan}};
  }
};

TEST_F(WriteFiles, PathsAreFoundByTheirKey) {
  const auto in = add("SAVE: burn = b.csv, iterations = it_*.csv;");
  EXPECT_TRUE(in->isWrite("burn"));
  EXPECT_FALSE(in->isWrite("psr"));
  EXPECT_EQ(in->writePath("burn"), "b.csv");
  EXPECT_EQ(in->writePath("iterations", "2.5"), "it_2.5.csv");
  EXPECT_EQ(fault([&] { in->isWrite("other"); }), "Cannot find key for write path!");
  EXPECT_EQ(fault([&] { in->writePath("other"); }), "Cannot find key for write path!");
  EXPECT_EQ(fault([&] { in->writePath("burn", "1"); }), " No * in group data path.");
  EXPECT_EQ(fault([&] { in->writePath("psr", "1"); }), " No * in group data path.");
  EXPECT_THROW(in->isWrite("other"), error_debug);
}

TEST_F(WriteFiles, DrawsOfAllChainsStandUnderEachOther) {
  for (const char* key : {"iterations", "burn", "simple", "correlations"}) {
    add("SAVE: " + std::string(key) + " = " + key + ".csv;")->write(draws(), key);
    EXPECT_EQ(file(std::string(key) + ".csv"),
              "1,1.5000,0.2500\n"
              "1,2,0.0000\n"
              "1,-3,4\n"
              "2,7,0.5000\n"
              "2,8,nan\n");
  }
}

TEST_F(WriteFiles, AnAsteriskGivesEachChainItsFile) {
  add("SAVE: burn = b*.dat; MISSING: 999; OPTIONS: savevarnames;")->write(draws(), "burn");
  EXPECT_EQ(file("b1.dat"),
            "      1.5000       0.2500\n"
            "      2.0000       0.0000\n"
            "     -3.0000       4.0000\n");
  EXPECT_EQ(file("b2.dat"),
            "      7.0000       0.5000\n"
            "      8.0000          nan\n");
  EXPECT_FALSE(exists("b*.dat"));
}

TEST_F(WriteFiles, AGroupTakesTheAsterisk) {
  const auto in = add("SAVE: burn = b*.csv, iterations = it.csv;");
  in->write("1.5", draws(), "burn");
  EXPECT_EQ(file("b1.5.csv").substr(0, 16), "1,1.5000,0.2500\n");
  EXPECT_EQ(fault([&] { in->write("1.5", draws(), "iterations"); }), " No * in group data path.");
  EXPECT_FALSE(exists("it.csv"));
  in->write("1.5", draws(), "simple");  // not asked for
}

TEST_F(WriteFiles, ScientificNotationKeepsSmallDraws) {
  add("SAVE: iterations = it.csv; OPTIONS: scientific;")->write(draws(), "iterations");
  const std::string text = file("it.csv");
  EXPECT_EQ(text.substr(0, text.find('\n')), "1.0000000000e+00,1.5000000000e+00,2.5000000000e-01");
  EXPECT_NE(text.find(",1.0000000000e-05\n"), std::string::npos);
}

TEST_F(WriteFiles, WithoutParametersThereIsNoFile) {
  const auto in = add("SAVE: simple = s.csv, correlations = c*.csv, burn = b.csv;");
  in->write(Summary(), "simple");
  in->write(Summary(std::vector<arma::Mat<double>>{arma::Mat<double>(0, 3), arma::Mat<double>(0, 3)}, 3),
            "correlations");
  EXPECT_FALSE(exists("s.csv"));
  EXPECT_FALSE(exists("c1.csv"));
}

TEST_F(WriteFiles, WithoutDrawsTheFileIsEmpty) {
  const auto in = add("SAVE: burn = b.csv, iterations = it*.csv;");
  const Summary none(
      std::vector<arma::Mat<double>>{arma::Mat<double>(2, 0), arma::Mat<double>(2, 1, arma::fill::ones)}, 0);
  in->write(none, "burn");
  EXPECT_EQ(file("b.csv"), "2,1,1\n");
  in->write(none, "iterations");
  EXPECT_TRUE(exists("it1.csv"));
  EXPECT_EQ(file("it1.csv"), "");
  EXPECT_EQ(file("it2.csv"), "1,1\n");
}

TEST_F(WriteFiles, OtherKeysHoldNoDraws) {
  const auto in = add("SAVE: starts = s.csv;");
  EXPECT_THROW(in->write(draws(), "starts"), error_debug);
  EXPECT_THROW(in->write(draws(), "other"), error_debug);
}

TEST_F(WriteFiles, EstimatesHaveTheirLabels) {
  add("SAVE: estimates = e.csv; OUTPUT: mean quant50;")
      ->write(Summary(arma::Mat<double>{{1, 2, 3, 4, 5}, {2, 2, 2, 2, 2.5}}, 5), "estimates");
  EXPECT_EQ(file("e.csv"), "Mean,25%,75%\n3,1.7500,4.2500\n2.1000,2,2.1250\n");
  add("SAVE: estimates = e.dat; OUTPUT: mean;")->write(Summary(arma::Mat<double>{{1, nan}}, 2), "estimates");
  EXPECT_EQ(file("e.dat"),
            "        Mean          25%          75%         Mean\n"
            "         nan          nan          nan          nan\n");
}

TEST_F(WriteFiles, AnEmptyTableOfEstimatesIsItsHeader) {
  add("SAVE: estimates = e.csv; OUTPUT: psr;")->write(Summary(), "estimates");
  EXPECT_EQ(file("e.csv"), "PSR\n");
  add("SAVE: estimates = e.csv;")
      ->write(Summary(std::vector<arma::Mat<double>>{arma::Mat<double>(3, 0)}, 0), "estimates");
  EXPECT_EQ(file("e.csv"), "PSR\n");
}

TEST_F(WriteFiles, LikelihoodsAreSumsByModel) {
  const auto in = add("SAVE: likelihood = l.csv;");
  in->writeLikelihoods(sem::DIC());
  EXPECT_FALSE(exists("l.csv"));
  const std::string header =
      "model_number,marginal_log_mean,conditional_log_mean,marginal_mean_ll,conditional_mean_ll,"
      "marginal_var_ll,conditional_var_ll\n";
  sem::DIC fit;
  arma::Cube<double> cube(2, 2, 2, arma::fill::value(-1.0));
  cube.slice(0).col(0).fill(nan);
  fit += cube;
  in->writeLikelihoods(fit);
  EXPECT_EQ(file("l.csv"), header + "1,nan,-2,nan,-2,nan,nan\n2,-2,-2,-2,-2,nan,nan\n");
  cube.slice(1).fill(-3.0);
  fit += cube;
  in->writeLikelihoods(fit);
  // log of the mean of exp(-1) and exp(-3), twice; mean -2 and variance 2 of each of two units
  EXPECT_EQ(file("l.csv"), header + "1,nan,-2,nan,-2,nan,0\n2,-3.1324,-3.1324,-4,-4,4,4\n");
}

TEST_F(WriteFiles, AveragesAreCellsOfTheData) {
  auto in = add("SAVE: avgimp = a.csv, varimp = v.dat; MISSING: NA; OPTIONS: savevarnames;");
  in->dataNames = {"y", "x"};
  RunStat<arma::Mat<double>> seen;
  in->writeAvgImp(seen);
  EXPECT_FALSE(exists("a.csv"));
  seen += cells(1);
  in->writeAvgImp(seen);
  in->writeVarImp(seen);
  EXPECT_EQ(file("a.csv"), "y,x\n1,1.5000\n2,NA\n");
  EXPECT_EQ(file("v.dat"),
            "           y            x\n"
            "          NA           NA\n"
            "          NA           NA\n");
  seen += cells(2);
  in->writeAvgImp(seen);
  in->writeVarImp(seen);
  EXPECT_EQ(file("a.csv"), "y,x\n1.5000,2\n2.5000,NA\n");
  // The first column does not vary, which is less than 0.05.
  EXPECT_EQ(file("v.dat").substr(26), "5.0000000000e-01       0.5000\n5.0000000000e-01           NA\n");
}

TEST_F(WriteFiles, AveragesFollowTheMissingNumberWithoutNames) {
  auto in = add("SAVE: avgimp = a.csv; MISSING: -9; VARIABLES: y x z;");
  in->dataNames = {"y", "x"};
  RunStat<arma::Mat<double>> seen;
  seen += cells(1);
  in->writeAvgImp(seen);
  in->writeVarImp(seen);  // not asked for
  EXPECT_EQ(file("a.csv"), "1,1.5000\n2,-9\n");
}

TEST_F(WriteFiles, SeparateSetsAreWrittenAtOnce) {
  auto in = add("NIMPS: 2; SAVE: separate = s*.csv; MISSING: NA; OPTIONS: savevarnames;");
  in->dataNames = {"y", "x"};
  in->chainInfo();
  in->saveDataFunction(cells(1), 1);
  in->saveDataFunction(cells(5), 2);
  in->writeData();
  EXPECT_EQ(file("s1.csv"), "y,x\n1,1.5000\n2,NA\n");
  EXPECT_EQ(file("s2.csv"), "y,x\n5,5.5000\n6,NA\n");
  EXPECT_EQ(file("slist.csv"), "s1.csv\ns2.csv");
  EXPECT_TRUE(in->imputations[1].is_empty());
}

TEST_F(WriteFiles, ChainsHandTheirSetsToTheFile) {
  auto in = add("NIMPS: 3; SAVE: separate = s*.dat, stacked = st.csv; OPTIONS: scientific;");
  in->dataNames = {"y", "x"};
  const auto infos = in->chainInfo();
  infos[1].saves[0](cells(1));
  infos[0].saves[1](cells(3));
  in->writeData();
  EXPECT_EQ(file("s2.dat"), "1.0000000000e+00 1.5000000000e+00\n2.0000000000e+00          nan\n");
  EXPECT_FALSE(exists("s1.dat"));
  EXPECT_EQ(in->imputations[3].n_rows, 2u);
  EXPECT_EQ(file("st.csv").substr(0, 51), "2.0000000000e+00,1.0000000000e+00,1.5000000000e+00\n")
      << "a set that no chain took is passed over";
}

TEST_F(WriteFiles, AveragesAloneKeepNoSets) {
  auto in = add("NIMPS: 2; SAVE: avgimp = a.csv;");
  in->chainInfo();
  in->saveDataFunction(cells(1), 1);
  EXPECT_TRUE(in->imputations[1].is_empty());
}

TEST_F(WriteFiles, StackedSetsAreNumbered) {
  auto in = add("NIMPS: 2; SAVE: stacked = st.csv, stacked0 = st0.dat; MISSING: NA; OPTIONS: savevarnames;");
  in->dataNames = {"y", "x.residual"};
  in->chainInfo();
  in->imputations[0] = arma::Col<double>{1, nan, 3};
  in->saveDataFunction(cells(1), 1);
  in->saveDataFunction(cells(2), 2);
  in->writeData();
  const std::string text = output([&] { in->printVariableOrder(); });
  EXPECT_EQ(text, report_.text());
  EXPECT_EQ(file("st.csv"), "imp#,y,x.residual\n1,1,1.5000\n1,2,NA\n2,2,2.5000\n2,3,NA\n");
  EXPECT_EQ(file("st0.dat"),
            "        imp#            y   x.residual\n"
            "      0.0000       1.0000           NA\n"
            "      0.0000           NA           NA\n"
            "      0.0000       3.0000           NA\n"
            "      1.0000       1.0000       1.5000\n"
            "      1.0000       2.0000           NA\n"
            "      2.0000       2.0000       2.5000\n"
            "      2.0000       3.0000           NA\n");
  EXPECT_EQ(report_.text(),
            "\nVARIABLE ORDER IN IMPUTED DATA:\n\n"
            "   stacked = 'st.csv'\n\n     imp# y x.residual\n\n"
            "  stacked0 = 'st0.dat'\n\n     imp# y x.residual\n\n");
}

TEST_F(WriteFiles, TheOrderOfVariablesIsPrintedOnceForEachFile) {
  auto in = add("NIMPS: 2; SAVE: varimp = v.csv, avgimp = a.csv, separate = s*.csv;");
  for (int i = 1; i <= 11; ++i) in->dataNames.push_back("name" + std::to_string(i));
  in->dataNames.push_back("sixteen");
  in->chainInfo();
  Output::fp = stdout;
  const std::string names =
      "     name1 name2 name3 name4 name5 name6 name7 name8 name9 name10 name11 sixteen\n\n";
  const std::string text = output([&] { in->printVariableOrder(); });
  EXPECT_EQ(text, "\nVARIABLE ORDER IN IMPUTED DATA:\n\n  separate = 's*.csv'\n\n" + names +
                      "    avgimp = 'a.csv'\n\n" + names + "    varimp = 'v.csv'\n\n" + names);
  in->dataNames.push_back("w");
  EXPECT_NE(output([&] { in->printVariableOrder(); }).find("sixteen\n     w\n\n"), std::string::npos);
}

TEST_F(WriteFiles, WithoutImputationsThereAreNoSets) {
  auto in = add("SAVE: stacked = st.csv, stacked0 = st0.csv, separate = s*.csv;");
  in->chainInfo();
  EXPECT_EQ(output([&] { in->printVariableOrder(); }), "");
  EXPECT_FALSE(exists("st.csv") || exists("st0.csv"));
  auto averaged = add("SAVE: stacked = st.csv, avgimp = a.csv;");
  averaged->dataNames = {"y"};
  EXPECT_EQ(output([&] { averaged->printVariableOrder(); }),
            "\nVARIABLE ORDER IN IMPUTED DATA:\n\n    avgimp = 'a.csv'\n\n     y\n\n");
  EXPECT_FALSE(exists("st.csv"));
  auto nothing = add("");
  EXPECT_EQ(output([&] { nothing->printVariableOrder(); }), "");
}

TEST_F(WriteFiles, AFolderThatHasGoneIsAFailureForEachFile) {
  std::filesystem::create_directory("gone");
  const auto in = add("SAVE: burn = gone/b.csv, estimates = gone/e.csv, avgimp = gone/a.csv;");
  std::filesystem::remove("gone");
  in->write(draws(), "burn");
  in->write(draws(), "estimates");
  RunStat<arma::Mat<double>> seen;
  seen += cells(1);
  in->writeAvgImp(seen);
  EXPECT_FALSE(exists("gone"));
  EXPECT_EQ(
      file_set::failures(),
      (std::vector<unwritten_file>{{"gone/b.csv", ENOENT}, {"gone/e.csv", ENOENT}, {"gone/a.csv", ENOENT}}));
  file_set::failures().clear();
}

TEST_F(WriteFiles, SetsOfAnInterruptedRunAreNotMixedWithOlderOnes) {
  for (const char* name : {"s1.csv", "s2.csv", "s3.csv", "slist.csv"}) write(name, "old");
  auto in = add("NIMPS: 3; SAVE: separate = s*.csv; MISSING: NA;");
  in->dataNames = {"y", "x"};
  in->chainInfo();
  in->saveDataFunction(cells(1), 1);
  in->saveDataFunction(cells(3), 3);
  EXPECT_EQ(file("s1.csv"), "old") << "nothing appears before the end";
  in->writeData();
  EXPECT_EQ(file("slist.csv"), "s1.csv\ns3.csv");
  EXPECT_EQ(file("s3.csv"), "3,3.5000\n4,NA\n");
  EXPECT_FALSE(exists("s2.csv"));
}

}  // namespace
}  // namespace tovik::tests::write_test
