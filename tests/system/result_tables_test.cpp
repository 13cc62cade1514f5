// What stands beside the report, for other programs: draws and tables with names, and what shapes them.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "support/text.hpp"
#include "system/program.hpp"

namespace tovik::tests::result_tables_test {
namespace {

namespace fs = std::filesystem;

class ResultTables : public testing::Test {
 protected:
  fs::path folder() const { return scratch_.path(); }

  /// Runs a command file on data of three variables; NA is missing.
  run_result run(const std::string& data, const std::string& commands) {
    write_file(folder() / "data.csv", data);
    write_file(folder() / "command.tovik",
               "DATA: data.csv; MISSING: NA; SEED: 5; BURN: 200; ITERATIONS: 400;\n" + commands);
    return run_program((folder() / "command.tovik").string());
  }

  std::vector<std::string> lines(const std::string& file) const {
    std::string text = read_file(folder() / file);
    if (!text.empty() && text.back() == '\n') text.pop_back();
    return split(text, "\n", false);
  }

  const std::string three_ = "y,x,z\n1,2,1\n2,NA,3\n3,1,2\nNA,NA,NA\n4,5,6\n5,4,4\n2,3,NA\n7,6,5\n";

 private:
  scratch_folder scratch_;
};

TEST_F(ResultTables, ABriefReportHasOneLineInThePlaceOfPredictorModels) {
  const std::string commands = "FCS: y x z; OPTIONS: nopsr";
  const run_result whole = run(three_, commands + ";");
  const run_result brief = run(three_, commands + " brief;");
  EXPECT_EQ(brief.status, 0);
  const std::string line =
      "\nPREDICTOR MODEL ESTIMATES:\n\n"
      "  NOTE: The tables of 12 parameters are left out (brief on OPTIONS).\n";
  EXPECT_NE(brief.output.find(line), std::string::npos) << brief.output;
  EXPECT_EQ(brief.output.find("Missing variable:"), std::string::npos);
  EXPECT_NE(whole.output.find("Missing variable:"), std::string::npos);
  const std::string head = masked(whole.output).substr(0, masked(whole.output).find("PREDICTOR MODEL"));
  EXPECT_EQ(masked(brief.output).substr(0, head.size()), head);
}

TEST_F(ResultTables, SavedDataHaveTheRowsOfTheDataFileWithKeeprows) {
  const std::string commands = "FCS: y x; NIMPS: 2; SAVE: stacked0 = all.csv; OPTIONS: ";
  run(three_, commands + "savevarnames;");
  EXPECT_EQ(lines("all.csv").size(), 1u + 8 + 2 * 7);
  const run_result kept = run(three_, commands + "savevarnames keeprows;");
  EXPECT_EQ(kept.status, 0) << kept.output;
  EXPECT_EQ(lines("all.csv").size(), 1u + 3 * 8);
  EXPECT_EQ(kept.output.find("DEBUG"), std::string::npos);
}

}  // namespace
}  // namespace tovik::tests::result_tables_test
