#include <gtest/gtest.h>

#include <filesystem>

#include "data/read_data.hpp"
#include "data/temp_file.hpp"
#include "support/error.hpp"

namespace tovik::read_data_messages_test {
namespace {

using tests::TempFile;
using Names = std::vector<std::string>;

const std::string wrong_count_tail = " in the data file does not have the appopriate number of columns.";
const std::string no_delimiter =
    "ERROR: Unable to determine delimiter for data file.\n"
    "       Use comma separated or space separated text files.\n"
    "       If there is only one variable, \"VARIABLE\" command must be specified.";

/// The message of a failing read; with an empty code the fast path speaks.
std::string failure(const std::string& path, const std::string& code, Names names,
                    std::string delimiter = "") {
  try {
    readData(path, names, delimiter, code, 1000);
  } catch (const error& e) {
    return e.what();
  }
  return "no failure";
}

std::string slow(const std::string& text, const Names& names = {}, const std::string& delimiter = "") {
  return failure(TempFile(text).path(), "NA", names, delimiter);
}

std::string fast(const std::string& text, const Names& names = {}, const std::string& delimiter = "") {
  return failure(TempFile(text).path(), "", names, delimiter);
}

TEST(ReadDataMessages, DelimiterIsOneCharacter) {
  const std::string want = "ERROR: Improper delimiter specified for reading in data.";
  EXPECT_EQ(slow("a,b\n1,2\n", {}, ",,"), want);
  EXPECT_EQ(fast("a,b\n1,2\n", {}, ", "), want);
  // Told before the file is looked for.
  EXPECT_EQ(failure("no such file", "NA", {}, "ab"), want);
}

TEST(ReadDataMessages, FileMustOpen) {
  for (const char* code : {"NA", ""}) {
    EXPECT_EQ(failure("no/such/file.csv", code, {}),
              "ERROR: Unable to open data file at \"no/such/file.csv\"");
    EXPECT_EQ(failure("", code, {}), "ERROR: Unable to open data file at \"\"");
  }
}

TEST(ReadDataMessages, DirectoryIsNoFile) {
  const std::string path = std::filesystem::temp_directory_path().string();
  const std::string want =
      "ERROR: Unable to open data file at \"" + path + "\"\n       The system says: Is a directory.";
  EXPECT_EQ(failure(path, "NA", {}), want);
  EXPECT_EQ(failure(path, "", {"x"}), want);
}

TEST(ReadDataMessages, FailingReadIsToldAsUnopened) {
  // The address space of a process opens, but nothing is mapped at its first byte.
  ASSERT_TRUE(std::filesystem::exists("/proc/self/mem"));
  EXPECT_EQ(
      failure("/proc/self/mem", "NA", {}),
      "ERROR: Unable to open data file at \"/proc/self/mem\"\n       The system says: Input/output error.");
}

TEST(ReadDataMessages, EmptyFile) {
  for (const char* text : {"", "\n", " \n\t\n\r\n", "\xEF\xBB\xBF", "\xEF\xBB\xBF\n"}) {
    const TempFile file(text);
    const std::string want = "ERROR: Data file is empty. Specified file path: \"" + file.path() + "\"";
    EXPECT_EQ(failure(file.path(), "NA", {}), want);
    EXPECT_EQ(failure(file.path(), "", {"x"}), want);
  }
}

TEST(ReadDataMessages, WideEncodingsAreRefused) {
  const std::string want = "ERROR: Data file appears to be UTF-16 encoded. Only UTF-8 is supported.";
  EXPECT_EQ(slow(std::string("\xFF\xFE"
                             "a\0,\0",
                             6)),
            want);
  EXPECT_EQ(slow(std::string("\xFE\xFF\0a\0,", 6), {"a", "b"}), want);
  EXPECT_EQ(fast(std::string("\xFF\xFE"
                             "a\0,\0",
                             6)),
            want);
}

TEST(ReadDataMessages, HeaderOfOneField) {
  EXPECT_EQ(slow("x\n1\n2\n"), no_delimiter);
  EXPECT_EQ(fast("x\n1\n2\n"), no_delimiter);
  EXPECT_EQ(slow("\"\"\n1\n"), no_delimiter);
  EXPECT_EQ(slow("a;b\n1;2\n"), no_delimiter);
  EXPECT_EQ(fast("a,b\n1,2\n", {}, ";"), no_delimiter);
}

TEST(ReadDataMessages, NumericNames) {
  const std::string text =
      "ERROR: The variable name \"2.5\" is numeric.\n"
      "       Variable names cannot be numeric.\n"
      "       Error occured for column 2.";
  EXPECT_EQ(slow("a,2.5\n1,2\n"), text);
  EXPECT_EQ(fast("a,2.5\n1,2\n"), text + "\n");
  EXPECT_EQ(slow("1 2\n3 4\n"),
            "ERROR: The variable name \"1\" is numeric.\n"
            "       Variable names cannot be numeric.\n"
            "       Error occured for column 1.");
  EXPECT_NE(slow("_pi,a\n1,2\n").find("\"_pi\" is numeric"), std::string::npos);
  EXPECT_NE(slow("a,nan\n1,2\n").find("\"nan\" is numeric"), std::string::npos);
  EXPECT_EQ(slow("a,x1\n1,2\n"), "no failure");
}

TEST(ReadDataMessages, NamesWithABlank) {
  const std::string want =
      "ERROR: The variable name \"first name\" has a space.\n"
      "       Variable names must be a single word.\n"
      "       Use underscores (\"_\") instead.\n"
      "       Error occured for column 2.\n";
  EXPECT_EQ(fast("a,first name\n1,2\n", {}, ","), want);
  EXPECT_EQ(slow("a,first name\n1,2\n", {}, ","), want);
  EXPECT_EQ(slow("a,first name\n1,2\n"), want) << "a comma is no part of a name";
}

TEST(ReadDataMessages, GivenNamesMustMatchTheFirstLine) {
  const std::string tail =
      "       The number of variables names read in was 2\n"
      "       and the number of columns read in was 3";
  const std::string head = "ERROR: Unable to determine delimiter for data file.\n";
  const std::string slow_text = "       Use comma separated or space separated  text files.\n";
  const std::string fast_text = "       Use comma separated or space separated text files.\n";
  EXPECT_EQ(slow("1,2,3\n", {"a", "b"}), head + slow_text + tail);
  EXPECT_EQ(fast("1,2,3\n", {"a", "b"}), head + fast_text + tail);
  EXPECT_EQ(slow("1 2 3\n", {"a", "b"}), head + slow_text + tail);
}

TEST(ReadDataMessages, NonNumericCellInTheFirstLine) {
  const std::string head = "ERROR: Line 1, column 2 is non-numeric.\n";
  const std::string hint = "       If these are variable names, remove VARIABLES command from input.\n";
  const std::string tail = "       Only numeric data is allowed.\n       Parsed data: \"abc\".";
  EXPECT_EQ(slow("x,y\n1, abc \n"), head + tail);
  EXPECT_EQ(fast("x,y\n1, abc \n"), head + hint + tail);
  EXPECT_EQ(slow("1 abc\n", {"x", "y"}), head + tail);
  EXPECT_EQ(fast("1 abc\n", {"x", "y"}), head + hint + tail);
}

TEST(ReadDataMessages, NonNumericCellInALaterLine) {
  const std::string want =
      "ERROR: Line 3, column 1 is non-numeric.\n"
      "       Only numeric data is allowed.\n"
      "       Parsed data: \"1.5x\".";
  EXPECT_EQ(slow("x,y\n1,2\n3,4\n1.5x,6\n"), want);
  EXPECT_EQ(fast("x,y\n1,2\n3,4\n1.5x,6\n"), want);
}

TEST(ReadDataMessages, BlankLinesCountInLineNumbers) {
  EXPECT_EQ(slow("x,y\n1,2\n\n \n3\n"), "ERROR: Line 4" + wrong_count_tail);
  EXPECT_EQ(fast("1,2\r\n\r\n3\r\n", {"x", "y"}), "ERROR: Line 3" + wrong_count_tail);
  // Before the first data line they do not: that line is line 1.
  EXPECT_EQ(slow("x,y\n\n\n1\n"), "ERROR: Line 1" + wrong_count_tail);
}

TEST(ReadDataMessages, MissingCodeOnlyWhereOneIsInForce) {
  EXPECT_EQ(slow("x,y\n1,NA\n"), "no failure");
  EXPECT_NE(fast("x,y\n1,2\n1,NA\n").find("Line 2, column 2 is non-numeric"), std::string::npos);
  EXPECT_NE(slow("x,y\n1,2\n1,na\n").find("Parsed data: \"na\""), std::string::npos);
}

TEST(ReadDataMessages, EmptyCellsBetweenCommasAreMissing) {
  EXPECT_EQ(slow("x,y,z\n1,2,3\n1,,3\n"), "no failure");
  EXPECT_EQ(fast("x,y\n1,2\n1,\n"), "no failure");
  EXPECT_EQ(slow("x,y\n1,2\n,2\n"), "no failure");
  EXPECT_EQ(slow("x,y\n1,2\n1,,\n"), "ERROR: Line 2" + wrong_count_tail);
}

TEST(ReadDataMessages, WrongFieldCounts) {
  for (const char* line : {"1", "1,2,3"}) {
    EXPECT_EQ(slow(std::string("x,y\n") + line + "\n"), "ERROR: Line 1" + wrong_count_tail) << line;
    EXPECT_EQ(fast(std::string("x,y\n1,2\n") + line), "ERROR: Line 2" + wrong_count_tail) << line;
  }
  EXPECT_EQ(slow("x y\n1 2\n1 2 3\n"), "ERROR: Line 2" + wrong_count_tail);
  EXPECT_EQ(slow("x y\n1 2\n1\n"), "ERROR: Line 2" + wrong_count_tail);
}

TEST(ReadDataMessages, FileCutInTheMiddleOfALine) {
  EXPECT_EQ(slow("x,y,z\n1,2,3\n4,5"), "ERROR: Line 2" + wrong_count_tail);
  EXPECT_NE(slow("x,y,z\n1,2,3\n4,5,-").find("Parsed data: \"-\""), std::string::npos);
}

TEST(ReadDataMessages, BinaryNoiseIsRefused) {
  std::string noise;
  unsigned state = 12345;
  for (int i = 0; i < 100000; ++i) {
    state = state * 1664525u + 1013904223u;
    noise += static_cast<char>(state >> 24);
  }
  EXPECT_EQ(slow(noise).rfind("ERROR: ", 0), 0u);
  EXPECT_EQ(fast(noise, {"x", "y"}).rfind("ERROR: ", 0), 0u);
  EXPECT_EQ(slow("x,y\n1,2\n" + noise).rfind("ERROR: Line ", 0), 0u);
  EXPECT_EQ(slow(std::string("x,y\n1,\0"
                             "2\n",
                             9))
                .rfind("ERROR: Line 1, column 2 is non-numeric.", 0),
            0u);
}

TEST(ReadDataMessages, LongLineWithoutADelimiter) {
  const std::string line(10'000'000, 'x');
  EXPECT_EQ(slow(line + "\n1\n"), no_delimiter);
  EXPECT_EQ(slow("x,y\n" + line + ",1\n").rfind("ERROR: Line 1, column 1 is non-numeric.", 0), 0u);
  EXPECT_EQ(slow("x,y\n1,2\n" + std::string(10'000'000, ',') + "\n"), "ERROR: Line 2" + wrong_count_tail);
}

}  // namespace
}  // namespace tovik::read_data_messages_test
