#include <cmath>

#include "command_file.hpp"

namespace tovik::tests::data_test {
namespace {

struct Data : CommandFile {
  /// The data of a run on the table `text`.
  arma::Mat<double> data(const std::string& text, const std::string& commands = "") {
    write("d.csv", text);
    in = add(commands);
    return in->data();
  }
  std::string data_fault(const std::string& text, const std::string& commands = "") {
    return fault([&] { data(text, commands); });
  }

  std::unique_ptr<InputFile> in;
};

TEST_F(Data, ReadsTheFile) {
  const auto m = data("y,x\n1,2\nNA,3\n");
  ASSERT_EQ(m.n_rows, 2u);
  ASSERT_EQ(m.n_cols, 2u);
  EXPECT_TRUE(std::isnan(m(1, 0)));
  EXPECT_EQ(m(1, 1), 3.0);
  EXPECT_EQ(in->variableNames, (Names{"y", "x"}));
  EXPECT_TRUE(in->saveVarNames);
  EXPECT_EQ(in->missingCode, "NA");
  EXPECT_TRUE(data("1 2\n3 4\n", "VARIABLES: y x;").is_finite());
  EXPECT_FALSE(in->saveVarNames);
}

TEST_F(Data, TurnsCodesIntoMissingCells) {
  EXPECT_EQ(data("y,x\n-9,2\n4,-9\n", "MISSING: -9;").has_nan(), true);
  EXPECT_TRUE(in->missingCode.empty());
  const auto m = data("y,x\n1,.\n.,2\n", "MISSING: .;");
  EXPECT_TRUE(std::isnan(m(0, 1)) && std::isnan(m(1, 0)));
  EXPECT_FALSE(data("y,x\n1,3\n4,2\n").has_nan());
  EXPECT_NE(data_fault("y,x\n1,3\nNA,2\n", "MISSING: 999;").find("is non-numeric"), std::string::npos);
  EXPECT_EQ(data_fault("y,x\n-9,3\n1,2\n", "MISSING: -9; CLUSTERID: Y;"),
            "ERROR: The clustering identifier variable 'Y' has missing data.");
}

TEST_F(Data, NeedsTwoRows) {
  EXPECT_EQ(data_fault("y,x\n"),
            "ERROR: Failed to read the data in,\n"
            "       please use a comma separated file\n"
            "       or space separated file.");
  EXPECT_EQ(data_fault("y,x\n1,2\n"),
            "ERROR: The data set was read in with only one row. This indicates the data\n"
            "       set has not been read in properly and potentially has\n"
            "       blank rows between data records.");
}

TEST_F(Data, RefusesInfiniteCells) {
  EXPECT_EQ(data_fault("y,x\n1,2\ninf,3\n"), "ERROR: Data matrix read in an Inf value.");
  EXPECT_EQ(data_fault("y,x\n1,2\n3,1e999\n"), "ERROR: Data matrix read in an Inf value.");
}

TEST_F(Data, ChecksIdentifiers) {
  EXPECT_EQ(data_fault("y,x\n1,2\n2,3\n", "CLUSTERID: id;"),
            "ERROR: Identifier variable: \"id\" not in the data.");
}

TEST_F(Data, ChecksNamesOfTheFile) {
  const std::pair<const char*, const char*> cases[] = {
      {"iNtercept", "ERROR: Cannot have variable name 'iNtercept'. This is reserved for intercept."},
      {"x.mean", "ERROR: Variable name 'x.mean' cannot end with '.mean'"},
      {"x.latent", "ERROR: Variable name 'x.latent' cannot end with '.latent'"},
      {"x.missing", "ERROR: Variable name 'x.missing' cannot end with '.missing'"},
      {"exp", "ERROR: Cannot have variable name 'exp' This is a tovik syntax function."},
      {"x*2", "ERROR: Variables cannot contain the character '*'.\n       See variable 'x*2'"},
      {"Y", "ERROR: Variable name 'Y' is used more than once."}};
  for (const auto& [name, text] : cases) {
    EXPECT_EQ(data_fault("y,x," + std::string(name) + "\n1,2,3\n2,3,4\n"), text);
  }
}

TEST_F(Data, ChecksNamesOfCommands) {
  for (const char* command : {"FIXED", "ORDINAL", "COUNT", "NOMINAL"}) {
    EXPECT_EQ(data_fault("y,x\n1,2\n2,3\n", std::string(command) + ": w"),
              "ERROR: Variable 'w' in the " + std::string(command) + " command is not in the data.");
  }
  EXPECT_EQ(data_fault("y,x\n1,2\n2,3\n", "WEIGHTS: w"),
            "ERROR: Variable 'w' in the WEIGHT command is not in the data.");
  EXPECT_EQ(data_fault("y,x\n1,2\n2,3\n", "FCS: w"),
            "ERROR: Variable 'w' in the FCS command is not in the data.");
  EXPECT_EQ(data_fault("y,x\n1,2\n2,3\n", "LATENT: X"), "ERROR: Variable name 'X' is used more than once.");
  EXPECT_EQ(data_fault("y,x\n1,2\n2,3\n", "LATENT: f; PHANTOM: F"),
            "ERROR: Variable name 'F' is used more than once.");
  write("d.csv", "y,x\n1,2\n2,3\n");
  in = add("OPTIONS: manifest; NOMINAL: x(2);", "FCS: y;");
  EXPECT_EQ(fault([&] { in->data(); }),
            "ERROR: Cannot change nominal reference category with manifest.\n       Problem variable: 'x'");
}

struct Catalogue : Data {
  VariableList list(const std::string& text, const std::string& commands = "") {
    matrix = data(text, commands);
    return in->variableList(matrix);
  }
  std::string list_fault(const std::string& text, const std::string& commands) {
    return fault([&] { list(text, commands); });
  }
  arma::Mat<double> matrix;
};

TEST_F(Catalogue, HoldsColumnsConstantCodesAndLatents) {
  const auto vars = list("id,y,x,n\n1,1,2,2\n1,2,3,1\n2,4,3,2.5\n2,5,NA,1\n",
                         "CLUSTERID: ID; ORDINAL: X; NOMINAL: N; LATENT: f, id = g; PHANTOM: p;");
  EXPECT_EQ(vars.variableNames(), (Names{"id", "y", "x", "n", "1", "n.2", "n.2.500000", "f", "g", "p"}));
  const data::type types[] = {data::type::id,      data::type::continuous, data::type::ordinal,
                              data::type::nominal, data::type::constant,   data::type::dummy,
                              data::type::dummy,   data::type::latent,     data::type::latent,
                              data::type::phantom};
  const unsigned levels[] = {0, 1, 1, 1, 0, 1, 1, 1, 0, 1};
  for (std::size_t k = 0; k < vars.variables.size(); ++k) {
    EXPECT_EQ(vars.variables[k]->type, types[k]) << k;
    EXPECT_EQ(vars.variables[k]->level, levels[k]) << k;
    EXPECT_EQ(vars.variables[k]->column, k);
  }
  ASSERT_EQ(matrix.n_cols, 10u);
  EXPECT_EQ(in->added_columns, 6u);
  EXPECT_EQ(in->missing_flags, (std::vector<char>{0, 0, 1, 0}));
  EXPECT_EQ(arma::accu(matrix.col(4)), 4.0);
  EXPECT_EQ(matrix(0, 5), 1.0);
  EXPECT_EQ(matrix(2, 6), 1.0);
  EXPECT_EQ(arma::accu(matrix.cols(5, 6)), 2.0);
  for (unsigned k : {7u, 8u, 9u}) EXPECT_TRUE(matrix.col(k).has_nan());
  EXPECT_EQ(vars.variables[2]->values, (std::vector<double>{2, 3}));
  EXPECT_EQ(vars.variables[3]->values, (std::vector<double>{1, 2, 2.5}));
  EXPECT_EQ(vars.variables[3]->dummies.size(), 2u);
  ASSERT_EQ(vars.clusters.size(), 1u);
}

TEST_F(Catalogue, NotesAutomaticReferences) {
  list("y,x,n\n1,2,2\n1,3,1\n4,3,1.5\n", "NOMINAL: x(3) n;");
  EXPECT_EQ(report_.text(),
            "  NOTE: The following nominal variables have automatically\n"
            "        been assigned a reference group.\n"
            "\n          'n' with reference value '1'"
            "\n\n        To change reference group use the following command:\n"
            "          NOMINAL: variable_name(reference_value);\n");
}

TEST_F(Catalogue, GivenReferencesComeFirst) {
  const auto vars = list("y,x\n1,2\n1,3\n4,1\n", "NOMINAL: x(3);");
  EXPECT_EQ(report_.text(), "");
  EXPECT_EQ(vars.find("x")->values, (std::vector<double>{3, 1, 2}));
  EXPECT_NE(vars.find("x.1"), nullptr);
  EXPECT_EQ(vars.find("x.3"), nullptr);
  EXPECT_EQ(list_fault("y,x\n1,2\n1,3\n", "NOMINAL: x(9);"),
            "ERROR: Could not find specified reference group '9'\n       for nominal variable x");
}

TEST_F(Catalogue, SortsIdentifiersByLevel) {
  const std::string text = "s,c,y,w,v\n1,1,1,5,7\n1,1,2,5,7\n1,2,3,6,7\n2,3,1,5,8\n2,4,2,6,8\n2,4,5,6,8\n";
  for (const char* commands : {"CLUSTERID: s c;", "CLUSTERID: c s;"}) {
    const auto vars = list(text, commands);
    ASSERT_EQ(vars.clusters.size(), 2u);
    EXPECT_EQ(vars.clusters[0]->name, "c");
    EXPECT_EQ(vars.clusters[1]->name, "s");
    const unsigned levels[] = {0, 1, 2, 1, 0};
    for (unsigned k = 0; k < 5; ++k) EXPECT_EQ(vars.variables[k]->level, levels[k]) << k;
  }
  EXPECT_EQ(list_fault("s,c,y\n1,1,1\n1,2,2\n1,3,2\n2,1,3\n2,2,4\n", "CLUSTERID: c s;"),
            "ERROR: Identifier variable 'c' is not nested in identifier variable 's'.\n"
            "       Use identifiers that are unique across clusters.");
}

TEST_F(Catalogue, ChecksWhatCommandsSayOfColumns) {
  EXPECT_EQ(list_fault("id,y,w,v\n1,1,3,1\n1,2,NA,NA\n2,3,5,1\n2,4,5,1\n", "CLUSTERID: id;"),
            "ERROR: Tovik has detected the following level-2 or level-3\n"
            "       variables that are not constant within a cluster.\n"
            "       Some rows have missing values, and others do not.\n"
            "           w\n           v\n");
  EXPECT_EQ(list_fault("y,x\n1,2\n2,3\n", "ORDINAL: x; NOMINAL: X;"),
            "ERROR: Variable 'x' is listed as ORDINAL and NOMINAL.");
  EXPECT_EQ(list_fault("y,x\n1,2\n2,NA\n", "FIXED: x;"),
            "ERROR: Variable 'x' cannot be fixed because it has missing values.\n"
            "       If you would like listwise deletion add 'listwise' to OPTIONS command.");
  EXPECT_EQ(list_fault("y,x\n1,2\n2,NA\n", "FIXED: x; OPTIONS: listwise;"), "");
  EXPECT_EQ(list_fault("y,x\n1,2\n2,-1\n", "COUNT: x;"),
            "ERROR: The COUNT variable 'x' has negative values.");
  EXPECT_EQ(list_fault("y,x\n1,2\n2,NA\n", "WEIGHTS: x;"),
            "ERROR: Sampling weights must be completely observed.\n       Problem variable: x");
  EXPECT_EQ(list_fault("y,x,w,v\n1,2,1,3\n2,3,2,3\n", "WEIGHTS: w v;"),
            "ERROR: Multiple sampling weights are give for the same level.\n"
            "       Only one weight per level is supported.\n"
            "       Problem variables: 'w' and 'v'");
  EXPECT_EQ(list_fault("y,x,x.3\n1,2,4\n2,3,5\n", "NOMINAL: x;"),
            "ERROR: Cannot create dummy variable 'x.3'\n       The name is already in use.");
  EXPECT_EQ(list_fault("y,x\n1,NA\n2,NA\n", "NOMINAL: x;"),
            "ERROR: Variable x has no observed category.\n"
            "       Ordinal and nominal variables need\n"
            "       a minimum of two observed categories.\n");
}

TEST_F(Catalogue, LatentLevelsAreIdentifiers) {
  const auto text = [](const std::string& key, const std::string& command) {
    return "ERROR: Unable to find clustering variable '" + key + "'\n       requested in " + command +
           " command. Make sure the variable\n       is listed on the CLUSTERID command.";
  };
  EXPECT_EQ(list_fault("y,x\n1,2\n2,3\n", "LATENT: id = f;"), text("id", "FACTOR"));
  EXPECT_EQ(list_fault("y,x\n1,2\n2,3\n", "PHANTOM: x = f;"), text("x", "PHANTOM"));
}

TEST_F(Catalogue, TypesFollowTheOrderOfTests) {
  const auto vars = list("y,x,z\n1,2,3\n2,3,4\n", "ORDINAL: x; COUNT: x z; WEIGHTS: z;");
  EXPECT_EQ(vars.find("X")->type, data::type::ordinal);
  EXPECT_EQ(vars.find("z")->type, data::type::count);
}

}  // namespace
}  // namespace tovik::tests::data_test
