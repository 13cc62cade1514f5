#include "command_file.hpp"

namespace tovik::tests::print_options_test {
namespace {

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
}  // namespace tovik::tests::print_options_test
