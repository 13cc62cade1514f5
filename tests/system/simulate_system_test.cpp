// The same equations on data that a command file generates and on the file that it saves.

#include <gtest/gtest.h>

#include <string>

#include "system/program.hpp"

using namespace tovik::tests;

namespace {

/// Sums of fair coins, weighted by powers of two from 1/16: a file with four decimals holds them exactly.
const std::string generated =
    "SIMULATE: n = 120; id(2) = 20;"
    "id: c1:c6 = ifelse(uniform(0, 1) > 0.5, 1, 0); u = c1/16 + c2/8 + c3/4 + c4/2 + c5 + c6*2;"
    "n: a1:a6 b1:b6 = ifelse(uniform(0, 1) > 0.5, 1, 0);"
    "x = a1/16 + a2/8 + a3/4 + a4/2 + a5 + a6*2;"
    "y = x - u + b1/16 + b2/8 + b3/4 + b4/2 + b5 + b6*2;"
    "SAVE: dataset = data.csv;";

class SimulateSystem : public testing::Test {
 protected:
  std::string run(const std::string& name, const std::string& commands) {
    const auto path = scratch_.path() / name;
    write_file(path, commands);
    const run_result result = run_program(path.string());
    EXPECT_EQ(result.status, 0) << result.output;
    return masked(result.output);
  }

  /// What a report says from the first scan on.
  static std::string sampled(const std::string& report) {
    const std::size_t start = report.find("ITERATION HISTORY");
    EXPECT_NE(start, std::string::npos) << report;
    return start == std::string::npos ? "" : report.substr(start);
  }

  void expect_same(const std::string& analysis) {
    const std::string made = run("made.tovik", "VARIABLES: y x id;" + generated + analysis);
    const std::string read = run("read.tovik", "VARIABLES: y x id; DATA: data.csv;" + analysis);
    EXPECT_EQ(sampled(made), sampled(read));
    EXPECT_NE(made.find("SIMULATED DATA SUMMARIES"), std::string::npos);
    EXPECT_EQ(read.find("SIMULATED DATA SUMMARIES"), std::string::npos);
  }

  scratch_folder scratch_;
};

TEST_F(SimulateSystem, TheFirstChainDoesNotSeeWhereDataComeFrom) {
  expect_same("CLUSTERID: id; MODEL: y ~ x; SEED: 91; BURN: 200; ITER: 300; CHAINS: 1;");
}

TEST_F(SimulateSystem, NorDoFurtherChainsThatStartAtTheCentre) {
  expect_same(
      "CLUSTERID: id; MODEL: y ~ x; SEED: 91; BURN: 200; ITER: 300; CHAINS: 3; OPTIONS: norandomstarts;");
}

TEST_F(SimulateSystem, ASimulationAloneEstimatesNothing) {
  const std::string report = run("made.tovik", "SEED: 2;" + generated);
  EXPECT_NE(report.find("SIMULATED DATA SUMMARIES"), std::string::npos);
  EXPECT_NE(report.find("VARIABLE ORDER IN SIMULATED DATA"), std::string::npos);
  EXPECT_EQ(report.find("WARNING"), std::string::npos);
  EXPECT_EQ(report.find("ALGORITHMIC OPTIONS"), std::string::npos);
  EXPECT_EQ(read_file(scratch_.path() / "data.csv").rfind("n,id,c1,c2,c3,c4,c5,c6,u,a1,", 0), 0u);
}

}  // namespace
