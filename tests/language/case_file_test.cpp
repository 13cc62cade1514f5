// The format of the files of cases: what they may hold, what is refused, and what a new expected text
// changes.

#include "case_file.hpp"

#include <gtest/gtest.h>

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace tovik::tests::case_file_test {
namespace {

const std::string two_cases =
    "Regressions.\n"
    "\n"
    "---- data.csv\n"
    "y,x\n"
    "1,2\n"
    "\n"
    "==== plain\n"
    "# DATA: a comment;\n"
    "MODEL: y ~ x;\n"
    "---- expected\n"
    "models:\n"
    "\n"
    "==== own_data\n"
    "MODEL: y ~ z;\n"
    "---- data.csv\n"
    "y,z\n"
    "---- notes.txt\n"
    "---- expected rows parameters\n"
    "error:\n"
    "\n";

std::vector<case_text> read(const std::string& text) {
  return read_cases(text, "some.cases");
}

TEST(CaseFile, HoldsCommandsFilesViewsAndExpectedText) {
  const std::vector<case_text> cases = read(two_cases);
  ASSERT_EQ(cases.size(), 2u);
  EXPECT_EQ(cases[0].name, "plain");
  EXPECT_EQ(cases[0].line, 7u);
  EXPECT_EQ(cases[0].commands, "# DATA: a comment;\nMODEL: y ~ x;\n");
  EXPECT_EQ(cases[0].views, std::vector<std::string>{"models"});
  EXPECT_EQ(cases[0].expected, "models:\n");
  EXPECT_EQ(cases[1].name, "own_data");
  EXPECT_EQ(cases[1].views, (std::vector<std::string>{"rows", "parameters"}));
}

TEST(CaseFile, SharesTheFilesBeforeTheFirstCaseUnlessACaseHasItsOwn) {
  const std::vector<case_text> cases = read(two_cases);
  using files = std::map<std::string, std::string>;
  EXPECT_EQ(cases[0].files, (files{{"data.csv", "y,x\n1,2\n"}}));
  EXPECT_EQ(cases[1].files, (files{{"data.csv", "y,z\n"}, {"notes.txt", ""}}));
}

TEST(CaseFile, PartsTwoCasesByOneEmptyLineThatBelongsToNeither) {
  const std::vector<case_text> cases =
      read("==== a\nA\n---- expected\nx\n\n\n==== b\nB\n---- expected\n\n==== c\nC\n---- expected\nx\n\n");
  ASSERT_EQ(cases.size(), 3u);
  EXPECT_EQ(cases[0].expected, "x\n\n");
  EXPECT_EQ(cases[1].expected, "");
  EXPECT_EQ(cases[2].expected, "x\n\n");
}

TEST(CaseFile, HoldsLinesThatLookLikeHeadingsBehindABackslash) {
  const std::vector<case_text> cases =
      read("==== a\n\\==== b\n\\----\n\\\\x\n ---- \\x\r\n---- expected\n\\---------\n");
  ASSERT_EQ(cases.size(), 1u);
  EXPECT_EQ(cases[0].commands, "==== b\n----\n\\x\n ---- \\x\r\n");
  EXPECT_EQ(cases[0].expected, "---------\n");
}

TEST(CaseFile, ChangesNothingButTheExpectedTextOfOneCase) {
  const std::string plain = with_expected(two_cases, "some.cases", "plain", "a\n\nb\n\n");
  const std::size_t at = two_cases.find("models:\n");
  EXPECT_EQ(plain, two_cases.substr(0, at) + "a\n\nb\n\n" + two_cases.substr(at + 8));
  EXPECT_EQ(with_expected(plain, "some.cases", "plain", "models:\n"), two_cases);

  const std::size_t last = two_cases.find("error:\n");
  EXPECT_EQ(with_expected(two_cases, "some.cases", "own_data", ""), two_cases.substr(0, last));
}

TEST(CaseFile, GivesBackWhateverExpectedTextItTakes) {
  for (const std::string text : {"", "\n", "\n\n", "==== plain\n", "---- expected\nx\n", "\\\n",
                                 "\\\\==== a\n", "a\r\n\tb\n", "\xff\xfe\n", "x\n\n---------\n"}) {
    for (const std::string name : {"plain", "own_data"}) {
      const std::string file = with_expected(two_cases, "some.cases", name, text);
      const std::vector<case_text> cases = read(file);
      ASSERT_EQ(cases.size(), 2u) << file;
      EXPECT_EQ(cases[name == "plain" ? 0 : 1].expected, text) << file;
    }
  }
}

TEST(CaseFile, RefusesAnExpectedTextThatItCannotHold) {
  EXPECT_THROW(with_expected(two_cases, "some.cases", "plain", "no end of line"), std::runtime_error);
  EXPECT_THROW(with_expected(two_cases, "some.cases", "absent", "x\n"), std::runtime_error);
}

/// What reading `text` is refused with.
std::string refusal(const std::string& text) {
  try {
    read(text);
  } catch (const std::runtime_error& e) {
    return e.what();
  }
  return "nothing is refused";
}

TEST(CaseFile, NamesTheLineOfWhatIsMalformed) {
  const std::string a = "==== a\nA\n---- expected\nx\n";
  const struct {
    std::string text;
    std::string message;
  } table[] = {
      {"", "1: there is no case"},
      {"Only prose.\n", "1: there is no case"},
      {a + "y", "5: the last line is not ended"},
      {a + "==== b\n---- expected\n", "5: there is no empty line before the case"},
      {"Prose.\n" + a, "2: there is no empty line before the case"},
      {"==== a\nA\n", "1: the case a has no section 'expected'"},
      {"==== a\nA\n\n==== b\nB\n---- expected\n", "1: the case a has no section 'expected'"},
      {"---- expected\nx\n\n" + a, "1: a section 'expected' stands before the first case"},
      {a + "---- expected\n", "5: the case has two sections 'expected'"},
      {a + "---- data.csv\n", "5: a file stands behind the section 'expected'"},
      {a + "\n" + a, "6: there are two cases a"},
      {"==== a b\n---- expected\n", "1: the name of a case has letters, digits and underscores only"},
      {"==== a\r\n---- expected\n", "1: the name of a case has letters, digits and underscores only"},
      {"====\n", "1: a heading is '==== <case>' or '---- <section>'; content has a backslash before it"},
      {a + "---------\n",
       "5: a heading is '==== <case>' or '---- <section>'; content has a backslash before it"},
      {"==== a\nA\n---- d.csv\n1\n---- d.csv\n2\n---- expected\n", "5: there are two files d.csv"},
      {"==== a\n---- ../d.csv\n---- expected\n",
       "2: '../d.csv' is neither 'expected' nor the name of a file"},
      {"==== a\n---- show rows\n---- expected\n",
       "2: 'show rows' is neither 'expected' nor the name of a file"},
      {"==== a\n---- command.tovik\n---- expected\n",
       "2: 'command.tovik' is neither 'expected' nor the name of a file"},
      {"==== a\nA\n\\B\n---- expected\n",
       "3: a backslash at the start of a line stands before ====, ---- or a backslash only"},
  };
  for (const auto& [text, message] : table) EXPECT_EQ(refusal(text), "some.cases:" + message) << text;
}

}  // namespace
}  // namespace tovik::tests::case_file_test
