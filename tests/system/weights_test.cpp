// What sampling weights cannot do stops the run with a message of its own; what they do shows in the report.

#include <gtest/gtest.h>

#include <string>

#include "system/program.hpp"

namespace tovik::tests::weights_test {
namespace {

const std::string rows =
    "id,a,b,c,w,n\n1,1,.3,2,3,1\n1,2,.1,3,1,1\n2,4,.7,1,2,1\n2,3,.2,2,2,1\n3,6,NA,7,1,0\n3,5,.9,4,5,1\n"
    "4,2,.8,1,2,1\n4,3,.3,5,1,1\n5,1,.2,3,1,1\n5,7,.6,2,4,1\n6,2,.1,6,2,1\n6,4,.5,3,1,1\n";

class SamplingWeights : public testing::Test {
 protected:
  std::string run(const std::string& commands, int status) {
    write_file(scratch_.path() / "d.csv", rows);
    write_file(scratch_.path() / "c.tovik",
               "DATA: d.csv; MISSING: NA; SEED: 1; BURN: 200; ITERATIONS: 200; " + commands);
    const run_result end = run_program((scratch_.path() / "c.tovik").string());
    EXPECT_EQ(end.status, status) << end.output;
    return end.output;
  }
  void expect_error(const std::string& commands, const std::string& text) {
    const std::string output = run(commands, 1);
    EXPECT_NE(output.find(text), std::string::npos) << output;
    EXPECT_EQ(output.find("ITERATION HISTORY"), std::string::npos);
  }

 private:
  scratch_folder scratch_;
};

TEST_F(SamplingWeights, AreGreaterThanZeroInTheRowsThatStay) {
  const std::string weights = "WEIGHTS: n; FIXED: c; MODEL: a ~ b; b ~ c; OPTIONS: prior1";
  expect_error(weights + ";",
               "ERROR: Sampling weights must be greater than zero.\n       Problem variable: n\n");
  run(weights + " listwise;", 0);
}

TEST_F(SamplingWeights, NeedAnEquationForEachIncompletePredictor) {
  const std::string text =
      "ERROR: Unspecified predictor models are not supported with sampling weights.\n"
      "       Specify the models directly via the sequential approach\n"
      "       in the MODEL command. See the User Guide for example.\n";
  expect_error("WEIGHTS: w; OPTIONS: prior1; MODEL: a ~ b;", text);
  expect_error("WEIGHTS: w; FCS: a b c; NIMPS: 2; THIN: 10; SAVE: stacked = i.csv;", text);
  expect_error("WEIGHTS: w; FCS: a b c; OPTIONS: manifest; NIMPS: 2; THIN: 10; SAVE: stacked = i.csv;", text);
}

TEST_F(SamplingWeights, StandInTheReportWithTheirLevels) {
  const std::string output =
      run("CLUSTERID: id; WEIGHTS: w; FIXED: c; OPTIONS: prior1; MODEL: a ~ b c; b ~ c;", 0);
  EXPECT_NE(output.find("  SAMPLING WEIGHTS\n    Level-1:                w\n"), std::string::npos) << output;
}

}  // namespace
}  // namespace tovik::tests::weights_test
