// The program as a user starts it: arguments, files that are not there, streams that break.

#include "system/program.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <string>

namespace fs = std::filesystem;
using namespace tovik::tests;

extern char** environ;

namespace {

const std::string no_warnings = "\nWARNING MESSAGES:\n\n  No warning messages.\n\n";

class Program : public testing::Test {
 protected:
  void SetUp() override {
    fs::copy_file(fs::path(TOVIK_SOURCE_DIR) / "examples/attitude/attitude.csv", folder() / "attitude.csv");
  }

  fs::path folder() const { return scratch_.path(); }

  /// Writes a command file and returns its path.
  std::string commands(const std::string& text) {
    const fs::path path = folder() / "command.tovik";
    write_file(path, text);
    return path.string();
  }

  std::string regression(const std::string& more = "") {
    return commands("DATA: attitude.csv; MODEL: rating ~ learning; SEED: 1; BURN: 10; ITERATIONS: 20;" +
                    more);
  }

 private:
  scratch_folder scratch_;
};

TEST_F(Program, AsksForThePathWithoutArguments) {
  const std::string input = regression();
  write_file(input + ".path", input + "\n");
  const run_result prompted = run_program("< " + input + ".path");
  EXPECT_EQ(prompted.status, 0);
  EXPECT_EQ(prompted.output.rfind("Please provide a path to an input file:\n>>> ", 0), 0u);
  EXPECT_NE(prompted.output.find("OUTCOME MODEL ESTIMATES"), std::string::npos);
}

TEST_F(Program, PrintsItsReleaseNotes) {
  const run_result run = run_program("--changelog");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.output.rfind("# Tovik release notes\n", 0), 0u);
  EXPECT_EQ(run.output, read_file(fs::path(TOVIK_SOURCE_DIR) / "CHANGELOG.md"));
}

TEST_F(Program, ReportsAFileThatIsNotThere) {
  const run_result run = run_program(folder().string() + "/none.tovik");
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(
      run.output.find("ERROR: Unable to open syntax file\n        at " + folder().string() + "/none.tovik"),
      std::string::npos)
      << run.output;
  EXPECT_NE(run.output.find(no_warnings), std::string::npos);
}

TEST_F(Program, ReportsAFolderInPlaceOfAFile) {
  const run_result run = run_program(folder().string());
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.output.find("ERROR: Unable to open syntax file\n        at "), std::string::npos)
      << run.output;
}

TEST_F(Program, ReportsAnEmptyCommandFile) {
  const run_result run = run_program(commands(""));
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.output.find("ERROR: Missing DATA command.\n" + no_warnings), std::string::npos) << run.output;
}

TEST_F(Program, SurvivesBinaryNoiseAndLongLines) {
  std::string noise;
  for (int i = 0; i < 100000; ++i) noise += static_cast<char>((i * 7919 + i / 13) % 256);
  for (const std::string& text :
       {noise, std::string(10'000'000, 'x'), "MODEL: " + std::string(10'000'000, '(') + ";"}) {
    const run_result run = run_program(commands(text));
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.output.find("ERROR"), std::string::npos);
  }
}

TEST_F(Program, ReadsCarriageReturnsAndByteOrderMarks) {
  std::string data = read_file(folder() / "attitude.csv");
  std::string crlf = "\xEF\xBB\xBF";
  for (char c : data) crlf += c == '\n' ? std::string("\r\n") : std::string(1, c);
  write_file(folder() / "attitude.csv", crlf);
  const std::string plain = run_program(regression()).output;
  const run_result run = run_program(commands(
      "\xEF\xBB\xBF"
      "DATA: attitude.csv;\r\nMODEL: rating ~ learning;\r\nSEED: 1;\r\nBURN: 10;\r\nITERATIONS: 20;\r\n"));
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(masked(run.output), masked(plain));
}

TEST_F(Program, LetsTheCommandLineOverrideTheFile) {
  const run_result run = run_program(regression() + " --seed 2");
  EXPECT_EQ(run.status, 0);
  EXPECT_NE(run.output.find("  WARNING: Overriding SEED command in input.\n"), std::string::npos);
}

TEST_F(Program, StopsOnAFullDisk) {
  const run_result run = run_program(regression() + " --output /dev/full");
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.output.find("ERROR: The file '/dev/full' could not be written completely.\n"),
            std::string::npos);
}

TEST_F(Program, SurvivesAClosedStandardOutput) {
  const std::string inner = "sh -c '" + std::string(TOVIK_PROGRAM) + " " + regression() + " >&- 2>/dev/null'";
  const int status = std::system(inner.c_str());
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 1);
}

TEST_F(Program, NamesAPredictorThatIsConstant) {
  write_file(folder() / "flat.csv", "y,x\n1,5\n2,5\n4,5\n3,5\n");
  const run_result run =
      run_program(commands("DATA: flat.csv; MODEL: y ~ x; SEED: 1; BURN: 10; ITERATIONS: 20;"));
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.output.find("ERROR: Variable 'x' does not vary.\n"), std::string::npos) << run.output;
}

/// The most threads that a process ever had, as its status file told while it ran.
int most_threads(pid_t pid) {
  int most = 0;
  for (int status = 0; waitpid(pid, &status, WNOHANG) == 0; usleep(500)) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(in, line);) {
      if (line.rfind("Threads:", 0) == 0) most = std::max(most, std::stoi(line.substr(8)));
    }
  }
  return most;
}

