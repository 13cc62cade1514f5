// Groups of the data as copies of the command file.

#include "app/by_group.hpp"

#include <gtest/gtest.h>

#include "app/group_labels.hpp"
#include "app/result_files.hpp"
#include "input/command_file.hpp"
#include "support/blas_threads.hpp"

namespace tovik::tests::by_group_test {
namespace {

TEST(GroupLabels, HaveTwoDigitsWhereTheseDiffer) {
  EXPECT_EQ(group_labels({-2, 0, 1.5, 10}), (std::vector<std::string>{"-2", "0", "1.5", "10"}));
  EXPECT_EQ(group_labels({1, 100}), (std::vector<std::string>{"1", "1e+02"}));
  EXPECT_EQ(group_labels({}), std::vector<std::string>());
}

TEST(GroupLabels, HaveAllDigitsWhereTwoDigitsCollide) {
  EXPECT_EQ(group_labels({1, 101, 102}), (std::vector<std::string>{"1", "101", "102"}));
  EXPECT_EQ(group_labels({0.1, 1234567, 1234568}), (std::vector<std::string>{"0.1", "1234567", "1234568"}));
  const std::vector<std::string> close = group_labels({1.0 / 3.0, 0.33});
  EXPECT_EQ(close[1], "0.33");
  EXPECT_EQ(close[0], "0.3333333333333333");
  EXPECT_EQ(group_labels({0.3, 0.1 + 0.2}),
            (std::vector<std::string>{"0.29999999999999999", "0.30000000000000004"}));
}

/// Keeps standard output away, also when an error ends the run.
struct quiet_output {
  quiet_output() { testing::internal::CaptureStdout(); }
  ~quiet_output() { testing::internal::GetCapturedStdout(); }
};

struct ByGroup : CommandFile {
  void SetUp() override {
    CommandFile::SetUp();
    write("d.csv", "g,y,x\n2,1,2\n1,2,4\n2,4,3\n1,3,6\n2,5,5\n1,1,1\n2,2,4\n1,NA,2\n2,NA,3\n1,6,7\n");
    use_one_blas_thread();
  }

  std::unique_ptr<InputFile> grouped(const std::string& more) const {
    return read(
        "DATA: d.csv; SEED: 5; BURN: 6; ITERATIONS: 8; CHAINS: 2 processors 1; MODEL: y ~ x; "
        "DEBUG: no_drop; OPTIONS: prior1; BYGROUP: g; " +
        more);
  }

