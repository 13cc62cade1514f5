// What a run leaves on the disk when something goes wrong: full disks, folders that go, closed pipes,
// signals, paths that would destroy other files, wrong options.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "system/program.hpp"

namespace fs = std::filesystem;
using namespace tovik::tests;

namespace {

const std::string keys[] = {"stacked", "stacked0", "avgimp", "varimp",    "estimates",  "iterations",
                            "burn",    "psr",      "starts", "labelfile", "likelihood", "simple"};

std::string unwritten(const std::string& path) {
  return "ERROR: The file '" + path + "' could not be written completely.\n";
}

class Files : public testing::Test {
 protected:
  void SetUp() override {
    fs::copy_file(fs::path(TOVIK_SOURCE_DIR) / "examples/attitude/attitude.csv", at("attitude.csv"));
  }

  std::string at(const std::string& name) const { return (scratch_.path() / name).string(); }
  bool exists(const std::string& name) const { return fs::exists(at(name)); }
  std::string text(const std::string& name) const { return read_file(at(name)); }

  /// Writes a command file of a run of `iterations`.
  std::string commands(const std::string& more, const std::string& iterations = "400") const {
    write_file(
        at("run.tovik"),
        "DATA: attitude.csv; CENTER: grandmean = learning complaints; MODEL: rating ~ complaints*learning "
        "complaints learning;"
        "SIMPLE: complaints | learning @ 0; SEED: 1; BURN: 200; CHAINS: 2 processors 1; ITERATIONS: " +
            iterations + ";" + more);
    return at("run.tovik");
  }