TEST_F(Program, RunsNoThreadBesideMainAndChains) {
  const std::string input = commands(
      "DATA: attitude.csv; MODEL: rating ~ learning raises; SEED: 1; BURN: 100000; ITERATIONS: 100000;"
      "CHAINS: 2 processors 2; OPTIONS: nopsr;");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  std::string program = TOVIK_PROGRAM;
  std::string argument = input;
  char* argv[] = {program.data(), argument.data(), nullptr};
  pid_t pid = 0;
  ASSERT_EQ(posix_spawn(&pid, program.c_str(), &actions, nullptr, argv, environ), 0);
  posix_spawn_file_actions_destroy(&actions);
  const int most = most_threads(pid);
  EXPECT_GE(most, 2);
  EXPECT_LE(most, 3);
}

TEST(MaskedNumbers, KeepPlacesAndTitles) {
  EXPECT_EQ(masked_numbers("  x ~ z        -12.345     ---      1.500 \n"),
            "  x ~ z          0.000     ---      0.000 \n");
  EXPECT_EQ(masked_numbers("  Median   2.5%  3.2.17  m.2 ~ x2  Tau 1\n"),
            "  Median   2.5%  3.2.17  m.2 ~ x2  Tau 1\n");
  EXPECT_EQ(masked_numbers("   1.38e-132   1.26e-04 \n"), "       0.000      0.000 \n");
  EXPECT_EQ(masked_numbers("      DIC2                  1454.331\n"), "      DIC2                  0.000\n");
  EXPECT_EQ(masked_numbers("                           26 to 50              4.902            12  \n"),
            "                           26 to 50              0.000             1  \n");
  EXPECT_EQ(masked_numbers("      71 to 105    with    106 to 140            1.064             6  \n"),
            "      71 to 105    with    106 to 140            0.000             1  \n");
}

TEST(MaskedNumbers, LeaveOutTheWarningsOfConvergence) {
  const std::string block = "\nWARNING MESSAGES:\n\n";
  const std::string slow =
      "  WARNING: At the end of the burn-in, the highest PSR\n             parameter 5, 'y': x\n"
      "  WARNING: The chains have not converged.\n           These estimates\n             'y': x  2.645  "
      "1.610\n";
  const std::string other = "  WARNING: Performing listwise deletion.\n           2 rows\n";
  EXPECT_EQ(masked_numbers(block + slow + "\n\nMODEL FIT:\n"),
            block + "  No warning messages.\n\n\nMODEL FIT:\n");
  EXPECT_EQ(masked_numbers(block + other + slow + other + "\n\n"), block + other + other + "\n\n");
}

/// Standard output and standard error of a run, one from the other.
struct two_streams {
  run_result run;
  std::string errors;
};

two_streams run_apart(const std::string& arguments, const fs::path& folder) {
  const std::string errors = (folder / "errors").string();
  two_streams out;
  out.run = run_program(arguments + " 2> " + errors + " #");  // what run_program adds is a comment
  out.errors = read_file(errors);
  out.run.output = masked(out.run.output);
  return out;
}

TEST_F(Program, ShowsHowFarItIsOnStandardErrorAlone) {
  const std::string input = regression();
  const two_streams plain = run_apart(input, folder());
  EXPECT_EQ(plain.errors, "") << "a file is no terminal";
  const two_streams shown = run_apart(input + " --progress", folder());
  EXPECT_EQ(shown.errors.rfind("\rSeconds: reading 0.", 0), 0u) << shown.errors;
  for (const char* phase : {", preparing ", ", burn-in ", ", sampling ", ", summarising ", ", writing "})
    EXPECT_NE(shown.errors.find(phase), std::string::npos) << phase;
  const two_streams quiet = run_apart(input + " --progress --quiet", folder());
  EXPECT_EQ(quiet.errors, "");
  EXPECT_EQ(plain.run.status, 0);
  EXPECT_TRUE(plain.run.output == shown.run.output);
  EXPECT_TRUE(plain.run.output == quiet.run.output);
}

TEST_F(Program, TakesOptionsBehindAWordThatStandsAlone) {
  const two_streams run = run_apart(regression() + " --quiet -c psr --progress -s 3", folder());
  EXPECT_EQ(run.run.status, 0);
  EXPECT_NE(run.run.output.find("Overriding SEED command"), std::string::npos);
  EXPECT_NE(run.errors.find("Seconds: "), std::string::npos);
  EXPECT_EQ(run_program(regression() + " --quiet --version").output.find('\n'), 6u);
}

TEST_F(Program, ShowsTheProgressOfGroupsAndOfImputations) {
  const std::string data = "DATA: attitude.csv; SEED: 1; BURN: 10; ITERATIONS: 20;";
  for (const char* more : {"MISSING: 63; OPTIONS: manifest; FCS: rating learning;",
                           "TRANSFORM: half = rating > 60; BYGROUP: half; MODEL: rating ~ learning;"}) {
    const std::string input = commands(data + more);
    const two_streams shown = run_apart(input + " --progress", folder());
    EXPECT_EQ(shown.run.status, 0) << shown.run.output;
    EXPECT_NE(shown.errors.find("Seconds: reading "), std::string::npos);
    EXPECT_TRUE(shown.run.output == run_apart(input, folder()).run.output);
  }
}

TEST_F(Program, LeavesNoSecondsBehindAnError) {
  const std::string input =
      commands("DATA: attitude.csv; MODEL: rating ~ nothing; BURN: 10; ITERATIONS: 20;");
  const two_streams failed = run_apart(input + " --progress", folder());
  EXPECT_EQ(failed.run.status, 1);
  EXPECT_EQ(failed.errors.find("Seconds"), std::string::npos);
}

}  // namespace
