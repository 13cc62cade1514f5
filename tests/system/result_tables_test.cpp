// What stands beside the report, for other programs: draws and tables with names, and what shapes them.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "app/version.hpp"
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

/// The column of a table of which the first line has the names; without commas in its cells.
std::vector<std::string> column(const std::vector<std::string>& table, const std::string& name) {
  const std::vector<std::string> head = split(table.front(), ",", false);
  const auto at = std::find(head.begin(), head.end(), name) - head.begin();
  std::vector<std::string> out;
  for (std::size_t r = 1; r < table.size(); ++r)
    out.push_back(split(table[r], ",", false).at(static_cast<std::size_t>(at)));
  return out;
}

TEST_F(ResultTables, DrawsAndTableHaveTheSameNames) {
  const std::pair<const char*, const char*> runs[] = {{"MODEL: y ~ x z;", "y ~ x"},
                                                      {"FCS: y x z; OPTIONS: manifest;", "x ~ y"}};
  for (const auto& [models, slope] : runs) {
    const run_result done = run(three_, models + std::string("SAVE: draws = d.csv, table = t.csv;"));
    EXPECT_EQ(done.status, 0) << done.output;
    const std::vector<std::string> draws = lines("d.csv"), table = lines("t.csv");
    std::vector<std::string> names = split(draws.front(), ",", false);
    names.erase(names.begin(), names.begin() + 3);
    EXPECT_EQ(names, column(table, "parameter"));
    EXPECT_EQ(draws.size(), 1u + 400);
    // The mean of the draws is that of the table.
    double sum = 0;
    for (const std::string& cell : column(draws, slope)) sum += std::stod(cell);
    const auto at = std::find(names.begin(), names.end(), slope) - names.begin();
    EXPECT_NEAR(sum / 400, std::stod(column(table, "mean").at(static_cast<std::size_t>(at))), 1e-8);
  }
}

TEST_F(ResultTables, DrawsOfChainsHaveFilesOfTheirOwn) {
  run(three_, "MODEL: y ~ x; CHAINS: 3; SAVE: draws = d*.csv;");
  for (const char* name : {"d1.csv", "d2.csv", "d3.csv"}) EXPECT_GT(lines(name).size(), 130u) << name;
  EXPECT_EQ(lines("d3.csv")[1].rfind("3,1,", 0), 0u);
}

TEST_F(ResultTables, AJsonTableHasTheSettingsOfTheRun) {
  const run_result done = run(three_, "MODEL: y ~ x; SAVE: table = t.json; OUTPUT: mean psr;");
  EXPECT_EQ(done.status, 0) << done.output;
  const auto object = nlohmann::json::parse(read_file(folder() / "t.json"));
  EXPECT_EQ(object["seed"], 5);
  EXPECT_EQ(object["chains"], 2);
  EXPECT_EQ(object["burn"], 200);
  EXPECT_EQ(object["iterations"], 400);
  EXPECT_EQ(object["data_file"], "data.csv");
  EXPECT_EQ(object["command_file"], (folder() / "command.tovik").string());
  EXPECT_EQ(object["n"], 7);
  EXPECT_NEAR(object["missing"]["x"].get<double>(), 100.0 / 7, 1e-9);
  EXPECT_EQ(object["version"], version_number);
  bool dropped = false;
  for (const std::string text : object["warnings"])
    dropped = dropped || text.find("dropped") != std::string::npos;
  EXPECT_TRUE(dropped) << object["warnings"];
  bool found = false;
  for (const auto& row : object["table"]) {
    if (row["parameter"] != "y ~ x") continue;
    found = true;
    EXPECT_EQ(row["section"], "Coefficients");
    EXPECT_TRUE(row["level"].is_null());
    EXPECT_TRUE(row["mean"].is_number());
    EXPECT_TRUE(row["mcse"].is_number());
    EXPECT_FALSE(row.contains("chisq")) << "a column that nobody has asked for";
  }
  EXPECT_TRUE(found);
}

TEST_F(ResultTables, GroupsHaveTablesOfTheirOwn) {
  const std::string data = "y,x,g\n1,2,1\n2,1,1\n3,4,1\n4,3,1\n2,2,2\n3,1,2\n5,4,2\n6,7,2\n1,1,2\n2,5,1\n";
  const run_result done =
      run(data, "BYGROUP: g; MODEL: y ~ x; SAVE: draws = d*.csv, table = t*.json; OPTIONS: prior1;");
  EXPECT_EQ(done.status, 0) << done.output;
  EXPECT_EQ(lines("d1.csv").size(), 1u + 400);
  const auto object = nlohmann::json::parse(read_file(folder() / "t2.json"));
  EXPECT_EQ(object["group"]["variable"], "g");
  EXPECT_EQ(object["group"]["value"], "2");
  EXPECT_EQ(object["n"], 5);
}

TEST_F(ResultTables, PathsAreCheckedAsThoseOfOtherFiles) {
  const std::pair<const char*, const char*> cases[] = {
      {"draws = data.csv;", "ERROR: The SAVE command (draws) matches the DATA command."},
      {"table = command.tovik;", "ERROR: The SAVE command (table) matches the command file."},
      {"draws = one.csv, table = one.csv;",
       "ERROR: The SAVE command (table) matches the SAVE command (draws)."},
      {"draws = d*.csv, table = d2.csv;",
       "ERROR: The SAVE command (table) matches the SAVE command (draws)."},
      {"table = none/t.csv;", "ERROR: File \"none/t.csv\" cannot be created."}};
  for (const auto& [save, message] : cases) {
    const run_result refused = run(three_, std::string("MODEL: y ~ x; SAVE: ") + save);
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.output.find(message), std::string::npos) << refused.output;
  }
}

}  // namespace
}  // namespace tovik::tests::result_tables_test