  /// Runs a line of the shell, in which "$P" is the program; the status as the shell tells it.
  static int shell(const std::string& line) {
    const std::string whole = "P=" + std::string(TOVIK_PROGRAM) + "; " + line;
    const int status = std::system(whole.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

  void expect_no_temporaries() const {
    for (const auto& file : fs::directory_iterator(scratch_.path())) {
      EXPECT_NE(file.path().filename().string().rfind(".tovik", 0), 0u) << file.path();
    }
  }

 private:
  scratch_folder scratch_;
};

TEST_F(Files, AFullDiskIsNamedForEveryKeyAndLosesNoOtherFile) {
  for (const std::string& key : keys) {
    const std::string other = key == "burn" ? "iterations" : "burn";
    fs::remove(at("other.csv"));
    const run_result run = run_program(
        commands("NIMPS: 2; SAVE: " + key + " = /dev/full, separate = s*.csv, " + other + " = other.csv;"));
    EXPECT_EQ(run.status, 1) << key;
    EXPECT_EQ(run.output.substr(run.output.size() - unwritten("/dev/full").size()), unwritten("/dev/full"))
        << key;
    EXPECT_NE(run.output.find("OUTCOME MODEL ESTIMATES"), std::string::npos) << key;
    EXPECT_TRUE(exists("other.csv")) << key;
    EXPECT_TRUE(exists("s2.csv")) << key;
  }
  expect_no_temporaries();
}

TEST_F(Files, AFullDiskIsNamedOnBothStreams) {
  const std::string input = commands("SAVE: burn = /dev/full;");
  EXPECT_EQ(shell("$P " + input + " > " + at("out") + " 2> " + at("err")), 1);
  EXPECT_EQ(text("err"), unwritten("/dev/full"));
  EXPECT_NE(text("out").find("\n" + unwritten("/dev/full")), std::string::npos);
}

TEST_F(Files, FilesThatMayNotGrowKeepWhatStoodThere) {
  write_file(at("it.csv"), "results of yesterday\n");
  const std::string input = commands("SAVE: iterations = it.csv, estimates = e.csv;");
  // Blocks of 512 or 1024 bytes: 16 KiB at most.
  EXPECT_EQ(shell("(ulimit -f 16; cd /; $P " + input + " 2>/dev/null) | cat > " + at("out") +
                  "; grep -q \"ERROR: The file "
                  "'it.csv' could not be written completely.\" " +
                  at("out")),
            0);
  EXPECT_EQ(text("it.csv"), "results of yesterday\n");
  EXPECT_TRUE(exists("e.csv"));
  expect_no_temporaries();
}

// A sanitizer opens descriptors for checks of its own, and reports what it cannot check as a fault.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST_F(Files, TheShortageOfDescriptorsIsToldAsWhatItIs) {
  const std::string line = "; exec $P " + commands("NIMPS: 2; SAVE: separate = s*.csv, burn = b*.csv;") +
                           " --output " + at("report") + ") > " + at("out") + " 2>&1";
  bool refused = false;
  // The first of them are too few for the loader of the program, which then says so.
  for (int descriptors = 3; descriptors <= 40; ++descriptors) {
    const int status = shell("(ulimit -n " + std::to_string(descriptors) + line);
    if (status == 0) break;
    if (status == 127) continue;
    EXPECT_EQ(status, 1) << descriptors;
    EXPECT_NE(text("out").find("The system lets the program open no more files"), std::string::npos)
        << descriptors << ": " << text("out");
    EXPECT_EQ(text("out").find("cannot be found"), std::string::npos);
    refused = true;
  }
  EXPECT_TRUE(refused);
  EXPECT_TRUE(exists("s2.csv"));
  expect_no_temporaries();
}
#endif

TEST_F(Files, AFolderThatGoesDuringTheRunLosesItsFilesOnly) {
  fs::create_directory(at("gone"));
  const std::string input =
      commands("NIMPS: 2; SAVE: separate = gone/s*.csv, burn = gone/b.csv, estimates = e.csv;", "200000");
  EXPECT_EQ(shell("$P " + input + " > " + at("out") + " 2>/dev/null & until grep -q 'burn-in started' " +
                  at("out") + "; do sleep 0.05; done; rm -r " + at("gone") + "; wait $!"),
            1);
  for (const char* name : {"gone/s1.csv", "gone/s2.csv", "gone/slist.csv", "gone/b.csv"}) {
    EXPECT_NE(text("out").find(unwritten(name)), std::string::npos) << name;
  }
  EXPECT_TRUE(exists("e.csv"));
  EXPECT_FALSE(exists("gone"));
}

TEST_F(Files, AReaderWhoGoesAwayLosesNoFile) {
  shell("$P " + commands("NIMPS: 2; SAVE: estimates = e.csv, separate = s*.csv;") +
        " 2>/dev/null | head -n 1 > /dev/null");
  for (const char* name : {"e.csv", "s1.csv", "s2.csv", "slist.csv"}) EXPECT_TRUE(exists(name)) << name;
}

// Behind the burn-in the store of all draws is made, which takes its time under a sanitizer on a busy
// machine.
TEST_F(Files, ASignalEndsTheRunWithTheDrawsSoFar) {
  const std::string input =
      commands("NIMPS: 2; SAVE: iterations = it.csv, estimates = e.csv, separate = s*.csv;", "4000000");
  const std::pair<const char*, int> signals[] = {{"INT", 130}, {"TERM", 143}};
  for (const auto& [signal, status] : signals) {
    write_file(at("s2.csv"), "of an earlier run");
    EXPECT_EQ(shell("$P " + input + " > " + at("out") + " & until grep -q 'completed burn-in' " + at("out") +
                    "; do sleep 0.05; done; sleep 1.5; kill -" + signal + " $!; wait $!"),
              status);
    const std::string report = text("out");
    const std::size_t block = report.find("WARNING MESSAGES:\n\n  WARNING: The run was interrupted after ");
    ASSERT_NE(block, std::string::npos) << report;
    EXPECT_NE(
        report.find(" of 4000000 iterations.\n           Of 2 imputed data sets 0 were drawn.\n", block),
        std::string::npos);
    EXPECT_NE(report.find("OUTCOME MODEL ESTIMATES"), std::string::npos);
    EXPECT_TRUE(exists("it.csv") && exists("e.csv"));
    EXPECT_FALSE(exists("s2.csv")) << "no mixture of two runs";
    EXPECT_EQ(text("slist.csv"), "");
    fs::remove(at("it.csv"));
    fs::remove(at("e.csv"));
  }
  expect_no_temporaries();
}

TEST_F(Files, ASignalInTheBurnInLeavesNothingToEstimateFrom) {
  write_file(
      at("run.tovik"),
      "DATA: attitude.csv; MODEL: rating ~ complaints; SEED: 1; BURN: 3000000; ITERATIONS: 20; NIMPS: 2;"
      "CHAINS: 2 processors 1; OPTIONS: labels;"
      "SAVE: iterations = it.csv, estimates = e.csv, stacked = st.csv, stacked0 = st0.csv, avgimp = a.csv,"
      "varimp = v.csv, starts = s.csv, psr = p.csv, likelihood = l.csv, correlations = c.csv;");
  EXPECT_EQ(shell("$P " + at("run.tovik") + " > " + at("out") + " & until grep -q 'burn-in started' " +
                  at("out") + "; do sleep 0.05; done; sleep 0.1; kill -TERM $!; wait $!"),
            143);
  EXPECT_NE(text("out").find("  WARNING: The run was interrupted after 0 of 20 iterations.\n"
                             "           There are no draws to estimate from.\n"),
            std::string::npos);
  EXPECT_EQ(text("out").find("OUTCOME MODEL ESTIMATES"), std::string::npos);
  EXPECT_EQ(text("it.csv"), "");
}

TEST_F(Files, ASignalInAGroupEndsTheGroupsBehindIt) {
  std::string rows = "g,y,x\n";
  for (int i = 0; i < 40; ++i)
    rows += std::to_string(1 + i % 2) + "," + std::to_string((7 * i) % 11) + "," +
            std::to_string((3 * i) % 13) + "\n";
  write_file(at("d.csv"), rows);
  write_file(at("run.tovik"),
             "DATA: d.csv; BYGROUP: g; MODEL: y ~ x; SEED: 1; BURN: 200; ITERATIONS: 4000000; NIMPS: 2;"
             "CHAINS: 2 processors 1; SAVE: estimates = e*.csv, separate = s*.csv;");
  write_file(at("s2.csv"), "of an earlier run");
  EXPECT_EQ(shell("$P " + at("run.tovik") + " > " + at("out") + " & until grep -q 'completed burn-in' " +
                  at("out") + "; do sleep 0.05; done; sleep 1.5; kill -TERM $!; wait $!"),
            143);
  const std::string report = text("out");
  EXPECT_EQ(report.find("GROUP 2 SAMPLER"), std::string::npos);
  EXPECT_NE(report.find("  GLOBAL MESSAGES:\n\n"
                        "  WARNING: The run was interrupted before all groups had drawn their data sets.\n"
                        "           Of 2 imputed data sets 0 have all groups and are saved.\n"),
            std::string::npos)
      << report;
  EXPECT_NE(report.find("  GROUP 1 MESSAGES:\n\n  WARNING: The run was interrupted after "),
            std::string::npos)
      << report;
  EXPECT_NE(report.find("  GROUP 2 MESSAGES:\n\n  No warning messages.\n"), std::string::npos);
  EXPECT_TRUE(exists("e1.csv"));
  EXPECT_FALSE(exists("e2.csv"));
  EXPECT_FALSE(exists("s2.csv")) << "no mixture of two runs";
  EXPECT_EQ(text("slist.csv"), "");
  expect_no_temporaries();
}

TEST_F(Files, ASecondSignalEndsAtOnce) {
  // The data take longer than both signals, and the first is looked at only behind them.
  write_file(at("slow.tovik"),
             "SIMULATE: n = 3000000; n: x = normal(0, 1); y = normal(x, 1); MODEL: y ~ x; SEED: 1; BURN: 10; "
             "ITERATIONS: 10000; SAVE: burn = slow.csv;");
  EXPECT_EQ(shell("$P " + at("slow.tovik") + " > " + at("out") +
                  " & p=$!; sleep 0.1; kill -TERM $p; sleep 0.2; kill -TERM $p; wait $p"),
            143);
  EXPECT_EQ(text("out").find("interrupted"), std::string::npos);
  EXPECT_FALSE(exists("slow.csv"));
}

TEST_F(Files, TheReportReplacesNoFileOfTheRun) {
  const std::string data = text("attitude.csv");
  const std::string input = commands("SAVE: burn = b.csv;");
  const std::string written = text("run.tovik");
  const std::pair<const char*, const char*> cases[] = {
      {"attitude.csv", "ERROR: The option --output matches the DATA command.\n"},
      {"run.tovik", "ERROR: The option --output matches the command file.\n"},
      {"b.csv", "ERROR: The option --output matches the SAVE command (burn).\n"}};
  for (const auto& [name, message] : cases) {
    const run_result run = run_program(input + " --output " + at(name));
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.output.find(message), std::string::npos) << run.output;
  }
  EXPECT_EQ(text("attitude.csv"), data);
  EXPECT_EQ(text("run.tovik"), written);
  // A mistake that is found before the name of the data.
  write_file(at("bad.tovik"), "BURN: x; DATA: attitude.csv;");
  EXPECT_EQ(run_program(at("bad.tovik") + " --output " + at("attitude.csv")).status, 1);
  EXPECT_EQ(text("attitude.csv"), data);
  // An earlier report may be replaced by one that stops early.
  EXPECT_EQ(run_program(input + " --output " + at("report.txt")).status, 0);
  EXPECT_NE(text("report.txt").find("OUTCOME MODEL"), std::string::npos);
  EXPECT_EQ(run_program(at("bad.tovik") + " --output " + at("report.txt")).status, 1);
  EXPECT_EQ(text("report.txt").find("OUTCOME MODEL"), std::string::npos);
  expect_no_temporaries();
}

TEST_F(Files, AReportThatCannotBeOpenedStopsTheRun) {
  const std::string input = commands("SAVE: burn = b.csv;");
  EXPECT_EQ(
      shell("$P " + input + " --output " + at("no/report.txt") + " > " + at("out") + " 2> " + at("err")), 1);
  EXPECT_EQ(text("out"), "");
  EXPECT_EQ(text("err"),
            "ERROR: File \"" + at("no/report.txt") +
                "\" cannot be created.\n       Please check that the file path is correct in --output.\n");
  EXPECT_FALSE(exists("b.csv"));
}

TEST_F(Files, TracesStandInAFolderThatIsMadeForThem) {
  EXPECT_EQ(run_program(commands("") + " --traceplot new/traces").status, 0);
  EXPECT_TRUE(exists("new/traces/burn1.csv") && exists("new/traces/labels.dat"));
}

TEST_F(Files, StandardOutputTakesAFileWhereItStands) {
  EXPECT_EQ(shell("$P " + commands("SAVE: labelfile = /dev/stdout;") + " > " + at("out")), 0);
  const std::string report = text("out");
  EXPECT_EQ(report.rfind("\n------", 0), 0u) << "the head is still there";
  const std::size_t labels = report.find("\"latent\" \"latent\" \"latent\" 0\n");
  ASSERT_NE(labels, std::string::npos);
  EXPECT_GT(report.find("OUTCOME MODEL ESTIMATES"), labels);
}

TEST_F(Files, SavedDataCarryTheNamesOfTheDataFile) {
  write_file(at("long.csv"),
             "a_long_identifier,the_first_long_name,the_second_long_name\n1,0.5,2\n1,1.23456789,NA\n"
             "2,3.5,1\n2,2.25,2\n3,1,1.5\n3,0.25,1\n4,1.5,2.5\n4,1,1\n5,2,2\n5,1.5,3\n");
  write_file(
      at("run.tovik"),
      "DATA: long.csv; CLUSTERID: a_long_identifier; MODEL: the_first_long_name ~ the_second_long_name;"
      "SEED: 1; BURN: 100; NIMPS: 1; SAVE: stacked0 = st.csv; OPTIONS: prior1 savelatent saveresid "
      "savepred;");
  const run_result run = run_program(at("run.tovik"));
  EXPECT_EQ(run.status, 0) << run.output;
  const std::string saved = text("st.csv");
  EXPECT_EQ(saved.substr(0, saved.find('\n')),
            "imp#,a_long_identifier,the_first_long_name,the_second_long_name,"
            "the_first_long_name$Intercept,the_first_long_name.residual,the_first_long_name.predicted");
  EXPECT_NE(run.output.find("     imp# a_long_identifier the_first_long_name"), std::string::npos);
  EXPECT_NE(saved.find("\n0,1,1.23456789,NA,"), std::string::npos) << saved;
  EXPECT_NE(saved.find("\n1,1,1.23456789,"), std::string::npos) << "observed cells come back as they were";
}

TEST_F(Files, HelpAndVersionEndWell) {
  for (const char* word : {"--help", "-h"}) {
    const run_result run = run_program(word);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output.rfind("Usage: tovik <command-file> [option [value]]...\n", 0), 0u);
  }
  const run_result version = run_program("--version");
  EXPECT_EQ(version.status, 0);
  EXPECT_NE(run_program(commands("")).output.find(" " + version.output), std::string::npos);
}

