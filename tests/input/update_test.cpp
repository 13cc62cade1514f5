#include <cmath>

#include "command_file.hpp"
#include "model/model_list.hpp"

namespace tovik::tests::update_test {
namespace {

struct Update : CommandFile {
  /// Data, catalogue and equations of a run up to update().
  void prepare(const std::string& text, const std::string& commands, const std::string& model) {
    write("d.csv", text);
    in = add(commands, "MODEL: " + model);
    matrix = in->data();
    vars = in->variableList(matrix);
    models = std::make_unique<ModelList>(in->modelList(vars));
    warning::buffer.clear();
    in->update(matrix, vars, *models);
  }
  std::string update_fault(const std::string& text, const std::string& commands, const std::string& model) {
    return fault([&] { prepare(text, commands, model); });
  }

  std::unique_ptr<InputFile> in;
  arma::Mat<double> matrix;
  VariableList vars;
  std::unique_ptr<ModelList> models;
};

TEST_F(Update, DropsRowsWithoutAnyModelVariable) {
  prepare("y,x,w\n1,2,3\nNA,NA,4\nNA,2,NA\n4,NA,5\nNA,NA,NA\n", "", "y ~ x");
  EXPECT_EQ(matrix.n_rows, 3u);
  EXPECT_EQ(in->dropped_rows, (std::vector<arma::uword>{1, 4}));
  EXPECT_EQ(warnings(), (Names{"WARNING: 2 observations have all variables in the imputation\n"
                               "         model missing. They have been dropped from data set.\n"
                               "         Lines of the data file: 3, 6."}));
  prepare("y,x\n1,2\nNA,NA\n3,4\n", "DEBUG: no_drop;", "y ~ x");
  EXPECT_EQ(matrix.n_rows, 3u);
  EXPECT_TRUE(in->dropped_rows.empty());
}

TEST_F(Update, NamesTheFirstLinesOfDroppedRows) {
  prepare("y,x,w\n\n1,2,3\n\nNA,NA,4\n4,NA,5\n", "", "y ~ x");
  EXPECT_EQ(warnings(), (Names{"WARNING: 1 observation has all variables in the imputation\n"
                               "         model missing. It has been dropped from data set.\n"
                               "         Line of the data file: 5."}));
  prepare("1 2\n3 4\nNA 2\nNA 1\nNA 2\nNA 4\n5 NA\n7 NA\n4 1\n", "VARIABLES: y x; OPTIONS: listwise;",
          "y ~ x");
  EXPECT_EQ(warnings(), (Names{"WARNING: Performing listwise deletion (listwise on OPTIONS).\n"
                               "         6 observations have been dropped from data set.\n"
                               "         Lines of the data file: 3, 4, 5, 6, 7 and 1 more."}));
}

TEST_F(Update, DeletesListwiseFirst) {
  prepare("y,x,w\n1,2,NA\nNA,2,4\n3,NA,4\n4,1,5\nNA,NA,NA\n", "OPTIONS: listwise;", "y ~ x");
  EXPECT_EQ(matrix.n_rows, 2u);
  EXPECT_EQ(in->dropped_rows, (std::vector<arma::uword>{1, 2, 4}));
  EXPECT_EQ(warnings(), (Names{"WARNING: Performing listwise deletion (listwise on OPTIONS).\n"
                               "         3 observations have been dropped from data set.\n"
                               "         Lines of the data file: 3, 4, 6."}));
  EXPECT_EQ(in->missing_flags, (std::vector<char>{0, 0, 1}));
  EXPECT_TRUE(vars.find("x")->fixed());
}

TEST_F(Update, LatentColumnsDoNotCountAsMissing) {
  prepare("y,x\n1,2\n2,4\n3,4\n", "OPTIONS: listwise; LATENT: f;", "y ~ x");
  EXPECT_EQ(matrix.n_rows, 3u);
}

TEST_F(Update, NeedsObservations) {
  EXPECT_EQ(update_fault("y,x\n1,NA\nNA,4\n", "OPTIONS: listwise;", "y ~ x"),
            "ERROR: No observations are left after dropping missing data.");
  EXPECT_EQ(update_fault("y,x\nNA,NA\nNA,NA\n", "", "y ~ x"),
            "ERROR: No observations are left after dropping missing data.");
  EXPECT_EQ(update_fault("y,x\n1,NA\n2,NA\n", "", "y ~ x"), "ERROR: Variable 'x' has no observed values.");
}

TEST_F(Update, DropsClustersWithoutCounts) {
  prepare("id,k,y\n1,NA,1\n1,NA,2\n2,3,4\n2,NA,1\n3,0,5\n3,1,6\n", "CLUSTERID: id; COUNT: k;", "y ~ k");
  EXPECT_EQ(matrix.n_rows, 4u);
  EXPECT_EQ(in->dropped_rows, (std::vector<arma::uword>{0, 1}));
  EXPECT_EQ(warnings(), (Names{"WARNING: Count Variable 'k' has clusters with all observations\n"
                               "         missing. They have been dropped from data set.\n"
                               "         Lines of the data file: 2, 3."}));
  prepare("id,k,y\n1,NA,1\n1,NA,2\n2,3,4\n2,NA,1\n", "COUNT: k;", "y ~ k");
  EXPECT_EQ(matrix.n_rows, 4u);
}

TEST_F(Update, OnlyCountsOfTheRowsDropClusters) {
  const char* text =
      "top,id,k,y\n1,1,NA,1\n1,1,NA,2\n1,2,NA,4\n1,2,NA,1\n2,3,0,5\n2,3,0,6\n2,4,1,5\n2,4,1,6\n";
  prepare(text, "CLUSTERID: top id; COUNT: k;", "y ~ k");
  EXPECT_EQ(vars.find("k")->level, 1u);
  EXPECT_EQ(matrix.n_rows, 8u);
  prepare("top,id,k,y\n1,1,NA,1\n1,1,NA,2\n1,2,2,4\n1,2,NA,1\n2,3,0,5\n2,3,2,6\n2,4,1,5\n2,4,1,6\n",
          "CLUSTERID: top id; COUNT: k;", "y ~ k");
  EXPECT_EQ(vars.find("k")->level, 2u);
  EXPECT_EQ(in->dropped_rows, (std::vector<arma::uword>{0, 1}));
}

TEST_F(Update, RefusesUndefinedCovariances) {
  const char* text = "y,x,w\n1,2,NA\n2,3,NA\n3,NA,4\n4,NA,5\n";
  EXPECT_EQ(update_fault(text, "", "y ~ x w"),
            "ERROR: The covariance between 'x' and 'w' is undefined\n"
            "       due to the missing data patterns.\n"
            "       Remove one of the variables and rerun.");
  EXPECT_EQ(update_fault(text, "", "y ~ x"), "");
  EXPECT_EQ(update_fault(text, "DEBUG: undefcov;", "y ~ x w"), "");
  std::string rows = "y,x,w\n";
  for (int i = 0; i < 130; ++i) rows += i < 129 ? "1,2,NA\n" : "1,2,3\n";
  EXPECT_EQ(update_fault(rows + "1,NA,3\n", "", "y ~ x w"), "");
}

TEST_F(Update, CategoriesAreAtLeastTwo) {
  const char* text =
      "ERROR: Variable x has only one observed category.\n"
      "       Ordinal and nominal variables need\n"
      "       a minimum of two observed categories.\n";
  EXPECT_EQ(update_fault("y,x\n1,2\n2,2\n3,NA\n", "ORDINAL: x;", "y ~ 1"), text);
  EXPECT_EQ(update_fault("y,x\n1,2\n2,2\n3,2\n", "NOMINAL: x;", "y ~ 1"), text);
  prepare("y,x\n1,3\n2,1\nNA,7\n", "ORDINAL: x; OPTIONS: listwise;", "y ~ x");
  EXPECT_EQ(vars.find("x")->values, (std::vector<double>{1, 3}));
  EXPECT_EQ(update_fault("y,x\n1,3\n2,1\nNA,7\n", "NOMINAL: x; OPTIONS: listwise;", "y ~ x"),
            "ERROR: Variable x has a category with no observations after\n"
            "       dropping observations. Remove the category or change the model.");
}

TEST_F(Update, CompletePredictorsAreFixed) {
  const char* text = "y,x,w,v\n1,2,3,4\n2,3,4,NA\n3,4,5,1\n";
  prepare(text, "", "y ~ x v");
  EXPECT_FALSE(vars.find("y")->fixed());
  EXPECT_TRUE(vars.find("x")->fixed());
  EXPECT_TRUE(vars.find("w")->fixed());
  EXPECT_FALSE(vars.find("v")->fixed());
  EXPECT_FALSE(vars.find("1")->fixed());
  prepare(text, "FIXED: (none);", "y ~ x v");
  EXPECT_FALSE(vars.find("x")->fixed());
  prepare(text, "FIXED: w;", "y ~ x v");
  EXPECT_FALSE(vars.find("x")->fixed());
  EXPECT_TRUE(vars.find("w")->fixed());
  prepare(text, "CENTER: x;", "y ~ x v");
  EXPECT_FALSE(vars.find("x")->fixed());
}

TEST_F(Update, VariablesWithLatentMeansAreNotFixed) {
  const char* text = "id,y,x,w\n1,2,3,4\n1,3,4,2\n2,3,4,5\n2,4,6,3\n3,4,5,1\n3,7,4,2\n";
  prepare(text, "CLUSTERID: id;", "y ~ x x.mean w");
  EXPECT_FALSE(vars.find("x")->fixed());
  EXPECT_TRUE(vars.find("w")->fixed());
  EXPECT_TRUE(warnings().empty());
  prepare(text, "CLUSTERID: id;", "y ~ w (x.mean*w)");
  EXPECT_FALSE(vars.find("x")->fixed());
  EXPECT_TRUE(warnings().empty());
  prepare(text, "CLUSTERID: id; FIXED: x w;", "y ~ x x.mean w");
  EXPECT_FALSE(vars.find("x")->fixed());
  EXPECT_EQ(warnings(), (Names{"WARNING: Removing the following variables from FIXED \n"
                               "         in order to estimate their latent means.\n           x\n"}));
}

TEST_F(Update, ImputationWithoutEquations) {
  write("d.csv", "id,y,x,w,v\n1,2,NA,4,1\n1,NA,4,2,1\n2,3,4,5,2\n2,4,6,3,2\n3,4,5,1,NA\n3,7,4,2,NA\n");
  const auto run = [&](const std::string& commands) {
    in = add(commands, "");
    matrix = in->data();
    vars = in->variableList(matrix);
    models = std::make_unique<ModelList>(in->modelList(vars));
    warning::buffer.clear();
    in->update(matrix, vars, *models);
  };
  run("CLUSTERID: id; FCS: y x v;");
  EXPECT_TRUE(models->empty());
  for (const char* name : {"y", "x", "v"}) {
    EXPECT_EQ(vars.find(name)->usage(), data::usage::covariate) << name;
    EXPECT_FALSE(vars.find(name)->fixed()) << name;
  }
  EXPECT_EQ(vars.find("w")->usage(), data::usage::unset);
  EXPECT_FALSE(vars.find("w")->fixed());
  run("CLUSTERID: id; FCS: y x v w; FIXED: w;");
  EXPECT_TRUE(vars.find("w")->fixed());
  EXPECT_EQ(vars.find("w")->usage(), data::usage::covariate);
  const std::string all_fixed = "ERROR: All variables in FCS command are fixed.";
  EXPECT_EQ(fault([&] { run("CLUSTERID: id; FCS: w; FIXED: w;"); }), all_fixed);
  EXPECT_EQ(fault([&] { run("CLUSTERID: id; FCS: id;"); }), all_fixed);
  EXPECT_EQ(fault([&] { run("FCS: y q;"); }), "ERROR: Variable 'q' in the FCS command is not in the data.");
}

TEST_F(Update, AuxiliaryVariablesGetARole) {
  const char* text = "y,x,w,k\n1,2,3,4\n2,3,4,5\n3,4,5,1\n";
  prepare(text, "", "y ~ x");
  EXPECT_EQ(vars.find("w")->usage(), data::usage::unset);
  prepare(text, "FCS: W;", "y ~ x");
  EXPECT_EQ(vars.find("w")->usage(), data::usage::covariate);
  prepare(text, "COUNT: k; OPTIONS: covmdl;", "y ~ x");
  EXPECT_EQ(vars.find("w")->usage(), data::usage::covariate);
  EXPECT_EQ(vars.find("k")->usage(), data::usage::unset);
  EXPECT_EQ(vars.find("y")->usage(), data::usage::outcome);
}

TEST_F(Update, ModelsMustBeThere) {
  EXPECT_EQ(update_fault("y,x\n1,2\n2,3\n", "", "a:; b:;"),
            "ERROR: No Models were parsed and no FCS command.\n"
            "       Recheck your MODEL command:\n       [1] = \"\"\n       [2] = \"\"");
}

struct Shares : CommandFile {};

TEST_F(Shares, DivideIterationsAndImputations) {
  const auto in =
      add("CHAINS: 4; ITER: 103; NIMPS: 10; BURN: 7; OUTFILE: o.csv; DEBUG: tunecheck 9; OPTIONS: savepred;");
  const auto infos = in->chainInfo();
  ASSERT_EQ(infos.size(), 4u);
  const unsigned iterations[] = {26, 26, 26, 25};
  const std::vector<std::uint32_t> images[] = {{1, 5, 9}, {2, 6, 10}, {3, 7}, {4, 8}};
  for (unsigned i = 0; i < 4; ++i) {
    EXPECT_EQ(infos[i].id, i + 1);
    EXPECT_EQ(infos[i].iterations, iterations[i]);
    EXPECT_EQ(infos[i].imputations, images[i]);
    EXPECT_EQ(infos[i].saves.size(), images[i].size());
    EXPECT_EQ(infos[i].burn, 7u);
    EXPECT_EQ(infos[i].tunecheck, 9u);
    EXPECT_TRUE(infos[i].savepred);
    EXPECT_FALSE(infos[i].savelatent || infos[i].saveresid || infos[i].averaging);
  }
  ASSERT_EQ(in->imputations.size(), 11u);
  infos[1].saves[2](arma::Mat<double>(2, 2, arma::fill::ones));
  EXPECT_EQ(in->imputations[10].n_elem, 4u);
  EXPECT_TRUE(in->imputations[9].empty());
}

TEST_F(Shares, LaterChainsMaySaveNothing) {
  const auto in = add("CHAINS: 3; NIMPS: 2; SAVE: avgimp = a.csv;");
  const auto infos = in->chainInfo();
  EXPECT_EQ(infos[1].imputations, (std::vector<std::uint32_t>{2}));
  EXPECT_TRUE(infos[2].imputations.empty());
  EXPECT_TRUE(infos[2].averaging);
  EXPECT_TRUE(add("")->chainInfo()[0].imputations.empty());
}

TEST_F(Shares, OffsetsAreNormalDrawsInPairs) {
  for (unsigned chains : {1u, 2u, 3u, 4u}) {
    const auto in = add("SEED: 11; CHAINS: " + std::to_string(chains) + "; DEBUG: startsdispersion 2;");
    const auto infos = in->chainInfo();
    Random same(in->seed, 0u);
    for (unsigned i = 0; i < chains; ++i) {
      const double z = 2 * same.rnorm();
      const double expected = i == 0 ? 0.0 : (i % 2 == 1 ? -z : z);
      EXPECT_DOUBLE_EQ(infos[i].dispersion, expected);
    }
    if (chains % 2 == 1) same.rnorm();
    EXPECT_DOUBLE_EQ(in->rng->rnorm(), same.rnorm());
  }
  for (const chain_info& info : add("OPTIONS: norandomstarts;")->chainInfo()) EXPECT_EQ(info.dispersion, 0.0);
}

TEST_F(Shares, ChainsNeedIterations) {
  const auto in = add("");
  in->iterations = 1;
  EXPECT_EQ(fault([&] { in->chainInfo(); }), "ERROR: More chains than iterations requested.");
}

}  // namespace
}  // namespace tovik::tests::update_test
