// Inputs too large for a file of their own, through all stages before sampling: each ends with a clear error
// or a result, never with a crash or without end.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "language_case.hpp"

namespace tovik::tests::bad_input_test {
namespace {

const std::filesystem::path shared = std::filesystem::path(TOVIK_SOURCE_DIR) / "tests" / "language" / "data";

std::string repeated(const std::string& piece, std::size_t times) {
  std::string out;
  out.reserve(piece.size() * times);
  for (std::size_t i = 0; i < times; ++i) out += piece;
  return out;
}

/// What a command file with these commands leads to.
std::string run(const std::string& commands, const scratch_case& scratch) {
  return front_half("DATA: ../../data/single.csv; SEED: 1; BURN: 10; ITER: 10; " + commands, {"models"},
                    scratch.folder());
}

std::string run(const std::string& commands) {
  return run(commands, scratch_case(shared));
}

/// The first line behind the headline "error:"; the start of the text when there was no error.
std::string first_line(const std::string& text) {
  const std::string headline = "error:\n";
  if (text.rfind(headline, 0) != 0) return text.substr(0, 300);
  return text.substr(headline.size(), text.find('\n', headline.size()) - headline.size());
}

TEST(BadInput, AStatementOfAMegabyte) {
  EXPECT_EQ(first_line(run("MODEL: y ~ " + repeated("nothing ", 130000) + ";")),
            "ERROR: Cannot find variable \"nothing\" in VARIABLE command.");
  const std::string name(1000000, 'q');
  EXPECT_EQ(first_line(run("MODEL: y ~ " + name + ";")),
            "ERROR: Cannot find variable \"" + name + "\" in VARIABLE command.");
  EXPECT_EQ(first_line(run("MODEL: " + name + " ~ x;")),
            "ERROR: Cannot find variable \"" + name + "\" in VARIABLE command.");
  EXPECT_EQ(run("MODEL: y ~ x@" + name + ";"),
            "models:\nmodel | kind 0 | link 0 | levels 0 | y ~ Intercept x@" + name + "\n");
}

TEST(BadInput, TenThousandParentheses) {
  const std::size_t n = 10000;
  const std::string nested = repeated("(", n) + "x" + repeated(")", n);
  for (const std::string& commands :
       {"MODEL: y ~ " + nested + "*2;", "MODEL: d = " + nested + "+1; y ~ d;", "MODEL: y ~ x@" + nested + ";",
        "MODEL: log(" + nested + ") ~ z;", "TRANSFORM: w = " + nested + "; MODEL: y ~ w;",
        "MODEL: y ~ x@b; PARAMETERS: p = " + nested + ";",
        "MODEL: y ~ x@b; PARAMETERS: b ~ normal(0, " + nested + ");", "MODEL: y ~ z | " + nested + ";"}) {
    const std::string text = run(commands);
    EXPECT_EQ(text.rfind("error:", 0) == 0 || text.rfind("models:", 0) == 0, true) << text.substr(0, 300);
  }
}

TEST(BadInput, TenThousandParenthesesThatStayOpen) {
  const std::string open = repeated("(", 10000) + "x";
  EXPECT_EQ(first_line(run("MODEL: y ~ " + open + ";")),
            "ERROR: There are mismatched parentheses in the 'y' model:");
  EXPECT_EQ(first_line(run("TRANSFORM: w = " + open + "; MODEL: y ~ w;")),
            "ERROR: There are mismatched parentheses in the 'w' TRANSFORM command:");
  EXPECT_EQ(first_line(run("MODEL: y ~ " + repeated("x)", 10000) + ";")),
            "ERROR: There are mismatched parentheses in the 'y' model:");
}

TEST(BadInput, AnExpressionOfAMegabyte) {
  for (const std::string& commands : {"MODEL: y ~ (x" + repeated("+x", 250000) + ");",
                                      "TRANSFORM: w = x" + repeated("*x", 250000) + "; MODEL: y ~ w;",
                                      "MODEL: y ~ x@b; PARAMETERS: p = b" + repeated("-b", 250000) + ";",
                                      "MODEL: y ~ x@(1" + repeated("+1", 250000) + ");"}) {
    const std::string text = run(commands);
    EXPECT_EQ(text.rfind("error:", 0), 0u) << text.substr(0, 300);
  }
}

TEST(BadInput, ARangeOfAMillionNames) {
  EXPECT_EQ(first_line(run("MODEL: y ~ q1:q1000000;")),
            "ERROR: Cannot find variable \"q1\" in VARIABLE command.");
  EXPECT_EQ(run("MODEL: y ~ (q1:+:q100000);").rfind("error:", 0), 0u);
  EXPECT_EQ(run("ORDINAL: q1:q1000000; MODEL: y ~ x;").rfind("error:", 0), 0u);
}

TEST(BadInput, DefinitionsThatDoubleEachOther) {
  std::string statements = "d0 = x + z; ";
  for (int i = 1; i <= 60; ++i) {
    const std::string before = "d" + std::to_string(i - 1);
    statements += "d" + std::to_string(i) + " = " + before + " * " + before + "; ";
  }
  const std::string text = run("MODEL: " + statements + " y ~ d60;");
  EXPECT_EQ(text.rfind("error:", 0), 0u) << text.substr(0, 300);
}

TEST(BadInput, ManyStatements) {
  EXPECT_EQ(run("MODEL: " + repeated("y ~ x; ", 20000)).rfind("models:", 0), 0u);
  std::string labels = "MODEL: y ~ x";
  for (int i = 0; i < 2000; ++i) labels += "; PARAMETERS: p" + std::to_string(i) + " = " + std::to_string(i);
  EXPECT_EQ(run(labels).rfind("models:", 0), 0u);
}

TEST(BadInput, BytesOfEveryValue) {
  const scratch_case scratch(shared);
  for (int c = 0; c < 256; ++c) {
    const std::string byte(1, static_cast<char>(c));
    for (const std::string& commands :
         {"MODEL: y ~ x" + byte + ";", "MODEL: y" + byte + " ~ x;", "MODEL: y ~ x@" + byte + "b;",
          "TRANSFORM: w = x " + byte + " z; MODEL: y ~ w;",
          "MODEL: y ~ x@b; PARAMETERS: p = b " + byte + " 2;"}) {
      const std::string text = run(commands, scratch);
      EXPECT_EQ(text.rfind("unexpected", 0), std::string::npos) << c << ": " << text;
      EXPECT_EQ(text.rfind("debug error", 0), std::string::npos) << c << ": " << text;
    }
  }
}

}  // namespace
}  // namespace tovik::tests::bad_input_test
