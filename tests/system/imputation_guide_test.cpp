// Every example of the page on multiple imputation runs from end to end, on few iterations, and leaves the
// files that it asks for.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "support/text.hpp"
#include "system/program.hpp"

namespace fs = std::filesystem;
using namespace tovik::tests;

namespace {

const fs::path source = TOVIK_SOURCE_DIR;

/// Commands, and the message that they lead to; empty for none.
struct example {
  std::string commands;
  std::string message;
};

std::vector<example> examples() {
  std::ifstream in(source / "docs" / "imputation.md");
  std::vector<example> out;
  std::string* block = nullptr;
  bool open = false;
  for (std::string line; std::getline(in, line);) {
    if (line.rfind("```", 0) == 0) {
      open = !open;
      block = nullptr;
      if (open && line == "```tovik") block = &out.emplace_back().commands;
      if (open && line == "```message") block = &out.back().message;
    } else if (block != nullptr) {
      *block += line + "\n";
    }
  }
  return out;
}

/// The paths of a SAVE command, with their keys.
std::vector<std::pair<std::string, std::string>> saved(const std::string& commands) {
  std::vector<std::pair<std::string, std::string>> out;
  for (const std::string& command : tovik::split(commands, ";", true)) {
    const std::size_t at = command.find("SAVE:");
    if (at == std::string::npos) continue;
    for (const std::string& piece : tovik::split(command.substr(at + 5), ",", true)) {
      const std::size_t equals = piece.find('=');
      out.emplace_back(tovik::trim(piece.substr(0, equals)), tovik::trim(piece.substr(equals + 1)));
    }
  }
  return out;
}

void PrintTo(const example& one, std::ostream* out) {
  *out << one.commands;
}

class ImputationGuide : public testing::TestWithParam<example> {};

TEST_P(ImputationGuide, ExampleRuns) {
  scratch_folder scratch;
  fs::copy_file(source / "tests/language/data/students.csv", scratch.path() / "students.csv");
  std::string commands = GetParam().commands;
  commands = tovik::replace_all(commands, "THIN: 50;", "THIN: 2;");
  commands = tovik::replace_all(commands, "THIN: 100;", "THIN: 2;");
  if (commands.find("NIMPS:") == std::string::npos) commands += "ITERATIONS: 20;\n";
  write_file(scratch.path() / "c.tovik",
             "DATA: students.csv; SEED: 90291; BURN: 40; DEBUG: allow_tune_fail;\n" + commands);
  const run_result run = run_program((scratch.path() / "c.tovik").string());
  if (GetParam().message.rfind("ERROR", 0) == 0) {
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.output.find(GetParam().message), std::string::npos) << run.output;
    return;
  }
  EXPECT_EQ(run.status, 0) << run.output;
  for (const auto& [key, path] : saved(GetParam().commands)) {
    const std::string first = tovik::replace_all(path, "*", "1");
    EXPECT_GT(fs::file_size(scratch.path() / first), 1000u) << key;
  }
}

INSTANTIATE_TEST_SUITE_P(Examples, ImputationGuide, testing::ValuesIn(examples()));

}  // namespace
