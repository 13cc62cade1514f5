#include "command_file.hpp"

namespace tovik::tests::debug_options_test {
namespace {

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
                            "ICCcutoff = nan",
                            "ICCcutoff = 1e400",
                            "logvar_truncate = -1e400",
                            "categorical_prior = 0",
                            "categorical_prior = -1"}) {
    write("c.imp", "DATA: d.csv; DEBUG: " + std::string(words));
    try {
      InputFile in("c.imp");
      ADD_FAILURE() << words;
    } catch (const error_debug& e) {
      ADD_FAILURE() << words << " is told as a fault of the program: " << e.what();
    } catch (const error& e) {
      const std::string keyword = std::string(words).substr(0, std::string(words).find_first_of(" ="));
      EXPECT_EQ(e.what(),
                "ERROR: DEBUG command not properly specified.\n       Problem keyword: '" + keyword + "'");
    }
  }
  const auto problem = [](const std::string& keyword) {
    return "ERROR: DEBUG command not properly specified.\n       Problem keyword: '" + keyword + "'";
  };
  EXPECT_EQ(add_fault("DEBUG: tunecheck = x"), problem("tunecheck"));
  EXPECT_EQ(add_fault("DEBUG: ICCcutoff = x"), problem("ICCcutoff"));
}

TEST_F(Debug, UnknownWordsFailAfterTheNotice) {
  EXPECT_EQ(add_fault("DEBUG: no_drop, bad;"), "ERROR: DEBUG subcommand 'bad' not recognized.");
  EXPECT_EQ(warnings(), (Names{"WARNING: Using DEBUG command gives access to advanced internal options.\n"
                               "\n         - Allowing observations with all variables missing."}));
}

TEST_F(Debug, CountsAreUnsignedOf32Bits) {
  for (const char* value : {"-1", "1.5", "4294967296", "1e400", "99999999999999999999", "0x10"}) {
    for (const char* keyword :
         {"tunecheck", "psr_interval", "ess_max_niter", "trunc_norm_max_niter", "pg_max_niter", "pg_n_gamma",
          "varnam_truncate", "multi_mh_max_iter", "max_pat"}) {
      EXPECT_EQ(add_fault("DEBUG: " + std::string(keyword) + " = " + value),
                "ERROR: DEBUG command not properly specified.\n       Problem keyword: '" +
                    std::string(keyword) + "'")
          << keyword;
    }
  }
}

TEST_F(Debug, LimitsOfLoopsMayBeZeroOrTheLargestCount) {
  add("DEBUG: ess_max_niter = 0, trunc_norm_max_niter = 0, pg_max_niter = 0, multi_mh_max_iter = 0;");
  EXPECT_EQ(sem::sampler_settings::ess_max_niter, 0u);
  EXPECT_EQ(sem::sampler_settings::multi_mh_max_iter, 0u);
  EXPECT_EQ(Random::trunc_norm_max_niter, 0u);
  EXPECT_EQ(Random::pg_max_niter, 0u);
  EXPECT_EQ(add("DEBUG: tunecheck = 4294967295;")->tunecheck, 4294967295u);
}

TEST_F(Debug, TinyNumbersCountAsZero) {
  EXPECT_EQ(add("DEBUG: ICCcutoff = 1e-400;")->ICCcutoff, 0.0);
  EXPECT_EQ(add("DEBUG: startsdispersion = 1.7976931348623157e308;")->startsdispersion,
            1.7976931348623157e308);
}

TEST_F(Debug, EveryStatementPushesItsNotice) {
  add("DEBUG: no_drop; undefcov; DEBUG: , ;");
  EXPECT_EQ(warnings(),
            (Names{notice("\n         - Allowing observations with all variables missing."),
                   notice("\n         - Allowing undefined covariances due to the missing data patterns."),
                   notice("")}));
}

TEST_F(Debug, ThePriorReachesAllSevenPlaces) {
  using p = sem::categorical_priors;
  EXPECT_EQ(sem::getCategoricalPriors(), 5.0);
  add("DEBUG: categorical_prior = 0.25;");
  for (const double value :
       {p::logistic, p::ordinal, p::rstar, p::predictor_nominal_mu, p::predictor_nominal_gamma,
        p::predictor_ordinal_mu, p::predictor_ordinal_gamma}) {
    EXPECT_EQ(value, 0.25);
  }
  p::logistic = 7.25;
  EXPECT_EQ(sem::getCategoricalPriors(), 1.25);  // the mean of seven
}

TEST_F(Debug, DefaultsStandWithoutTheCommand) {
  using s = sem::sampler_settings;
  add("");
  EXPECT_FALSE(s::ess_sampler || s::print_debug_constraint || s::print_debug_tune || Output::print_debug);
  EXPECT_FALSE(s::print_fixed_values || s::print_all_rcorrs || s::sort_rcorrs || Model::allow_multivariate);
  EXPECT_FALSE(sem::defaults::freeloadings || patterns::print_all);
  EXPECT_TRUE(s::use_autosolver && s::optimize_draws && chain_info::crash_on_tune_fail);
  EXPECT_TRUE(Summary::splitChain && Summary::supress_print && Output::print_iterations);
  EXPECT_TRUE(sem::defaults::reduce_models && sem::defaults::sort_models && sem::defaults::optimize_models);
  EXPECT_TRUE(chain_info::compute_DIC && chain_info::compute_corrs);
  EXPECT_EQ(s::ess_max_niter, 1000u);
  EXPECT_EQ(s::multi_mh_max_iter, 1000u);
  EXPECT_EQ(s::logvar_trunc_point, -6.0);
  EXPECT_EQ(Random::trunc_norm_max_niter, 10000u);
  EXPECT_EQ(Random::pg_max_niter, 10000u);
  EXPECT_EQ(Random::pg_vec.n_elem, 200u);
  EXPECT_EQ(VariableList::truncate, 9u);
  EXPECT_EQ(patterns::max_row_print, 10u);
  EXPECT_EQ(Summary::interval, 100u);
}

}  // namespace
}  // namespace tovik::tests::debug_options_test
