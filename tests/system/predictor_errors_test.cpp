// Data that a model of predictors cannot be estimated from stop the run with a message of their own, which
// names the variable, and not with the advice on matrices.

#include <gtest/gtest.h>

#include <string>

#include "system/program.hpp"

using namespace tovik::tests;

namespace {

class PredictorErrors : public testing::Test {
 protected:
  std::string run(const std::string& data, const std::string& commands) {
    write_file(scratch_.path() / "d.csv", data);
    write_file(scratch_.path() / "c.tovik",
               "DATA: d.csv; MISSING: NA; SEED: 1; BURN: 10; ITERATIONS: 20; " + commands);
    const run_result end = run_program((scratch_.path() / "c.tovik").string());
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.output.find("positive definite"), std::string::npos);
    EXPECT_EQ(end.output.find("ITERATION HISTORY"), std::string::npos);
    return end.output;
  }

 private:
  scratch_folder scratch_;
};

const std::string six_rows =
    "id,a,b,c,d,e\n1,1,.3,2,0.1,5\n1,2,.1,3,0.7,3\n2,4,.7,1,0.4,2\n2,3,.2,2,NA,1\n3,6,NA,7,0.2,9\n"
    "3,5,.9,4,0.9,8\n";

TEST_F(PredictorErrors, TooFewRowsForTheModelOfAVariable) {
  const std::string output = run(six_rows, "FCS: a b c d e;");
  EXPECT_NE(output.find("ERROR: There are too few units for the predictor model of variable 'a'.\n"
                        "       It has 6 units and needs 7. Specify fewer variables in model.\n"),
            std::string::npos)
      << output;
}

TEST_F(PredictorErrors, TooFewClustersForTheModelOfAVariable) {
  const std::string output = run(six_rows, "CLUSTERID: id; FCS: a b c;");
  EXPECT_NE(output.find("ERROR: There are too few units for the predictor model of variable '"),
            std::string::npos)
      << output;
  EXPECT_NE(output.find(" at level 2.\n       It has 3 units and needs "), std::string::npos) << output;
}

// The first cluster's values differ by less than the sums of their squares can tell.
TEST_F(PredictorErrors, AVariableThatHardlyVariesWithinItsClusters) {
  const std::string output = run(
      "id,y,x\n1,1,100000000\n1,2,100000000.00000003\n1,4,NA\n2,3,500000000\n2,6,500000000\n2,5,500000000\n"
      "3,2,600000000\n3,5,600000000\n3,4,NA\n",
      "CLUSTERID: id; MODEL: y ~ x;");
  EXPECT_NE(
      output.find("ERROR: Variable 'x' does not vary within its clusters.\n       Remove it and rerun.\n"),
      std::string::npos)
      << output;
}

}  // namespace