TEST_F(Files, WrongOptionsAreNamedOnStandardError) {
  const std::pair<const char*, const char*> cases[] = {
      {"--bad x", "ERROR: Invalid command line argument: '--bad'\n"},
      {"--seed x", "ERROR: SEED is not a positive integer.\n"},
      {"--truncate 0", "ERROR: Variable Truncation length is not a positive integer.\n"},
      {"--seed", "The option '--seed' has no value.\n"}};
  for (const auto& [options, message] : cases) {
    EXPECT_EQ(shell("$P run.tovik " + std::string(options) + " > " + at("out") + " 2> " + at("err")), 2)
        << options;
    EXPECT_EQ(text("err"), message);
    EXPECT_EQ(text("out"), "");
  }
}

TEST_F(Files, MoreDrawsThanTheMachineHoldsAreRefused) {
  const run_result run = run_program(commands("", "4000000000"));
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.output.find("ERROR: The ITERATIONS command asks for 4000000000 iterations. Their draws of "),
            std::string::npos)
      << run.output;
}

// Under a sanitizer the address space is taken from the start.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST_F(Files, AShortAddressSpaceRunsFewerChainsAtATimeOrNone) {
  write_file(at("short.tovik"),
             "DATA: attitude.csv; MODEL: rating ~ complaints; SEED: 1; BURN: 10; ITERATIONS: 40; CHAINS: 8 "
             "processors 2;");
  bool refused = false;
  for (int megabytes = 1200; megabytes >= 350; megabytes -= 50) {
    const int status = shell("(ulimit -v " + std::to_string(megabytes * 1024) + "; timeout -s KILL 20 $P " +
                             at("short.tovik") + " > " + at("out") + ")");
    ASSERT_LE(status, 1) << megabytes << " MB: " << text("out");
    const bool error = text("out").find("ERROR: The address space that is left") != std::string::npos;
    EXPECT_EQ(status == 1, error) << text("out");
    refused = refused || error;
  }
  EXPECT_TRUE(refused);
}
#endif

}  // namespace
