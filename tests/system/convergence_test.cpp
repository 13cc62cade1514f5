// What the report says of chains that mix badly, and that it says nothing of others.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "system/program.hpp"

namespace fs = std::filesystem;
namespace tovik::tests::convergence_test {
namespace {

class ConvergenceReport : public testing::Test {
 protected:
  void SetUp() override {
    for (const char* name : {"attitude/attitude.csv", "nurses/nurses.csv"}) {
      const fs::path from = fs::path(TOVIK_SOURCE_DIR) / "examples" / name;
      fs::copy_file(from, scratch_.path() / from.filename());
    }
  }

  /// The block of warnings in the report of a run.
  std::string warnings(const std::string& commands) const {
    const fs::path path = scratch_.path() / "command.tovik";
    write_file(path, commands);
    const std::string report = run_program(path.string()).output;
    const std::size_t from = report.find("\nWARNING MESSAGES:\n");
    const std::size_t to = report.find("\n\n\n", from);
    if (from == std::string::npos || to == std::string::npos) return "no block in\n" + report;
    return report.substr(from, to - from + 1);
  }

  /// Thresholds that only a slow walk reaches: an ordinal outcome whose propensity, drawn by Metropolis steps,
  /// predicts another outcome.
  static std::string slow(const std::string& run) {
    return "DATA: nurses.csv; MISSING: NA; CLUSTERID: ward; ORDINAL: exhausted; FIXED: patients nights years;"
           "DEBUG: use_autosolver = false;"
           "MODEL: leave ~ exhausted.latent years; exhausted ~ nights patients years; SEED: 1;" +
           run;
  }

 private:
  scratch_folder scratch_;
};

bool has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

const std::string no_warnings = "\nWARNING MESSAGES:\n\n  No warning messages.\n";

TEST_F(ConvergenceReport, NamesTheParametersOfASlowChain) {
  const std::string text = warnings(slow("BURN: 300; ITERATIONS: 300;"));
  EXPECT_TRUE(
      has(text, "  WARNING: At the end of the burn-in, the highest potential scale reduction (PSR) is "))
      << text;
  EXPECT_TRUE(has(text, "  WARNING: The chains have not converged.\n")) << text;
  EXPECT_TRUE(has(text, "\n             'exhausted': Tau 2 ")) << text;
  EXPECT_TRUE(has(text, "           Please use longer BURN and ITERATIONS;")) << text;
  EXPECT_FALSE(has(text, "imputed data sets")) << text;
}

TEST_F(ConvergenceReport, SaysThatImputedDataSetsComeFromTheSlowChain) {
  const std::string text = warnings(slow("BURN: 300; ITERATIONS: 300; NIMPS: 2; SAVE: stacked = s.csv;"));
  EXPECT_TRUE(
      has(text, "           The imputed data sets come from the same chains, which have not converged.\n"))
      << text;
}

TEST_F(ConvergenceReport, HasNoWordOnAGoodChain) {
  EXPECT_EQ(warnings("DATA: attitude.csv; MODEL: rating ~ learning; SEED: 1; BURN: 1000; ITERATIONS: 2000;"),
            no_warnings);
}

TEST_F(ConvergenceReport, HasNoWordOnACoefficientThatTheModelHolds) {
  EXPECT_EQ(
      warnings("DATA: attitude.csv; MODEL: rating ~ learning@0.5; SEED: 1; BURN: 1000; ITERATIONS: 2000;"),
      no_warnings);
}

TEST_F(ConvergenceReport, SaysThatAShortBurnInHasNoPsrUnlessNoneIsWanted) {
  const std::string run =
      "DATA: attitude.csv; MODEL: rating ~ learning; SEED: 1; BURN: 99; ITERATIONS: 2000;";
  EXPECT_EQ(warnings(run),
            "\nWARNING MESSAGES:\n\n"
            "  WARNING: The burn-in has no potential scale reduction (PSR), which takes at least\n"
            "           100 iterations. Please use a longer BURN.\n");
  EXPECT_EQ(warnings(run + "OPTIONS: nopsr;"), no_warnings);
}

TEST_F(ConvergenceReport, ImputationWithoutEquationsIsJudgedByItsPredictorModels) {
  const std::string text = warnings(
      "DATA: nurses.csv; MISSING: NA; ORDINAL: exhausted; FCS: exhausted leave years; SEED: 1; BURN: 100;"
      "ITERATIONS: 120; NIMPS: 2; SAVE: separate = s*.csv;");
  EXPECT_TRUE(has(text, "  WARNING: The chains have ")) << text;
  EXPECT_TRUE(has(text, "\n             'exhausted': Tau ")) << text;
  EXPECT_TRUE(has(text, "           The imputed data sets come from the same chains")) << text;
}

}  // namespace
}  // namespace tovik::tests::convergence_test
