// What must not matter does not: the order of the rows, the case of names, comments and blanks, the
// processors.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "scratch_folder.hpp"
#include "system/program.hpp"

namespace fs = std::filesystem;

namespace tovik::tests::metamorphic_test {
namespace {

class Metamorphic : public testing::Test {
 protected:
  void SetUp() override {
    fs::copy_file(fs::path(TOVIK_SOURCE_DIR) / "examples/orthodont/orthodont.csv",
                  scratch_.path() / "data.csv");
  }

  /// The report from the table of estimates on, where nothing names files or times.
  std::string estimates(const std::string& commands, const std::string& arguments = "") {
    write_file(scratch_.path() / "command.tovik", commands);
    const run_result run = run_program((scratch_.path() / "command.tovik").string() + arguments);
    EXPECT_EQ(run.status, 0) << run.output;
    const std::size_t at = run.output.find("OUTCOME MODEL ESTIMATES");
    EXPECT_NE(at, std::string::npos) << run.output;
    return at == std::string::npos ? "" : run.output.substr(at);
  }

  const fs::path& folder() const { return scratch_.path(); }

  const std::string plain_ =
      "DATA: data.csv; CLUSTERID: id; MODEL: distance ~ age male | age; SEED: 7; BURN: 200; "
      "ITERATIONS: 400; CHAINS: 3;";

 private:
  scratch_folder scratch_;
};

TEST_F(Metamorphic, OrderOfRowsWithinClusters) {
  const std::string sorted = estimates(plain_);
  std::istringstream in(read_file(folder() / "data.csv"));
  std::string header, line;
  std::getline(in, header);
  std::vector<std::string> rows;
  while (std::getline(in, line)) rows.push_back(line);
  // Rows of a cluster stand in the order of the file, so that reversing it reverses every sum within a
  // cluster.
  std::reverse(rows.begin(), rows.end());
  std::string text = header + "\n";
  for (const std::string& row : rows) text += row + "\n";
  write_file(folder() / "data.csv", text);
  EXPECT_EQ(estimates(plain_), sorted);
}

TEST_F(Metamorphic, CaseOfCommandsAndNames) {
  const std::string reference = estimates(plain_);
  EXPECT_EQ(estimates("data: data.csv; clusterid: ID; Model: Distance ~ AGE Male | Age; "
                      "seed: 7; burn: 200; iterations: 400; chains: 3;"),
            reference);
}

TEST_F(Metamorphic, CommentsAndBlanks) {
  const std::string reference = estimates(plain_);
  EXPECT_EQ(estimates("# a comment; with a semicolon\nDATA:\tdata.csv ;\n\n  CLUSTERID:   id; # more\n"
                      "MODEL:\n  distance~age\n    male|age ;  # and more: y ~ x;\nSEED: 7;BURN: 200;\r\n"
                      "ITERATIONS:   400;\nCHAINS: 3;\n# the end"),
            reference);
}

TEST_F(Metamorphic, NumberOfProcessors) {
  const std::string reference = estimates(plain_ + "CHAINS: 3 processors 1;");
  for (const char* processors : {"2", "4"})
    EXPECT_EQ(estimates(plain_ + "CHAINS: 3 processors " + processors + ";"), reference) << processors;
}

}  // namespace
}  // namespace tovik::tests::metamorphic_test
