// A run with BYGROUP is one run for each group: files and report are those of command files whose data are
// the rows of one group.

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "support/text.hpp"
#include "system/program.hpp"

namespace fs = std::filesystem;

namespace tovik::tests::groups_test {
namespace {

std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> out = split(text, "\n", false);
  if (!out.empty() && out.back().empty()) out.pop_back();
  return out;
}

class Groups : public testing::Test {
 protected:
  void SetUp() override {
    students_ = lines_of(read_file(fs::path(TOVIK_SOURCE_DIR) / "tests/language/data/students.csv"));
    write_rows("students.csv", "");
  }

  std::string at(const std::string& name) const { return (scratch_.path() / name).string(); }
  std::string text(const std::string& name) const { return read_file(at(name)); }

  /// The students of one group of the variable in column `column`, or all.
  void write_rows(const std::string& name, const std::string& value, std::size_t column = 0) const {
    std::string out = students_.front() + "\n";
    for (std::size_t i = 1; i < students_.size(); ++i) {
      if (value.empty() || split(students_[i], ",", false).at(column) == value) out += students_[i] + "\n";
    }
    write_file(at(name), out);
  }

  std::size_t column_of(const std::string& name) const {
    const std::vector<std::string> names = split(students_.front(), ",", false);
    return static_cast<std::size_t>(std::find(names.begin(), names.end(), name) - names.begin());
  }

  /// Files of results of a group: `label` stands where the path has "*".
  static std::string files(const std::string& label) {
    std::string out;
    for (const char* key : {"iterations", "burn", "estimates", "waldtest", "starts", "labelfile", "psr",
                            "avgimp", "varimp", "likelihood", "simple", "correlations"})
      out += (out.empty() ? "SAVE: " : ", ") + std::string(key) + " = " + key + label + ".csv";
    return out;
  }

  run_result run(const std::string& name, const std::string& data, const std::string& commands) const {
    write_file(at(name + ".tovik"), "DATA: " + data + ";\n" + commands);
    return run_program(at(name + ".tovik"));
  }

  /// From the data of a run to its warnings, or to its estimates when the warnings of groups stand elsewhere.
  static std::string part(const std::string& report, const char* first, const char* behind) {
    const std::size_t begin = report.find(first);
    const std::size_t end = report.find(behind, begin);
    EXPECT_NE(begin, std::string::npos) << first;
    return report.substr(begin, end == std::string::npos ? end : end - begin);
  }

  void expect_separate_runs(const std::string& variable, const std::vector<std::string>& values,
                            const std::string& commands) {
    const std::string joint = ", stacked = all.csv, stacked0 = all0.csv, separate = set*.csv;";
    const run_result whole =
        run("grouped", "students.csv", commands + "BYGROUP: " + variable + ";" + files("_*") + joint);
    ASSERT_EQ(whole.status, 0) << whole.output;
    const std::vector<std::string> reports = split_groups(masked(whole.output));
    ASSERT_EQ(reports.size(), values.size());
    const std::string header = lines_of(students_.front()).front();
    std::vector<std::string> sets(3, header + "\n");
    std::vector<std::string> stacked(3), stacked0(1);
    for (std::size_t g = 0; g < values.size(); ++g) {
      SCOPED_TRACE(variable + " " + values[g]);
      write_rows("rows.csv", values[g], column_of(variable));
      const run_result one =
          run("alone", "rows.csv",
              commands + files("_alone") + ", stacked0 = alone0.csv, separate = alone*.csv;");
      ASSERT_EQ(one.status, 0) << one.output;
      for (const std::string key : {"iterations", "burn", "estimates", "waldtest", "starts", "labelfile",
                                    "psr", "avgimp", "varimp", "likelihood"})
        EXPECT_EQ(text(key + "_" + values[g] + ".csv"), text(key + "_alone.csv")) << key;
      const std::string report = masked(one.output);
      for (const auto& [first, behind] :
           {std::pair("DATA INFORMATION:", "ITERATION HISTORY:"), std::pair("MODEL FIT:", "VARIABLE ORDER")})
        EXPECT_EQ(trimmed(part(reports[g], first, behind)), trimmed(part(report, first, behind)));
      for (std::size_t m = 1; m <= 3; ++m) {
        const std::vector<std::string> rows = lines_of(text("alone" + std::to_string(m) + ".csv"));
        for (std::size_t i = 1; i < rows.size(); ++i) {
          sets[m - 1] += rows[i] + "\n";
          stacked[m - 1] += std::to_string(m) + "," + rows[i] + "\n";
        }
      }
      for (const std::string& row : lines_of(text("alone0.csv"))) {
        if (row.rfind("0,", 0) == 0) stacked0[0] += row + "\n";
      }
    }
    std::string all = "imp#," + header + "\n";
    for (const std::string& rows : stacked) all += rows;
    EXPECT_EQ(text("all.csv"), all);
    EXPECT_EQ(text("all0.csv"), "imp#," + header + "\n" + stacked0[0] + all.substr(all.find('\n') + 1));
    for (std::size_t m = 1; m <= 3; ++m) EXPECT_EQ(text("set" + std::to_string(m) + ".csv"), sets[m - 1]);
    EXPECT_EQ(text("setlist.csv"), "set1.csv\nset2.csv\nset3.csv");
  }

  /// What each group prints, behind its heading.
  static std::vector<std::string> split_groups(const std::string& report) {
    std::vector<std::string> out;
    const std::string heading = " SAMPLER\n";
    const std::string whole = report.substr(0, report.find("VARIABLE ORDER IN IMPUTED DATA"));
    for (std::size_t at = whole.find(heading); at != std::string::npos;) {
      const std::size_t next = whole.find(heading, at + 1);
      out.push_back(whole.substr(at, next == std::string::npos ? next : next - at));
      at = next;
    }
    return out;
  }

