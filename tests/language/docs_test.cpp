// Every example of the user's pages is read, checked and prepared; where a page shows what the program makes
// of it, the program makes exactly that.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "input/commands.hpp"
#include "language_case.hpp"
#include "support/text.hpp"

namespace tovik::tests::docs_test {
namespace {

namespace fs = std::filesystem;

const fs::path source = TOVIK_SOURCE_DIR;

/// A fenced block: the word behind its first fence, its lines, and the line at which it stands.
struct fenced {
  std::string kind;
  std::string text;
  std::size_t line = 0;
};

std::vector<fenced> fenced_blocks(const fs::path& path) {
  std::ifstream in(path);
  std::vector<fenced> blocks;
  bool open = false;
  std::size_t number = 0;
  for (std::string line; std::getline(in, line);) {
    ++number;
    if (line.rfind("```", 0) == 0) {
      if (!open) blocks.push_back({trim(line.substr(3)), "", number});
      open = !open;
    } else if (open) {
      blocks.back().text += line + "\n";
    }
  }
  return blocks;
}

/// An example and what its page says of it.
struct example {
  std::string page;
  std::string commands;
  std::string report;   ///< the equations as the report lists them; empty where they are not shown
  std::string message;  ///< the error or the warning that it leads to; empty for none
  std::size_t line = 0;
};

void PrintTo(const example& one, std::ostream* out) {
  *out << "docs/" << one.page << ", line " << one.line;
}

std::vector<example> examples(const std::string& page) {
  std::vector<example> out;
  for (const fenced& block : fenced_blocks(source / "docs" / page)) {
    if (block.kind == "tovik") out.push_back({page, block.text, "", "", block.line});
    if (block.kind == "report" && !out.empty()) out.back().report = block.text;
    if (block.kind == "message" && !out.empty()) out.back().message = block.text;
  }
  return out;
}

bool has_command(const std::string& text, const std::string& word) {
  const int code = parseTovikCommand(word);
  for (const std::string& token : words(replace_all(text, ";", " "))) {
    if (parseTovikCommand(token) == code) return true;
  }
  return false;
}

/// The example with the commands that every run needs and that a short example leaves out.
std::string completed(const std::string& text) {
  std::string out;
  const bool simulates = has_command(text, "SIMULATE:");
  if (!has_command(text, "DATA:") && !simulates) out += "DATA: students.csv;\n";
  if (!has_command(text, "SEED:")) out += "SEED: 90291;\n";
  if (!has_command(text, "BURN:")) out += "BURN: 1000;\n";
  const bool has_length = has_command(text, "ITERATIONS:") || has_command(text, "NIMPS:");
  if (!has_length) out += "ITERATIONS: 1000;\n";
  out += text + "\n;";
  const bool has_model = has_command(text, "MODEL:") || has_command(text, "FCS:");
  if (!has_model && !simulates) out += "MODEL: score ~ pretest;\n";
  return out;
}

/// Lines without the blanks around them; a line that continues the one before, as its indent tells, is joined
/// to it, and empty lines are left out.
std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> out;
  for (const std::string& line : split(text, "\n", true)) {
    if (trim(line).empty()) continue;
    if (line.rfind(std::string(17, ' '), 0) == 0 && !out.empty()) {
      out.back() += " " + trim(line);
    } else {
      out.push_back(trim(line));
    }
  }
  return out;
}

class Guide : public ::testing::TestWithParam<example> {};

TEST_P(Guide, ExampleRuns) {
  const scratch_case scratch(source / "tests" / "language" / "data");
  for (const char* name : {"students.csv", "diary.csv"}) {
    fs::copy(source / "tests" / "language" / "data" / name, scratch.folder() / name);
  }
  const std::string text = front_half(completed(GetParam().commands), {"report_models"}, scratch.folder());
  if (!GetParam().message.empty()) {
    EXPECT_NE(text.find(GetParam().message), std::string::npos) << text;
    return;
  }
  ASSERT_EQ(text.rfind("report_models:", 0), 0u) << text;
  if (!GetParam().report.empty()) {
    const std::vector<std::string> said = lines_of(GetParam().report);
    const std::vector<std::string> made = lines_of(text);
    for (const std::string& line : said) {
      EXPECT_TRUE(std::find(made.begin(), made.end(), line) != made.end()) << line << "\nis not in\n" << text;
    }
  }
}

std::string at_line(const ::testing::TestParamInfo<example>& info) {
  return "line" + std::to_string(info.param.line);
}

INSTANTIATE_TEST_SUITE_P(Language, Guide, ::testing::ValuesIn(examples("language.md")), at_line);
INSTANTIATE_TEST_SUITE_P(Imputation, Guide, ::testing::ValuesIn(examples("imputation.md")), at_line);
INSTANTIATE_TEST_SUITE_P(Start, Guide, ::testing::ValuesIn(examples("getting-started.md")), at_line);
INSTANTIATE_TEST_SUITE_P(Length, Guide, ::testing::ValuesIn(examples("how-long-to-run.md")), at_line);
INSTANTIATE_TEST_SUITE_P(Phrasebook, Guide, ::testing::ValuesIn(examples("phrasebook.md")), at_line);

std::string without_trailing_blanks(const std::string& text) {
  std::string out;
  for (const std::string& line : split(text, "\n", false))
    out += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
  return out;
}

std::string content(const fs::path& path) {
  std::ifstream in(path);
  return {std::istreambuf_iterator<char>(in), {}};
}

TEST(ReportPage, ExcerptsAreOfTheReportOfItsExample) {
  std::size_t n = 0;
  for (const fenced& block : fenced_blocks(source / "docs" / "reading-the-report.md")) {
    if (block.kind.rfind("excerpt ", 0) != 0) continue;
    const std::string folder = block.kind.substr(8);
    const std::string report =
        without_trailing_blanks(content(source / "examples" / folder / "expected.txt"));
    EXPECT_NE(report.find(block.text), std::string::npos)
        << "docs/reading-the-report.md, line " << block.line;
    ++n;
  }
  EXPECT_GT(n, 5u);
}

TEST(Pages, LinksLeadSomewhere) {
  for (const auto& entry : fs::directory_iterator(source / "docs")) {
    const std::string text = content(entry.path());
    for (std::size_t at = text.find("]("); at != std::string::npos; at = text.find("](", at + 1)) {
      const std::string target = text.substr(at + 2, text.find(')', at) - at - 2);
      const std::string file = target.substr(0, target.find('#'));
      if (file.find(':') != std::string::npos) continue;  // of the web
      EXPECT_TRUE(fs::exists(source / "docs" / file)) << entry.path().filename() << ": " << target;
    }
  }
}

TEST(Guide, ShowsExamplesOfEveryCommand) {
  std::string all;
  for (const example& one : examples("language.md")) all += one.commands;
  for (const char* word :
       {"DATA:",       "VARIABLES:", "MISSING:",  "BYGROUP:",     "SEED:",      "BURN:",      "THIN:",
        "ITERATIONS:", "NIMPS:",     "LATENT:",   "PHANTOM:",     "CLUSTERID:", "ORDINAL:",   "NOMINAL:",
        "COUNT:",      "FIXED:",     "FCS:",      "CENTER:",      "CHAINS:",    "TRANSFORM:", "OPTIONS:",
        "SAVE:",       "SIMPLE:",    "WALDTEST:", "WEIGHTS:",     "OUTFILE:",   "DEBUG:",     "PARAMETERS:",
        "MODEL:",      "OUTPUT:",    "SIMULATE:", "RANDOMEFFECT:"}) {
    EXPECT_TRUE(has_command(all, word)) << word;
  }
}

}  // namespace
}  // namespace tovik::tests::docs_test
