#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "app/application.hpp"
#include "app/usage.hpp"
#include "app/version.hpp"
#include "capture.hpp"
#include "data/variable_list.hpp"
#include "input/input_file.hpp"
#include "results/summary.hpp"
#include "scratch_folder.hpp"
#include "support/error.hpp"
#include "support/text.hpp"
#include "support/warning.hpp"

using tovik::Application;
using tovik::InputFile;

namespace {

/// Command line fields are process-wide; each test leaves them as it found them.
class CommandLine : public testing::Test {
 protected:
  void parse(std::vector<const char*> options) {
    options.insert(options.begin(), {"tovik", "file"});
    const int argc = static_cast<int>(options.size());
    options.push_back(nullptr);
    Application application(argc, options.data());
  }

  std::string error_of(std::vector<const char*> options) {
    try {
      parse(std::move(options));
    } catch (const tovik::error& e) {
      return e.what();
    }
    return "";
  }

  std::string warnings() {
    tovik::tests::Capture out;
    tovik::warning::buffer.flush(out.stream(), true, false);
    return out.text();
  }

  void TearDown() override {
    for (std::string* path :
         {&InputFile::impPathStacked, &InputFile::impPathStacked0, &InputFile::impPathSeparate,
          &InputFile::impPathDataSet, &InputFile::iterationsPath, &InputFile::estimatesPath,
          &InputFile::corrsPath, &InputFile::waldtestPath, &InputFile::psrPath, &InputFile::burnPath}) {
      path->clear();
    }
    InputFile::globalSeed = 4294967295u;
    tovik::VariableList::truncate = 9;
    tovik::Summary::cols.clear();
    tovik::warning::buffer.clear();
    Application::traceplotPath.clear();
  }
};

TEST_F(CommandLine, OutfileWithAStarMeansSeparateFiles) {
  parse({"-o", "imp*.csv"});
  EXPECT_EQ(InputFile::impPathSeparate, "imp*.csv");
  parse({"--OUTFILE", "imp.csv"});
  EXPECT_EQ(InputFile::impPathStacked, "imp.csv");
  EXPECT_EQ(warnings(),
            "  WARNING: Overriding OUTFILE command in input.\n"
            "  WARNING: Overriding OUTFILE command in input.\n\n");
}

TEST_F(CommandLine, PathOptionsIgnoreCaseAndWarn) {
  const struct {
    const char* option;
    std::string* target;
    const char* key;
  } table[] = {{"--Stacked", &InputFile::impPathStacked, "stacked"},
               {"--stacked0", &InputFile::impPathStacked0, "stacked0"},
               {"--DATASET", &InputFile::impPathDataSet, "dataset"},
               {"--separate", &InputFile::impPathSeparate, "separate"},
               {"--iterations", &InputFile::iterationsPath, "iterations"},
               {"--estimates", &InputFile::estimatesPath, "estimates"},
               {"--psr", &InputFile::psrPath, "psr"},
               {"--burn", &InputFile::burnPath, "burn"},
               {"--waldtest", &InputFile::waldtestPath, "waldtest"},
               {"--correlations", &InputFile::corrsPath, "correlations"}};
  for (const auto& entry : table) {
    parse({entry.option, "p.csv"});
    EXPECT_EQ(*entry.target, "p.csv") << entry.option;
    EXPECT_EQ(warnings(),
              "  WARNING: Overriding '" + std::string(entry.key) + "' in SAVE command in input.\n\n");
  }
}

TEST_F(CommandLine, SeedAndTruncationMustBeNumbers) {
  parse({"-S", "12"});
  EXPECT_EQ(InputFile::globalSeed, 12u);
  EXPECT_EQ(error_of({"--seed", "x"}), "ERROR: SEED is not a positive integer.");
  const std::string truncation = "ERROR: Variable Truncation length is not a positive integer.";
  EXPECT_EQ(error_of({"--truncate", "-1"}), truncation);
  EXPECT_EQ(error_of({"--truncate", "0"}), truncation);
  parse({"--truncate", "12"});
  EXPECT_EQ(tovik::VariableList::truncate, 12u);
}

TEST_F(CommandLine, UnknownOptionsAreNamed) {
  EXPECT_EQ(error_of({"--OUTPUT", "x"}), "ERROR: Invalid command line argument: '--OUTPUT'");
  EXPECT_EQ(error_of({"--Truncate", "5"}), "ERROR: Invalid command line argument: '--Truncate'");
  EXPECT_EQ(error_of({"--changelog", "5"}), "ERROR: Invalid command line argument: '--changelog'");
  EXPECT_EQ(error_of({"-c", "nonsense"}), "ERROR: Unrecognized OUTPUT option: 'nonsense'");
}

TEST_F(CommandLine, AnOptionWithoutItsValueIsRefused) {
  EXPECT_THROW(parse({"--seed"}), std::logic_error);
}

TEST_F(CommandLine, ColumnsAddUp) {
  parse({"-c", "mean", "--COL", "psr"});
  EXPECT_EQ(tovik::Summary::cols.size(), 2u);
}

TEST_F(CommandLine, TheReportIsNotOpenedBeforeItsPathIsChecked) {
  const tovik::tests::scratch_folder scratch;
  const std::string path = (scratch.path() / "report.txt").string();
  parse({"--output", path.c_str()});
  EXPECT_EQ(Application::fp, stdout);
  EXPECT_FALSE(Application::print_iterations);
  EXPECT_EQ(tovik::Output::report_path, path);
  EXPECT_TRUE(std::filesystem::is_empty(scratch.path()));
  Application::print_iterations = true;
  tovik::Output::report_path.clear();
}

TEST(Usage, NamesEveryOptionOnALine) {
  const std::string text = tovik::usage;
  for (const char* option :
       {"-o, --outfile", "--stacked ",  "--stacked0", "--dataset",  "--separate",     "--iterations",
        "--estimates",   "--psr",       "--burn",     "--waldtest", "--correlations", "-s, --seed",
        "-d, --data",    "--traceplot", "--output",   "--truncate", "-c, --col",      "-h, --help",
        "--version",     "--changelog", "--progress", "--quiet"}) {
    EXPECT_NE(text.find(tovik::format("\n  %s", option)), std::string::npos) << option;
  }
}

TEST(Version, IsThatOfTheBuildFiles) {
  std::ifstream in(std::filesystem::path(TOVIK_SOURCE_DIR) / "CMakeLists.txt");
  const std::string text{std::istreambuf_iterator<char>(in), {}};
  EXPECT_NE(text.find(tovik::format("project(tovik VERSION %s ", tovik::version_number)), std::string::npos);
  const char* argv[] = {"tovik", "file", nullptr};
  EXPECT_EQ(Application(2, argv).version, tovik::version_number);
}

TEST_F(CommandLine, SeedAndDataOverrideTheirCommands) {
  parse({"--SEED", "7", "-D", "other.csv"});
  EXPECT_EQ(InputFile::globalSeed, 7u);
  EXPECT_EQ(InputFile::dataPath, "other.csv");
  EXPECT_EQ(warnings(),
            "  WARNING: Overriding SEED command in input.\n"
            "  WARNING: Overriding DATA command in input.\n\n");
  parse({"-d", "one.csv", "--data", "two.csv"});
  EXPECT_EQ(InputFile::dataPath, "two.csv");
  InputFile::dataPath.clear();
}

TEST_F(CommandLine, OptionsOfTheReportPushNoWarning) {
  parse({"--traceplot", "folder", "--truncate", "20", "-c", "mean"});
  EXPECT_EQ(Application::traceplotPath, "folder");
  EXPECT_TRUE(tovik::warning::buffer.empty());
}

TEST_F(CommandLine, ExactWordsHaveOneSpelling) {
  for (const char* option : {"--Output", "--TRACEPLOT", "--TRUNCATE", "-O2", "--stack", "seed", "", "-"}) {
    EXPECT_EQ(error_of({option, "x"}), tovik::format("ERROR: Invalid command line argument: '%s'", option));
  }
}

TEST_F(CommandLine, NumbersAreUnsignedOf32Bits) {
  for (const char* value : {"4294967296", "1e3", "1e400", "-1", "1.5", "", "99999999999999999999"}) {
    EXPECT_EQ(error_of({"-s", value}), "ERROR: SEED is not a positive integer.") << value;
    EXPECT_EQ(error_of({"--truncate", value}), "ERROR: Variable Truncation length is not a positive integer.")
        << value;
  }
}

TEST_F(CommandLine, PathsAreTakenAsTheyStand) {
  parse({"--stacked", "imp*.csv", "--separate", "one.csv", "--psr", "", "--burn", "a b.csv"});
  EXPECT_EQ(InputFile::impPathStacked, "imp*.csv");
  EXPECT_EQ(InputFile::impPathSeparate, "one.csv");
  EXPECT_EQ(InputFile::psrPath, "");
  EXPECT_EQ(InputFile::burnPath, "a b.csv");
}

}  // namespace