  /// Without the heading of the next group and the empty lines around it.
  static std::string trimmed(std::string report) {
    const std::size_t rule = report.find("\n" + std::string(75, '-') + "\n\nGROUP ");
    return tovik::trim(report.substr(0, rule));
  }

  std::vector<std::string> students_;
  scratch_folder scratch_;
};

const std::string length =
    "SEED: 90291; BURN: 40; ITERATIONS: 60; NIMPS: 3; CHAINS: 2; DEBUG: allow_tune_fail;\n";

TEST_F(Groups, EqualSeparateRunsOfTheirRows) {
  expect_separate_runs(
      "program", {"1", "2", "3"},
      length +
          "ORDINAL: grade; CENTER: grandmean = hours;\n"
          "MODEL: score ~ pretest@b1 hours@b2 ses grade; WALDTEST: b1 b2 = 0; WALDTEST: score "
          "~ pretest@b1 hours@b2;\n");
}

TEST_F(Groups, EqualSeparateRunsOfClusteredRows) {
  expect_separate_runs("female", {"0", "1"},
                       length + "CLUSTERID: school; MODEL: score ~ pretest ses size; ses ~ pretest;\n");
}

TEST_F(Groups, ComeInAscendingOrderWithTheirWarnings) {
  std::string text_of_data = "g,y,x,v\n";
  for (int i = 0; i < 30; ++i)
    text_of_data += std::string(i % 3 == 0   ? "10"
                                : i % 3 == 1 ? "1.5"
                                             : "-2") +
                    "," + std::to_string((7 * i) % 5) + "," + std::to_string((3 * i) % 7) + ",1\n";
  text_of_data += "1.5,NA,NA,1\n";
  write_file(at("d.csv"), text_of_data);
  const run_result end = run("c", "d.csv",
                             "SEED: 1 2; BURN: 200; ITERATIONS: 400; BYGROUP: G; MODEL: y ~ x; x ~ "
                             "1; OPTIONS: nopsr;");
  ASSERT_EQ(end.status, 0) << end.output;
  const std::string& out = end.output;
  const std::string rule = "\n" + std::string(75, '-') + "\n";
  std::size_t place = 0;
  for (const char* name : {"-2", "1.5", "10"}) {
    const std::size_t next = out.find(rule + "\nGROUP " + name + " SAMPLER\n" + rule, place);
    ASSERT_NE(next, std::string::npos) << name;
    place = next + 1;
  }
  const std::size_t block = out.find("\nWARNING MESSAGES:\n\n  GLOBAL MESSAGES:\n\n");
  ASSERT_NE(block, std::string::npos);
  EXPECT_GT(block, place);
  EXPECT_EQ(out.find("WARNING MESSAGES:"), block + 1) << "the groups print none of their own";
  const std::string warnings = out.substr(block);
  const std::size_t unknown = warnings.find("The SEED command takes one value");
  const std::size_t first = warnings.find("\n\n  GROUP -2 MESSAGES:\n\n");
  const std::size_t second = warnings.find("\n\n  GROUP 1.5 MESSAGES:\n\n");
  const std::size_t dropped = warnings.find("1 observation has all variables in the imputation");
  const std::size_t third = warnings.find("\n\n  GROUP 10 MESSAGES:\n\n");
  ASSERT_NE(third, std::string::npos) << warnings;
  EXPECT_LT(unknown, first) << warnings;
  EXPECT_LT(first, second);
  EXPECT_LT(second, dropped) << warnings;
  EXPECT_LT(dropped, third) << warnings;
}

TEST_F(Groups, AFailureEndsTheRunAndKeepsEveryWarning) {
  write_file(at("d.csv"),
             "g,y,x\n1,1,2\n1,2,4\n1,4,3\n1,3,6\n1,5,5\n1,NA,NA\n2,3,1\n2,3,2\n2,3,5\n2,3,4\n2,3,7\n"
             "3,1,2\n3,2,4\n3,4,3\n3,3,6\n3,5,5\n");
  const run_result end = run("c", "d.csv",
                             "SEED: 1 2; BURN: 20; ITERATIONS: 40; BYGROUP: g; MODEL: y ~ x; x ~ 1;"
                             "SAVE: estimates = e*.csv;");
  EXPECT_EQ(end.status, 1);
  EXPECT_NE(end.output.find("GROUP 2 SAMPLER"), std::string::npos) << end.output;
  EXPECT_EQ(end.output.find("GROUP 3 SAMPLER"), std::string::npos);
  EXPECT_NE(end.output.find("ERROR: "), std::string::npos) << end.output;
  EXPECT_NE(end.output.find("The SEED command takes one value"), std::string::npos) << end.output;
  EXPECT_NE(end.output.find("1 observation has all variables in the imputation"), std::string::npos)
      << end.output;
  EXPECT_TRUE(fs::exists(at("e1.csv")));
  EXPECT_FALSE(fs::exists(at("e3.csv")));
}

TEST_F(Groups, HaveTracesOfTheirOwn) {
  write_file(
      at("c.tovik"),
      "DATA: students.csv; BYGROUP: female; MODEL: score ~ pretest; SEED: 1; BURN: 10; ITERATIONS: 10;");
  const run_result end = run_program(at("c.tovik") + " --traceplot " + at("traces"));
  ASSERT_EQ(end.status, 0) << end.output;
  for (const char* group : {"0", "1"}) {
    EXPECT_TRUE(fs::exists(at("traces/" + std::string(group) + "/labels.dat")));
    EXPECT_TRUE(fs::exists(at("traces/" + std::string(group) + "/burn1.csv")));
  }
}

}  // namespace
}  // namespace tovik::tests::groups_test
