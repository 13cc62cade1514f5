#include "command_file.hpp"

namespace tovik::tests {
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
      add("SAVE: separate = imp*.csv, imp = i*.csv; SAVE: psr = a.csv, psr = b.csv, starts = a.txt, starts = "
          "b.txt;");
  EXPECT_EQ(in->writePath("separate"), "other*.csv");
  EXPECT_EQ(in->writePath("stacked"), "i*.csv");
  EXPECT_EQ(in->writePath("psr"), "a.csv");
  EXPECT_EQ(in->writePath("starts"), "b.txt");
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

struct Debug : CommandFile {
  static std::string notice(const std::string& lines) {
    return "WARNING: Using DEBUG command gives access to advanced internal options.\n" + lines + "\n";
  }
};

TEST_F(Debug, KeywordsAppendTheirNotice) {
  const std::pair<const char*, const char*> cases[] = {
      {"ICCcutoff = 0.5",
       "\n         - Setting cutoff value of ICC to ignore level structure for a variable."
       "\n           ICCcutoff = 0.500000"},
      {"STARTSDISPERSION 2",
       "\n         - Setting random starts dispersion factor.\n           startsdispersion = 2.000000"},
      {"undefcov", "\n         - Allowing undefined covariances due to the missing data patterns."},
      {"undefinedcovariance",
       "\n         - Allowing undefined covariances due to the missing data patterns."},
      {"ess_sampler", "\n         - Setting Phantom, Factor, and Normal variables to ESS sampler."},
      {"metropolis_sampler",
       "\n         - Setting Phantom, Factor, and Normal variables to metroplis-hasting sampler."},
      {"tunecheck = 50", "\n         - Setting tuning check interval.\n           tunecheck = 50"},
      {"psr_interval = 7", "\n         - Setting psr print interval.\n           psr_interval = 7"},
      {"no_drop", "\n         - Allowing observations with all variables missing."},
      {"ess_max_niter = 9",
       "\n         - Setting max iterations for ESS sampler.\n           ess_max_niter = 9"},
      {"trunc_norm_max_niter = 8",
       "\n         - Setting max iterations for truncated normal distribution draws.\n           "
       "trunc_norm_max_niter = 8"},
      {"pg_max_niter = 6",
       "\n         - Setting max iterations for p\xC3\xB3lya-gamma distribution draws.\n           "
       "pg_max_niter = 6"},
      {"pg_n_gamma = 5",
       "\n         - Setting number of gamam distributions to apprximate the p\xC3\xB3lya-gamma distribution."
       "\n           pg_n_gamma = 5"},
      {"print_debug", "\n         - Enabling printing of debug information."},
      {"debug_print", "\n         - Enabling printing of debug information."},
      {"categorical_prior = 2.5",
       "\n         - Setting prior variance for regression coefficients in categorical models."
       "\n           categorical_prior = 2.500000"},
      {"varnam_truncate = 12",
       "\n         - Setting variable name truncation point. This may cause printing issues with tables."
       "\n           varnam_truncate = 12"},
      {"no_reduce", "\n         - Disabling model combining."},
      {"reduce_models", "\n         - Enabling model combining."},
      {"no_sort", "\n         - Disabling model sorting."},
      {"sort_models", "\n         - Enabling model sorting."},
      {"no_optimize", "\n         - Disabling model optimizing."},
      {"optimize_models", "\n         - Enabling model optimizing."},
      {"allow_tune_fail",
       "\n         - Enabling continuing when tuning fails."
       "\n           MCMC sampling will continue if algorithmic tuning"
       "\n           has not been achieved by the end of the burn-in period."},
      {"print_iterations", "\n         - Enabling printing of iterations to output file."},
      {"split_chain = FALSE", "\n         - Setting PSR computation style.\n           split_chain = 0"},
      {"split_chain = true", "\n         - Setting PSR computation style.\n           split_chain = 1"},
      {"use_autosolver = false",
       "\n         - Setting the use of analytical conditional solutions.\n           use_autosolver = 0"},
      {"print_fixed_values", "\n         - Enabling printing of fixed parameters in the output."},
      {"multi_mh_max_iter = 4",
       "\n         - Setting Max iterations before reject in the Multivariate"
       "\n           Models Metropolis Hastings draws.\n           multi_mh_max_iter = 4"},
      {"allow_multivariate", "\n         - Enabling multivariate regression framework."},
      {"print_all_rcorr", "\n         - Enabling printing of all residual correlations."},
      {"sort_rcorrs", "\n         - Enable sorting of residual correlations."},
      {"logvar_truncate = -3",
       "\n         - Setting log variance model's lower bound truncation point.\n           logvar_truncate "
       "= -3.000000"},
      {"max_pat = 3",
       "\n         - Setting max number of missing data patterns to print on a row.\n           max_pat = "
       "3"}};
  for (const auto& [words, lines] : cases) {
    warning::buffer.clear();
    add("DEBUG: " + std::string(words));
    EXPECT_EQ(warnings(), (Names{notice(lines)})) << words;
  }
}

TEST_F(Debug, KeywordsSetTheirValues) {
  const auto in =
      add("DEBUG: ICCcutoff = 0.5, startsdispersion 2, undefcov, no_drop, tunecheck 50, varnam_truncate 12, "
          "max_pat = 3,"
          "ess_sampler, ess_max_niter 9, trunc_norm_max_niter 8, pg_max_niter 6, pg_n_gamma 5, print_debug,;"
          "DEBUG: categorical_prior 2.5, no_reduce, no_sort, no_optimize, allow_tune_fail, split_chain false;"
          "use_autosolver false, print_fixed_values, multi_mh_max_iter 4, allow_multivariate, "
          "print_all_rcorr, sort_rcorrs,"
          "logvar_truncate -3, psr_interval 7");
  EXPECT_EQ(in->ICCcutoff, 0.5);
  EXPECT_EQ(in->startsdispersion, 2.0);
  EXPECT_FALSE(in->undefinedcovariance);
  EXPECT_FALSE(in->drop_all_missing);
  EXPECT_EQ(in->tunecheck, 50u);
  EXPECT_EQ(VariableList::truncate, 12u);
  EXPECT_EQ(patterns::max_row_print, 3u);
  using s = sem::sampler_settings;
  EXPECT_TRUE(s::ess_sampler && s::print_debug_constraint && s::print_debug_tune && Output::print_debug);
  EXPECT_EQ(s::ess_max_niter, 9u);
  EXPECT_EQ(Random::trunc_norm_max_niter, 8u);
  EXPECT_EQ(Random::pg_max_niter, 6u);
  ASSERT_EQ(Random::pg_vec.n_elem, 5u);
  for (unsigned k = 0; k < 5; ++k) {
    EXPECT_DOUBLE_EQ(Random::pg_vec[k], 4 * arma::datum::pi * arma::datum::pi * (k + 0.5) * (k + 0.5));
  }
  EXPECT_EQ(sem::getCategoricalPriors(), 2.5);
  EXPECT_FALSE(sem::defaults::reduce_models || sem::defaults::sort_models || sem::defaults::optimize_models);
  EXPECT_FALSE(s::optimize_draws || s::use_autosolver || chain_info::crash_on_tune_fail);
  EXPECT_FALSE(Summary::splitChain || Summary::supress_print);
  EXPECT_TRUE(s::print_fixed_values && s::print_all_rcorrs && s::sort_rcorrs && Model::allow_multivariate);
  EXPECT_EQ(s::multi_mh_max_iter, 4u);
  EXPECT_EQ(s::logvar_trunc_point, -3.0);
  EXPECT_EQ(Summary::interval, 7u);
  EXPECT_EQ(warnings().size(), 3u);
  add("DEBUG: metropolis_sampler, reduce_models, sort_models, optimize_models, print_iterations");
  EXPECT_TRUE(sem::defaults::reduce_models && sem::defaults::sort_models && sem::defaults::optimize_models);
  EXPECT_TRUE(s::optimize_draws);
  EXPECT_FALSE(s::ess_sampler);
}

TEST_F(Debug, ValuesMustBeThereAndFit) {
  for (const char* words : {"ICCcutoff",
                            "startsdispersion =",
                            "tunecheck",
                            "psr_interval",
                            "ess_max_niter",
                            "trunc_norm_max_niter",
                            "pg_max_niter",
                            "pg_n_gamma",
                            "categorical_prior",
                            "varnam_truncate",
                            "split_chain",
                            "use_autosolver",
                            "multi_mh_max_iter",
                            "logvar_truncate",
                            "max_pat",
                            "split_chain = maybe",
                            "use_autosolver = 1",
                            "tunecheck = 0",
                            "psr_interval = 0",
                            "pg_n_gamma = 0",
                            "max_pat = 0",
                            "varnam_truncate = 0",
                            "pg_n_gamma = 4000000000",
                            "startsdispersion = inf",
                            "ICCcutoff = nan"}) {
    write("c.imp", "DATA: d.csv; DEBUG: " + std::string(words));
    try {
      InputFile in("c.imp");
      ADD_FAILURE() << words;
    } catch (const error_debug& e) {
      EXPECT_STREQ(e.what(), "DEBUG command not properly specified.") << words;
    }
  }
  EXPECT_EQ(add_fault("DEBUG: tunecheck = x"), "Not a positive integer = x");
  EXPECT_EQ(add_fault("DEBUG: ICCcutoff = x"), "Not a numeric value = x");
}

TEST_F(Debug, UnknownWordsFailAfterTheNotice) {
  EXPECT_EQ(add_fault("DEBUG: no_drop, bad;"), "ERROR: DEBUG subcommand 'bad' not recognized.");
  EXPECT_EQ(warnings(), (Names{"WARNING: Using DEBUG command gives access to advanced internal options.\n"
                               "\n         - Allowing observations with all variables missing."}));
}

struct Report : CommandFile {
  std::string options(const std::string& commands, const std::string& model = "MODEL: y ~ x;") const {
    const auto in = add(commands, model);
    Capture out;
    Output::fp = out.stream();
    in->printOptions();
    return out.text();
  }
};

TEST_F(Report, ShowsTheDefaults) {
  EXPECT_EQ(options("CLUSTERID: z"),
            "\nALGORITHMIC OPTIONS SPECIFIED:\n\n"
            "  Imputation method:                 Fully Bayesian model-based\n"
            "  MCMC algorithm:                    Full conditional Metropolis sampler with\n"
            "                                       Auto-Derived Conditional Distributions\n"
            "  Between-cluster imputation model:  Latent cluster means (LATENT)\n"
            "  Prior for predictor variances:     Unit sum of squares, df = 2 (XPRIOR1)\n"
            "  Chain Starting Values:             Random starting values\n"
            "\n");
}

TEST_F(Report, ShowsSingleLevelRunsWithCategoricalModels) {
  EXPECT_EQ(options("ORDINAL: x; CHAINS: 1; OPTIONS: xprior3; DEBUG: ess_sampler, use_autosolver false;"),
            "\nALGORITHMIC OPTIONS SPECIFIED:\n\n"
            "  Imputation method:                 Fully Bayesian model-based\n"
            "  MCMC algorithm:                    Full conditional ESS sampler with Metropolis steps\n"
            "  Between-cluster imputation model:  Not applicable, single-level imputation\n"
            "  Prior for predictor variances:     Zero sum of squares, df = 0 (XPRIOR3)\n"
            "\n"
            "\n  NOTE: The default prior for regression coefficients \n"
            "        in categorical models is 'normal( 0.0, 5.0)'\n");
}

TEST_F(Report, ShowsCategoricalPriorsWithDecimals) {
  const std::string text =
      options("NOMINAL: x; OPTIONS: norandomstarts xprior2; DEBUG: categorical_prior 2.25;");
  EXPECT_NE(text.find("  Chain Starting Values:             Same starting values\n\n\n  NOTE:"),
            std::string::npos);
  EXPECT_NE(text.find("'normal( 0.0, 2.250000)'\n"), std::string::npos);
  EXPECT_NE(text.find("Zero sum of squares, df = -2 (XPRIOR2)\n"), std::string::npos);
}

TEST_F(Report, ShowsLatentFcs) {
  EXPECT_EQ(options("CLUSTERID: z; OPTIONS: mice", "FCS: y x"),
            "\nALGORITHMIC OPTIONS SPECIFIED:\n\n"
            "  Imputation method:                 Latent Fully conditional specification\n"
            "  MCMC algorithm:                    Gibbs sampler (GIBBS)\n"
            "  Between-cluster imputation model:  Latent cluster means (LATENT)\n"
            "  Prior for random effect variances: Zero matrix, df = -(p + 1) (PRIOR2)\n"
            "  Prior for residual variances:      Zero sum of squares, df = -2 (PRIOR2)\n"
            "  Prior for variances:               Unit sum of squares, df = 2 (XPRIOR1)\n"
            "  Chain Starting Values:             Random starting values\n"
            "\n");
}

TEST_F(Report, ShowsManifestFcs) {
  EXPECT_EQ(options("CLUSTERID: z; OPTIONS: mice manifest prior1", "FCS: y x"),
            "\nALGORITHMIC OPTIONS SPECIFIED:\n\n"
            "  Imputation method:                 Fully conditional specification\n"
            "  MCMC algorithm:                    MICE sampler (MICE)\n"
            "  Between-cluster imputation model:  Manifest cluster means included (MANIFEST)\n"
            "  Prior for random effect variances: Identity matrix, df = p + 1 (PRIOR1)\n"
            "  Prior for residual variances:      Unit sum of squares, df = 2 (PRIOR1)\n"
            "  Chain Starting Values:             Random starting values\n"
            "\n");
  const std::string no_means = options("CLUSTERID: z; OPTIONS: nomean prior3", "FCS: y x");
  EXPECT_NE(no_means.find("Gibbs sampler (GIBBS)\n"), std::string::npos);
  EXPECT_NE(no_means.find("Cluster means excluded (NOCLMEAN)\n"), std::string::npos);
  EXPECT_NE(no_means.find("variances: Zero matrix, df = 0 (PRIOR3)\n"), std::string::npos);
  EXPECT_NE(no_means.find("variances:      Zero sum of squares, df = 0 (PRIOR3)\n"), std::string::npos);
}

TEST_F(Report, ShowsSingleLevelFcsAndUnknownPriors) {
  const std::string text = options("OPTIONS: manifest", "FCS: y x");
  EXPECT_NE(text.find("  Prior for random effect variances: Not applicable, single-level imputation\n"
                      "  Prior for residual variances:      Unit sum of squares, df = 2 (single-level)\n"),
            std::string::npos);
  const auto in = add("CLUSTERID: z; OPTIONS: manifest", "FCS: y x");
  in->prior_raneff = 7;
  in->prior_resvar = -4;
  Capture out;
  Output::fp = out.stream();
  in->printOptions();
  const std::string odd = out.text();
  EXPECT_NE(odd.find("effect variances: DEVELOPER: PRIOR = 7 - USE WITH CAUTION\n"), std::string::npos);
  EXPECT_NE(odd.find("residual variances:      DEVELOPER: PRIOR = -4 - USE WITH CAUTION\n"),
            std::string::npos);
}

}  // namespace
}  // namespace tovik::tests
