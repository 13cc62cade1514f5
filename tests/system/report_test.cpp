// Runs every example and every folder of tests/system, and compares what the program prints with the expected
// text beside the command file, to the character. A folder holds
//   command.tovik   the command file
//   args            further arguments, as the shell reads them (optional)
//   status          the expected exit status (optional; 0 without it)
//   masked          numbers are compared by their places only (optional)
//   expected.txt    standard output
//   expected_report.txt   the file report.txt that --output made (optional)
//   files/          the result files under their names (optional); a run may leave others beside them
// With TOVIK_UPDATE_EXPECTED set in the environment the expected texts are written anew instead.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "system/program.hpp"

namespace fs = std::filesystem;
using namespace tovik::tests;

namespace {

struct report_case {
  fs::path folder;
  std::string command_file;
};

std::vector<report_case> all_cases() {
  std::vector<report_case> cases;
  const fs::path source = TOVIK_SOURCE_DIR;
  for (const auto& entry : fs::directory_iterator(source / "examples")) {
    if (entry.is_directory()) cases.push_back({entry.path(), entry.path().filename().string() + ".tovik"});
  }
  for (const auto& entry : fs::directory_iterator(source / "tests" / "system")) {
    if (entry.is_directory()) cases.push_back({entry.path(), "command.tovik"});
  }
  std::sort(cases.begin(), cases.end(),
            [](const report_case& a, const report_case& b) { return a.folder < b.folder; });
  return cases;
}

class Report : public testing::TestWithParam<report_case> {};

void expect_text(const std::string& actual, const fs::path& expected) {
  if (std::getenv("TOVIK_UPDATE_EXPECTED") != nullptr) {
    write_file(expected, actual);
  } else {
    EXPECT_EQ(actual, read_file(expected)) << expected;
  }
}

/// Result files hold no clock and no order of threads: they are compared as they are.
void expect_files(const fs::path& actual, const fs::path& expected) {
  if (!fs::exists(expected)) return;
  for (const auto& file : fs::directory_iterator(expected)) {
    const fs::path made = actual / file.path().filename();
    if (!fs::exists(made)) {
      ADD_FAILURE() << made << " was not written";
      continue;
    }
    expect_text(read_file(made), file.path());
  }
}

TEST_P(Report, PrintsTheExpectedText) {
  const fs::path folder = GetParam().folder;
  scratch_folder scratch;
  for (const auto& example : fs::recursive_directory_iterator(fs::path(TOVIK_SOURCE_DIR) / "examples")) {
    if (example.path().extension() == ".csv") {
      fs::copy_file(example.path(), scratch.path() / example.path().filename());
    }
  }
  fs::copy(folder, scratch.path(), fs::copy_options::recursive | fs::copy_options::overwrite_existing);
  std::string arguments = GetParam().command_file;
  if (fs::exists(folder / "args")) arguments += " " + read_file(folder / "args");
  while (!arguments.empty() && arguments.back() == '\n') arguments.pop_back();

  const fs::path before = fs::current_path();
  fs::current_path(scratch.path());
  const run_result run = run_program(arguments);
  fs::current_path(before);

  const int status = fs::exists(folder / "status") ? std::stoi(read_file(folder / "status")) : 0;
  EXPECT_EQ(run.status, status);
  const auto comparable = [&](const std::string& report) {
    return fs::exists(folder / "masked") ? masked_numbers(masked(report)) : masked(report);
  };
  expect_text(comparable(run.output), folder / "expected.txt");
  if (fs::exists(scratch.path() / "report.txt")) {
    expect_text(comparable(read_file(scratch.path() / "report.txt")), folder / "expected_report.txt");
  }
  expect_files(scratch.path(), folder / "files");
}

INSTANTIATE_TEST_SUITE_P(Folders, Report, testing::ValuesIn(all_cases()), [](const auto& info) {
  return info.param.folder.parent_path().filename().string() + "_" + info.param.folder.filename().string();
});

}  // namespace