  static void run_quietly(std::vector<by_group>& groups) {
    const quiet_output quiet;
    for (by_group& group : groups) group.run();
  }
};

TEST_F(ByGroup, HoldsTheRowsOfOneValue) {
  const auto input = grouped("SAVE: estimates = e*_*.csv, stacked = s.csv;");
  const std::vector<by_group> groups = input->groups();
  ASSERT_EQ(groups.size(), 2u);
  EXPECT_EQ(groups[0].name, "1");
  EXPECT_EQ(groups[1].name, "2");
  EXPECT_EQ(groups[0].data.n_rows, 5u);
  EXPECT_EQ(groups[0].data.n_cols, 3u);
  EXPECT_TRUE(arma::all(groups[1].data.col(0) == 2.0));
  EXPECT_EQ(groups[1].data(0, 2), 2.0);
  EXPECT_EQ(groups[1].data(4, 2), 3.0) << "in file order";
  EXPECT_EQ(groups[1].input.writePath("estimates"), "e2_2.csv");
  EXPECT_EQ(groups[1].input.writePath("stacked"), "s.csv");
  EXPECT_EQ(groups[1].input.writePath("burn"), "");
}

TEST_F(ByGroup, DrawsFromStreamsOfItsOwn) {
  const auto input = grouped("");
  const std::vector<by_group> groups = input->groups();
  EXPECT_NE(groups[0].input.rng, groups[1].input.rng);
  EXPECT_EQ(groups[0].input.rng->output(), groups[1].input.rng->output());
}

TEST_F(ByGroup, SavesNoScoresBesideJointFiles) {
  const std::string scores = "OPTIONS: savelatent savepredicted saveresidual;";
  EXPECT_FALSE(grouped(scores + "NIMPS: 2; SAVE: separate = s*.csv;")->groups()[0].input.savelatent);
  const auto alone = grouped(scores + "SAVE: avgimp = s*.csv;")->groups();
  EXPECT_TRUE(alone[0].input.savelatent && alone[0].input.savepred && alone[0].input.saveresid);
}

TEST_F(ByGroup, RefusesAVariableThatMakesNoGroups) {
  EXPECT_EQ(fault([&] { add("")->groups(); }), "By group not set but being called in input!");
  const auto of = [&](const std::string& name) {
    return fault([&] {
      read("DATA: d.csv; SEED: 5; BURN: 6; ITERATIONS: 8; MODEL: y ~ x; BYGROUP: " + name + ";")->groups();
    });
  };
  EXPECT_EQ(of("w"), "ERROR: BYGROUP variable: \"w\" not in the data.");
  EXPECT_EQ(of("Y"),
            "ERROR: BYGROUP variable: \"Y\" has missing data.\n"
            "       BYGROUP variable must be completely observed.");
}

TEST_F(ByGroup, RefusesFilesThatMeetOnceTheLabelsAreKnown) {
  EXPECT_EQ(fault([&] { grouped("NIMPS: 1; SAVE: separate = e*.csv, estimates = e*.csv;")->groups(); }),
            "ERROR: The SAVE command (estimates) matches the SAVE command (separate).\n"
            "       Both would be written to \"e1.csv\".");
  write("d1.csv", "g,y,x\n1,1,2\n1,2,4\n2,3,3\n2,3,6\n");
  EXPECT_EQ(fault([&] {
              read(
                  "DATA: d1.csv; SEED: 5; BURN: 6; ITERATIONS: 8; MODEL: y ~ x; BYGROUP: x; "
                  "SAVE: estimates = d*.csv;");
            }),
            "ERROR: The SAVE command (estimates) matches the DATA command.");
  write("d6.csv", "g,y,x\n1,1,2\n1,2,4\n2,3,3\n2,3,6\n");
  EXPECT_EQ(fault([&] {
              read(
                  "DATA: d6.csv; SEED: 5; BURN: 6; ITERATIONS: 8; MODEL: y ~ x; BYGROUP: x; "
                  "SAVE: estimates = d*.csv;")
                  ->groups();
            }),
            "ERROR: The SAVE command (estimates) matches the DATA command.");
}

TEST_F(ByGroup, JointFilesNeedTheSetsOfEveryGroup) {
  const auto input = grouped("NIMPS: 2; SAVE: stacked = s.csv;");
  std::vector<by_group> groups = input->groups();
  EXPECT_EQ(fault([&] { input->writeData(groups); }), "Cannot transfer group imputations. Never Saved.");
  run_quietly(groups);
  input->writeData(groups);
  EXPECT_TRUE(std::filesystem::exists("s.csv"));
  EXPECT_EQ(input->imputations.at(2).n_rows, 10u);
  EXPECT_EQ(input->imputations.at(2).head_rows(5).eval()(0, 0), 1.0);
}

TEST_F(ByGroup, JointFilesAreWrittenOnlyWhereTheyAreAskedFor) {
  for (const char* more : {"", "SAVE: estimates = e*.csv;", "SAVE: stacked = s.csv;"}) {
    const auto input = grouped(more);
    const std::vector<by_group> groups = input->groups();
    EXPECT_EQ(fault([&] { input->writeData(groups); }), "") << more;
    EXPECT_FALSE(std::filesystem::exists("s.csv"));
  }
}

TEST_F(ByGroup, WarnsOfScoresThatJointFilesLack) {
  const auto input =
      grouped("OPTIONS: savelatent savepredicted saveresidual; NIMPS: 2; SAVE: stacked = s.csv;");
  std::vector<by_group> groups = input->groups();
  run_quietly(groups);
  warning::buffer.clear();
  input->writeData(groups);
  EXPECT_EQ(warnings(), (Names{"WARNING: Ignoring 'savePredicted' option with specific BYGROUP data set.",
                               "WARNING: Ignoring 'saveLatent' option with specific BYGROUP data set.",
                               "WARNING: Ignoring 'saveResidual' option with specific BYGROUP data set."}));
}

}  // namespace
}  // namespace tovik::tests::by_group_test
