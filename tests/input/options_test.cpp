#include "command_file.hpp"
#include "support/text.hpp"

namespace tovik::tests::options_test {
namespace {

using Options = CommandFile;

TEST_F(Options, SetFields) {
  const auto on = [&](const std::string& word, bool InputFile::*field) {
    return add("OPTIONS: " + word).get()->*field;
  };
  EXPECT_TRUE(add("CLUSTERID: z; OPTIONS: HEV")->hev);
  EXPECT_TRUE(add("CLUSTERID: z; OPTIONS: heterogeneous")->hev);
  EXPECT_FALSE(add("CLUSTERID: z; OPTIONS: hev hov")->hev);
  EXPECT_FALSE(add("CLUSTERID: z; OPTIONS: hev homogeneous")->hev);
  EXPECT_FALSE(on("nopsr", &InputFile::psr));
  EXPECT_TRUE(on("nopsr psr", &InputFile::psr));
  EXPECT_FALSE(on("notuneinfo", &InputFile::tuneinfo));
  EXPECT_FALSE(on("tuneinfo", &InputFile::tune_all));
  EXPECT_TRUE(on("notuneinfo tuneinfo", &InputFile::tuneinfo));
  EXPECT_TRUE(on("mice", &InputFile::mice));
  EXPECT_FALSE(on("MICE gibbs", &InputFile::mice));
  EXPECT_FALSE(on("norandomstarts", &InputFile::randomstarts));
  EXPECT_TRUE(on("norandomstarts RandomStarts", &InputFile::randomstarts));
  for (const char* word : {"covariatemodel", "covmdl"}) EXPECT_TRUE(on(word, &InputFile::covariatemodel));
  for (const char* word : {"scientific", "scien"}) EXPECT_TRUE(on(word, &InputFile::scientific));
  for (const char* word : {"scien noscien", "scien noscientific"})
    EXPECT_FALSE(on(word, &InputFile::scientific));
  EXPECT_TRUE(on("savelatent", &InputFile::savelatent));
  for (const char* word : {"saveresid", "saveresidual", "saveResiduals"})
    EXPECT_TRUE(on(word, &InputFile::saveresid));
  for (const char* word : {"savepred", "savepredicted"}) EXPECT_TRUE(on(word, &InputFile::savepred));
  for (const char* word : {"labels", "label"}) EXPECT_TRUE(on(word, &InputFile::labels));
  for (const char* word : {"saveVariableNames", "savevarnames"})
    EXPECT_TRUE(on(word, &InputFile::saveVarNames));
  EXPECT_TRUE(on("listwise", &InputFile::listwise));
  EXPECT_TRUE(on("KeepRows", &InputFile::keep_rows));
  EXPECT_TRUE(on("brief", &InputFile::brief));
}

TEST_F(Options, SetProcessWideValues) {
  add("OPTIONS: freeloadings disable_dic use_phantom disable_corrs allpatterns");
  EXPECT_TRUE(sem::defaults::freeloadings);
  EXPECT_FALSE(chain_info::compute_DIC);
  EXPECT_FALSE(sem::defaults::optimize_models);
  EXPECT_FALSE(chain_info::compute_corrs);
  EXPECT_TRUE(patterns::print_all);
  patterns::print_all = sem::defaults::freeloadings = false;
  add("OPTIONS: resid_corrs allpat freeloading");
  EXPECT_TRUE(chain_info::compute_corrs);
  EXPECT_TRUE(patterns::print_all);
  EXPECT_TRUE(sem::defaults::freeloadings);
}

TEST_F(Options, PriorsGiveWayToTheSpecificOnes) {
  const struct {
    const char* words;
    int resvar;
    int raneff;
  } cases[] = {{"", 2, 2},
               {"prior1", 1, 1},
               {"PRIOR3", 3, 3},
               {"prior1resvar prior3", 1, 3},
               {"prior3 prior1resvar", 1, 3},
               {"prior1raneff prior3", 3, 1},
               {"prior3raneff prior3resvar prior1 prior2", 3, 3},
               {"prior2resvar", 2, 2}};
  for (const auto& c : cases) {
    const auto in = add("OPTIONS: " + std::string(c.words));
    EXPECT_EQ(in->prior_resvar, c.resvar) << c.words;
    EXPECT_EQ(in->prior_raneff, c.raneff) << c.words;
  }
  EXPECT_EQ(add("OPTIONS: xprior3")->xprior, 3);
  EXPECT_EQ(add("OPTIONS: xprior2")->xprior, 2);
}

TEST_F(Options, ClusterMeansHaveMethods) {
  const std::string fcs = "FCS: y x;";
  EXPECT_EQ(add("OPTIONS: manifest", fcs)->clmean_method, 1);
  EXPECT_EQ(add("OPTIONS: nomean", fcs)->clmean_method, 0);
  EXPECT_EQ(add("OPTIONS: noclmean", fcs)->clmean_method, 0);
  EXPECT_EQ(add("OPTIONS: manifest latent", fcs)->clmean_method, 2);
}

TEST_F(Options, UnknownWordsFail) {
  EXPECT_EQ(add_fault("OPTIONS: psr Bad"), "ERROR: Do not recognize keyword \"Bad\" in OPTIONS command.");
}

TEST_F(Options, SaveKeysHaveAliases) {
  const std::pair<const char*, const char*> cases[] = {{"accepts", "accepts"},
                                                       {"labelfile", "labelfile"},
                                                       {"simple", "simple"},
                                                       {"starts", "starts"},
                                                       {"avgimp", "avgimp"},
                                                       {"varimp", "varimp"},
                                                       {"psr", "psr"},
                                                       {"burn", "burn"},
                                                       {"estimates", "estimates"},
                                                       {"iterations", "iterations"},
                                                       {"waldtest", "waldtest"},
                                                       {"correlations", "correlations"},
                                                       {"stacked0", "stacked0"},
                                                       {"stack0", "stacked0"},
                                                       {"STACKED", "stacked"},
                                                       {"stack", "stacked"},
                                                       {"separate", "separate"},
                                                       {"Sep", "separate"},
                                                       {"dataset", "dataset"},
                                                       {"data", "dataset"},
                                                       {"likelihood", "likelihood"},
                                                       {"imp", "separate"},
                                                       {"imputations", "separate"}};
  for (const auto& [word, key] : cases) {
    const auto in = add("SAVE: " + std::string(word) + " = out*.txt;");
    for (const auto& [name, path] : in->savePaths) EXPECT_EQ(path, name == key ? "out*.txt" : "") << word;
  }
  EXPECT_EQ(add("SAVE: imp = all.csv")->writePath("stacked"), "all.csv");
}

TEST_F(Options, SaveReadsPiecesBetweenCommas) {
  const auto in = add("SAVE: stacked = a.csv, burn = my  file.csv , ; psr p.csv, estimates=e.csv\r\n;");
  EXPECT_EQ(in->writePath("stacked"), "a.csv");
  EXPECT_EQ(in->writePath("burn"), "my file.csv");
  EXPECT_EQ(in->writePath("psr"), "p.csv");
  EXPECT_EQ(in->writePath("estimates"), "e.csv");
  EXPECT_EQ(add_fault("SAVE: x = y;"), "ERROR: Do not recognize save command \"x\"");
  EXPECT_EQ(add_fault("SAVE: stacked = a.csv, other = y;"), "ERROR: Do not recognize save command \"other\"");
}

TEST_F(Options, TheFirstPathWinsWhereTheTableSaysSo) {
  InputFile::impPathSeparate = "other*.csv";
  const auto in =
      add("SAVE: separate = imp*.csv, imp = i*.csv; SAVE: psr = a.csv, psr = a.csv, starts = a.txt;");
  EXPECT_EQ(in->writePath("separate"), "other*.csv");
  EXPECT_EQ(in->writePath("stacked"), "i*.csv");
  EXPECT_EQ(in->writePath("psr"), "a.csv");
  EXPECT_EQ(in->writePath("starts"), "a.txt");
  EXPECT_EQ(add("SAVE: separate = imp*.csv; OUTFILE: o*.csv;")->writePath("separate"), "o*.csv");
}

TEST_F(Options, LatentSavesTurnIntoAnOption) {
  for (const char* word : {"latent", "latentStacked", "LATENTSTACK", "latentSeparate", "latentSep"}) {
    warning::buffer.clear();
    EXPECT_TRUE(add("SAVE: " + std::string(word) + " = l.csv")->savelatent);
    EXPECT_EQ(warnings(),
              (Names{"WARNING: Imputations of Latent variables are now saved with other imputations.\n"
                     "         Use SaveLatent on OPTIONS line to save latent."}));
  }
}

TEST_F(Options, PathsKeepSingleBlanks) {
  const auto in = add("SAVE: burn = my   own\tfile.csv, psr = a b.csv, estimates == e.csv;");
  EXPECT_EQ(in->writePath("burn"), "my own file.csv");
  EXPECT_EQ(in->writePath("psr"), "a b.csv");
  EXPECT_EQ(in->writePath("estimates"), "e.csv");
}

TEST_F(Options, PiecesWithoutWordsArePassedOver) {
  const auto in = add("SAVE: , ,; , burn = b.csv,; SAVE: , save: psr = p.csv;");
  EXPECT_EQ(in->writePath("burn"), "b.csv");
  EXPECT_EQ(in->writePath("psr"), "p.csv");
}

TEST_F(Options, AKeyOfOneCharacterIsDroppedAtTheStartOfAPiece) {
  EXPECT_EQ(add_fault("SAVE: burn = b.csv,x = y;"), "ERROR: Do not recognize save command \"y\"");
  EXPECT_EQ(add_fault("SAVE: burn = b.csv, x = y;"), "ERROR: Do not recognize save command \"x\"");
}

TEST_F(Options, ImputationsGoToTheFirstFreePlace) {
  const auto separate = add("SAVE: imp = a*.csv, imputations = b*.csv;");
  EXPECT_EQ(separate->writePath("separate"), "a*.csv");
  EXPECT_EQ(separate->writePath("stacked"), "b*.csv");
}

TEST_F(Options, CommandLinePathsWinOnlyWhereTheTableSaysSo) {
  const std::string keys[] = {"burn",         "psr",     "estimates", "iterations", "waldtest",
                              "correlations", "stacked", "stacked0",  "separate",   "dataset"};
  std::string* const paths[] = {&InputFile::burnPath,        &InputFile::psrPath,
                                &InputFile::estimatesPath,   &InputFile::iterationsPath,
                                &InputFile::waldtestPath,    &InputFile::corrsPath,
                                &InputFile::impPathStacked,  &InputFile::impPathStacked0,
                                &InputFile::impPathSeparate, &InputFile::impPathDataSet};
  for (std::size_t i = 0; i < std::size(keys); ++i) {
    const Restore<std::string> restore(*paths[i]);
    *paths[i] = "first*.csv";
    EXPECT_EQ(add("SAVE: " + keys[i] + " = second*.csv;")->writePath(keys[i]), "first*.csv") << keys[i];
  }
  for (const char* key : {"accepts", "labelfile", "simple", "starts", "avgimp", "varimp", "likelihood"}) {
    const std::string word = key;
    EXPECT_NE(add_fault("SAVE: " + word + " = a.csv, " + word + " = b.csv;"), "")
        << "one of two would be lost";
  }
}

TEST_F(Options, CorrelationsCanBeAskedForAgain) {
  add("OPTIONS: disable_corrs RESID_CORRS;");
  EXPECT_TRUE(chain_info::compute_corrs);
}

TEST_F(Options, OutputKnowsItsWordsInAnyCase) {
  for (const char* word : {"default",
                           "default_mean",
                           "default_median",
                           "default_testing",
                           "Mean",
                           "Median",
                           "MADSD",
                           "MAD_SD",
                           "MAD",
                           "StdDev",
                           "sd",
                           "VARIANCE",
                           "VAR",
                           "q99",
                           "quant99",
                           "q95",
                           "quant95",
                           "q50",
                           "quant50",
                           "quantiles",
                           "quantile",
                           "quant",
                           "psr",
                           "rhat",
                           "psrf",
                           "n_eff",
                           "ess",
                           "neff",
                           "mcmcse",
                           "mcmc_se",
                           "wald",
                           "chisq",
                           "waldstat",
                           "pvalue",
                           "p-value"}) {
    for (const std::string& spelled : {std::string(word), to_upper(word), to_lower(word)}) {
      Summary::cols.clear();
      EXPECT_EQ(add_fault("OUTPUT: " + spelled), "") << spelled;
      EXPECT_FALSE(Summary::cols.empty()) << spelled;
    }
  }
  EXPECT_EQ(add_fault("output: OUTPUT: mean"), "");
  EXPECT_EQ(add_fault("OUTPUT: mean, sd"), "ERROR: Unrecognized OUTPUT option: 'mean,'");
}

}  // namespace
}  // namespace tovik::tests::options_test
