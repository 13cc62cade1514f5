#include <gtest/gtest.h>

#include "results/summary.hpp"
#include "settings.hpp"
#include "support/error.hpp"

namespace tovik::summary_columns_test {
namespace {

using column = Summary::column;

class OutputColumns : public ::testing::Test {
  tests::SummarySettings settings_;
};

TEST_F(OutputColumns, LabelsOfAllColumns) {
  const std::vector<std::vector<std::string>> expected = {
      {"Mean"},          {"Median"},        {"StdDev"},
      {"VAR"},           {"MAD SD"},        {"2.5%", "25%", "50%", "75%", "97.5%"},
      {"0.5%", "99.5%"}, {"2.5%", "97.5%"}, {"25%", "75%"},
      {"PSR"},           {"N_Eff"},         {"MCMC_SE"},
      {"ChiSq"},         {"PValue"}};
  for (int k = 0; k < 14; ++k) EXPECT_EQ(Summary::column_strs(static_cast<column>(k)), expected[k]);
}

TEST_F(OutputColumns, OutputWordsIgnoreCase) {
  const std::vector<std::pair<const char*, column>> words = {{"Mean", column::mean},
                                                             {"MEDIAN", column::median},
                                                             {"MADSD", column::mad_sd},
                                                             {"mad_sd", column::mad_sd},
                                                             {"Mad", column::mad_sd},
                                                             {"StdDev", column::stddev},
                                                             {"SD", column::stddev},
                                                             {"variance", column::variance},
                                                             {"var", column::variance},
                                                             {"Q99", column::quant99},
                                                             {"quant99", column::quant99},
                                                             {"q95", column::quant95},
                                                             {"quant95", column::quant95},
                                                             {"q50", column::quant50},
                                                             {"quant50", column::quant50},
                                                             {"quantiles", column::quantiles},
                                                             {"quantile", column::quantiles},
                                                             {"quant", column::quantiles},
                                                             {"PSR", column::psr},
                                                             {"rhat", column::psr},
                                                             {"psrf", column::psr},
                                                             {"N_Eff", column::n_eff},
                                                             {"ess", column::n_eff},
                                                             {"neff", column::n_eff},
                                                             {"mcmcse", column::mcmc_se},
                                                             {"MCMC_SE", column::mcmc_se},
                                                             {"wald", column::chisq},
                                                             {"ChiSq", column::chisq},
                                                             {"waldstat", column::chisq},
                                                             {"pvalue", column::pvalue},
                                                             {"P-Value", column::pvalue}};
  for (const auto& [word, which] : words) {
    Summary::cols.clear();
    Summary::add_column(word);
    EXPECT_EQ(Summary::cols, std::vector<column>{which}) << word;
  }
}

TEST_F(OutputColumns, DefaultWordsReplaceTheList) {
  for (const char* word : {"default_median", "mean"}) Summary::add_column(word);
  EXPECT_EQ(Summary::cols, (std::vector<column>{column::median, column::mad_sd, column::quant95, column::psr,
                                                column::n_eff, column::mean}));
  for (const char* word : {"output:", "", "mean", "Default_Median"}) Summary::add_column(word);
  EXPECT_EQ(Summary::cols.size(), 5u);
  Summary::add_column("default_mean");
  EXPECT_EQ(Summary::cols,
            (std::vector<column>{column::mean, column::stddev, column::quant95, column::psr, column::n_eff}));
  Summary::add_column("default_testing");
  EXPECT_EQ(Summary::cols, (std::vector<column>{column::median, column::stddev, column::quant95,
                                                column::pvalue, column::psr, column::n_eff}));
  Summary::add_column("DEFAULT");
  EXPECT_EQ(Summary::cols, (std::vector<column>{column::median, column::stddev, column::quant95,
                                                column::chisq, column::pvalue, column::n_eff}));
}

TEST_F(OutputColumns, RejectsUnknownOutputWords) {
  try {
    Summary::add_column("Modus");
    FAIL();
  } catch (const error_debug&) {
    FAIL() << "a wrong word is the user's mistake";
  } catch (const error& e) {
    EXPECT_STREQ(e.what(), "ERROR: Unrecognized OUTPUT option: 'Modus'");
  }
  EXPECT_TRUE(Summary::cols.empty());
}

TEST_F(OutputColumns, SupressesTheTwoTestColumns) {
  EXPECT_TRUE(Summary::supress("ChiSq"));
  EXPECT_TRUE(Summary::supress("PValue"));
  EXPECT_FALSE(Summary::supress("Median"));
  Summary::supress_print = false;
  EXPECT_FALSE(Summary::supress("ChiSq"));
}

}  // namespace
}  // namespace tovik::summary_columns_test
