#include "support/source.hpp"

#include <gtest/gtest.h>

namespace tovik::source {
namespace {

class Source : public ::testing::Test {
 protected:
  void SetUp() override {
    clear();
    begin_statement(1, "VARIABLES: y x z");
    begin_statement(3, "ORDINAL: x");
    begin_statement(4, "MODEL:\n  y ~ x   z");
    rename("y ~ x z");
    leave();
  }
  void TearDown() override { clear(); }
};

TEST_F(Source, TheCurrentStatementIsShownOnOneLine) {
  begin_statement(7, "  BURN:\n   many ");
  EXPECT_EQ(note("ERROR: BURN is not a positive integer."), "       See line 7: BURN: many\n");
}

TEST_F(Source, AStatementIsFoundAgainByWhatItHasBecome) {
  enter(" y ~ x z ");
  EXPECT_EQ(note("ERROR: Anything."), "       See line 4: MODEL: y ~ x z\n");
  enter("y ~ w");
  EXPECT_EQ(note("ERROR: Anything."), "");
}

TEST_F(Source, NamesInQuotesFindTheStatementThatHoldsMostOfThem) {
  EXPECT_EQ(note("ERROR: The covariance between 'y' and \"Z\"."), "       See line 4: MODEL: y ~ x z\n");
  EXPECT_EQ(note("ERROR: Variable 'x' in the ORDINAL command is not in the data."),
            "       See line 3: ORDINAL: x\n");
  EXPECT_EQ(note("ERROR: 'xx' and 'model1' stand nowhere."), "");
}

TEST_F(Source, AListOfColumnsIsShownLast) {
  EXPECT_EQ(note("ERROR: Variable 'x' has one category."), "       See line 3: ORDINAL: x\n");
  clear();
  begin_statement(2, "VARIABLES: q");
  leave();
  EXPECT_EQ(note("ERROR: Variable 'q'."), "       See line 2: VARIABLES: q\n");
}

TEST_F(Source, ALineOfDataIsShownWithItsFileAndAdvice) {
  data_line("a.csv", 12, "1,male");
  advise("Give it a number.");
  EXPECT_EQ(note("ERROR: Line 11, column 2 is non-numeric."),
            "       See line 12 of a.csv: 1,male\n       Give it a number.\n");
  no_data_line();
  EXPECT_EQ(note("ERROR: Anything."), "       Give it a number.\n");
}

TEST_F(Source, LongTextsAreCut) {
  begin_statement(1, "SEED: " + std::string(1000, 'x'));
  EXPECT_EQ(note("ERROR: x").size(), std::string("       See line 1:  ...\n").size() + 300);
}

}  // namespace
}  // namespace tovik::source
