// Where an error is: standard output says what is wrong, standard error adds the place in the file.

#include <gtest/gtest.h>

#include <string>

#include "system/program.hpp"

namespace fs = std::filesystem;
using namespace tovik::tests;

namespace {

class ErrorPlaces : public testing::Test {
 protected:
  /// Runs a command file; the two streams apart.
  void run(const std::string& commands) {
    write_file(path("c.tovik"), commands);
    // The comment keeps the two streams from being joined.
    status = run_program(path("c.tovik").string() + " >" + path("out").string() + " 2>" +
                         path("err").string() + " #")
                 .status;
    output = read_file(path("out"));
    errors = read_file(path("err"));
  }

  void data(const std::string& text) const { write_file(path("d.csv"), text); }
  bool says(const std::string& text) const { return output.find(text) != std::string::npos; }

  std::string output;
  std::string errors;
  int status = 0;

 private:
  fs::path path(const std::string& name) const { return scratch_.path() / name; }

  scratch_folder scratch_;
};

const std::string few_rows = "y,x\n1,2\n2,4\n3,5\n5,6\n6,8\n7,7\n";
const std::string length = "SEED: 1;\nBURN: 10; ITERATIONS: 20;\n";

TEST_F(ErrorPlaces, AStatementThatCannotBeRead) {
  data(few_rows);
  run("DATA: d.csv;  # the data\n\nSEED: 1; BURN: many\n  and more;\n");
  EXPECT_EQ(status, 1);
  EXPECT_TRUE(says("ERROR: BURN is not a positive integer.\n"));
  EXPECT_EQ(errors, "       See line 3: BURN: many and more\n");
  EXPECT_FALSE(says("See line"));
}

TEST_F(ErrorPlaces, AnEquation) {
  data(few_rows);
  run("DATA: d.csv;\n" + length + "MODEL:\n  x ~ 1;\n  y ~ x@1,5;\n");
  EXPECT_EQ(status, 1);
  EXPECT_TRUE(says("ERROR: '1,5' cannot be read as a number.\n       See \"x@1,5\"\n"));
  EXPECT_EQ(errors, "       See line 6: y ~ x@1,5\n");
}

TEST_F(ErrorPlaces, AParameterAndATransformation) {
  data(few_rows);
  run("DATA: d.csv;\n" + length + "MODEL: y ~ x@b;\nPARAMETERS: b ~ normal(0, -1);\n");
  EXPECT_EQ(errors, "       See line 5: PARAMETERS: b ~ normal(0, -1)\n");
  run("DATA: d.csv;\nTRANSFORM: q = x*2;\n r = nothing;\n" + length + "MODEL: y ~ x;\n");
  EXPECT_EQ(errors, "       See line 3: r = nothing\n");
}

TEST_F(ErrorPlaces, ANameInAList) {
  data(few_rows);
  run("DATA: d.csv;\n" + length + "MODEL: y ~ x;\nORDINAL: q;\n");
  EXPECT_TRUE(says("ERROR: Variable 'q' in the ORDINAL command is not in the data.\n"));
  EXPECT_EQ(errors, "       See line 5: ORDINAL: q\n");
}

TEST_F(ErrorPlaces, NoneWhereACommandIsMissing) {
  data(few_rows);
  run("DATA: d.csv; BURN: 10; ITERATIONS: 20; MODEL: y ~ x;");
  EXPECT_TRUE(says("ERROR: Missing SEED command.\n"));
  EXPECT_EQ(errors, "");
}

TEST_F(ErrorPlaces, LinesOfDataCountAsInAnEditor) {
  data("y,x\n1,2\n\n2,4\n3,high\n5,6\n");
  run("DATA: d.csv;\n" + length + "MODEL: y ~ x;\n");
  EXPECT_TRUE(says("ERROR: Line 4, column 2 is non-numeric.\n"));
  EXPECT_EQ(
      errors,
      "       See line 5 of d.csv: 3,high\n"
      "       Give text categories numbers, or name the text of a missing cell in the MISSING command.\n");
}

TEST_F(ErrorPlaces, SemicolonsBetweenCellsAreNamed) {
  data("y;x\n1;2\n2;4\n");
  run("DATA: d.csv;\n" + length + "MODEL: y ~ x;\n");
  EXPECT_TRUE(says("ERROR: Unable to determine delimiter for data file.\n"));
  EXPECT_EQ(errors,
            "       See line 1 of d.csv: y;x\n"
            "       The file seems to be separated by semicolons (;). Save it with commas instead.\n");
}

TEST_F(ErrorPlaces, AWordThatIsNoCommandIsTheFirstLineOfTheError) {
  data(few_rows);
  run("DATA: d.csv; SEED: 1; BURNIN: 10; ITERATIONS: 20; MODEL: y ~ x;");
  EXPECT_TRUE(
      says("\nERROR: 'BURNIN:' is not a command and was read as part of SEED. Did you mean BURN?\n"
           "ERROR: Missing BURN command.\n"));
  EXPECT_FALSE(says("WARNING: 'BURNIN:'"));
}

TEST_F(ErrorPlaces, AWordThatIsNoCommandIsAWarningOfARunThatSucceeds) {
  data(few_rows);
  run("DATA: d.csv; SEED: 1; BURNIN: 10; BURN: 10; ITERATIONS: 20; MODEL: y ~ x;");
  EXPECT_EQ(status, 0) << output;
  EXPECT_TRUE(
      says("  WARNING: 'BURNIN:' is not a command and was read as part of SEED.\n"
           "           Did you mean BURN?\n"));
  EXPECT_EQ(output.find("ERROR"), std::string::npos);
  EXPECT_EQ(errors, "");
}

}  // namespace
