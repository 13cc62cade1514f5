// What the language can say and this version does not estimate stops by name, after every check of the
// language.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "system/program.hpp"

namespace fs = std::filesystem;
using namespace tovik::tests;

namespace {

struct request {
  std::string commands;  ///< without data and length of the run
  std::string what;      ///< as the message names it
};

const std::vector<request> requests = {
    {"DEBUG: allow_multivariate; MODEL: score hours | ~ pretest;",
     "An equation with several outcomes ('score hours')"},
    {"OPTIONS: use_phantom; MODEL: score ~ pretest; hours ~ ses; score <-> hours; var(score) ~ ses;",
     "A correlation by phantoms beside a variance model ('score')"},
    {"NOMINAL: program; CLUSTERID: school; RANDOMEFFECT: r = program | Intercept[school];"
     " MODEL: program ~ pretest; score ~ r;",
     "A named random effect of a nominal outcome as a predictor ('score')"},
};

void PrintTo(const request& one, std::ostream* out) {
  *out << one.commands;
}

class Refusal : public testing::TestWithParam<request> {
 protected:
  run_result run(const std::string& commands) {
    fs::copy_file(fs::path(TOVIK_SOURCE_DIR) / "tests/language/data/students.csv",
                  scratch_.path() / "students.csv", fs::copy_options::overwrite_existing);
    write_file(scratch_.path() / "c.tovik",
               "DATA: students.csv; SEED: 1; BURN: 10; ITERATIONS: 20; " + commands);
    return run_program((scratch_.path() / "c.tovik").string());
  }

  scratch_folder scratch_;
};

TEST_P(Refusal, NamesTheRequest) {
  const run_result end = run(GetParam().commands);
  EXPECT_EQ(end.status, 1);
  EXPECT_NE(end.output.find("ERROR: " + GetParam().what), std::string::npos) << end.output;
  EXPECT_NE(end.output.find(" is not available in this version.\n"), std::string::npos) << end.output;
  EXPECT_EQ(end.output.find("ITERATION HISTORY"), std::string::npos);
}

TEST_P(Refusal, ComesAfterEveryMessageOfTheLanguage) {
  const std::string& commands = GetParam().commands;
  const bool fcs = commands.find("MODEL:") == std::string::npos;
  const run_result end = run(fcs ? commands + " ORDINAL: nothing;" : commands + " MODEL: hours ~ nothing;");
  EXPECT_EQ(end.status, 1);
  EXPECT_NE(end.output.find(fcs ? "ERROR: Variable 'nothing' in the ORDINAL command is not in the data."
                                : "ERROR: Cannot find variable \"nothing\" in VARIABLE command."),
            std::string::npos)
      << end.output;
}

INSTANTIATE_TEST_SUITE_P(Requests, Refusal, testing::ValuesIn(requests));

}  // namespace
