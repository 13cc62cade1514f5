#include <cmath>
#include <cstdio>

#include "input/input_file.hpp"
#include "sem/wiring/settings.hpp"
#include "support/output.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

std::string sampler_name(const InputFile& in) {
  if (in.models.empty()) {
    return in.mice && in.clmean_method != 2 ? "MICE sampler (MICE)" : "Gibbs sampler (GIBBS)";
  }
  std::string text = sem::sampler_settings::ess_sampler ? "Full conditional ESS sampler with Metropolis steps"
                                                        : "Full conditional Metropolis sampler";
  if (sem::sampler_settings::use_autosolver) {
    text += " with\n                                       Auto-Derived Conditional Distributions";
  }
  return text;
}

std::string method_name(const InputFile& in) {
  if (!in.models.empty()) return "Fully Bayesian model-based";
  return in.clmean_method == 2 ? "Latent Fully conditional specification" : "Fully conditional specification";
}

const char* const single_level = "Not applicable, single-level imputation";

std::string between_name(const InputFile& in) {
  if (in.clusterIds.empty()) return single_level;
  switch (in.clmean_method) {
    case 1:
      return "Manifest cluster means included (MANIFEST)";
    case 2:
      return "Latent cluster means (LATENT)";
    default:
      return "Cluster means excluded (NOCLMEAN)";
  }
}

std::string developer(std::int32_t code) {
  return "DEVELOPER: PRIOR = " + std::to_string(code) + " - USE WITH CAUTION";
}

std::string raneff_prior_name(const InputFile& in) {
  if (in.clusterIds.empty()) return single_level;
  switch (in.prior_raneff) {
    case 1:
      return "Identity matrix, df = p + 1 (PRIOR1)";
    case 2:
      return "Zero matrix, df = -(p + 1) (PRIOR2)";
    case 3:
      return "Zero matrix, df = 0 (PRIOR3)";
    default:
      return developer(in.prior_raneff);
  }
}

/// The three priors of a variance; `word` names the option that asks for them.
std::string variance_prior_name(std::int32_t code, const std::string& word) {
  switch (code) {
    case 1:
      return "Unit sum of squares, df = 2 (" + word + "1)";
    case 2:
      return "Zero sum of squares, df = -2 (" + word + "2)";
    case 3:
      return "Zero sum of squares, df = 0 (" + word + "3)";
    default:
      return developer(code);
  }
}

std::string resvar_prior_name(const InputFile& in) {
  if (in.clusterIds.empty()) return "Unit sum of squares, df = 2 (single-level)";
  return variance_prior_name(in.prior_resvar, "PRIOR");
}

/// What `scaled_priors` does to the first prior.
std::string in_units(const InputFile& in, std::int32_t code, const std::string& text) {
  return in.scaled_priors && code == 1 ? text + ", in units of each variable" : text;
}

void print_line(const char* label, const std::string& text) {
  std::fprintf(Output::fp, "  %-35s%s\n", label, text.c_str());
}

std::string prior_value(double value) {
  if (std::trunc(value) == value) return format("%.0f.0", value);
  return format("%f", value);
}

}  // namespace

void InputFile::printOptions() const {
  const bool latent_models = clmean_method == 2 && !models.empty();
  std::fputs("\nALGORITHMIC OPTIONS SPECIFIED:\n\n", Output::fp);
  print_line("Imputation method:", method_name(*this));
  print_line("MCMC algorithm:", sampler_name(*this));
  print_line("Between-cluster imputation model:", between_name(*this));
  if (!latent_models) {
    print_line("Prior for random effect variances:", in_units(*this, prior_raneff, raneff_prior_name(*this)));
    print_line("Prior for residual variances:", in_units(*this, prior_resvar, resvar_prior_name(*this)));
  }
  if (clmean_method == 2) {
    print_line(latent_models ? "Prior for predictor variances:" : "Prior for variances:",
               in_units(*this, xprior, variance_prior_name(xprior, "XPRIOR")));
  }
  if (chains > 1) {
    print_line("Chain Starting Values:", !starts_file.empty() ? "Values of a file (STARTS)"
                                         : randomstarts       ? "Random starting values"
                                                              : "Same starting values");
  }
  std::fputs("\n", Output::fp);
  if (!ordinals.empty() || !nominals.empty()) {
    std::fprintf(Output::fp, "%s\n",
                 ("\n  NOTE: The default prior for regression coefficients \n"
                  "        in categorical models is 'normal( 0.0, " +
                  prior_value(sem::getCategoricalPriors()) + ")'")
                     .c_str());
  }
  std::fflush(Output::fp);
}

}  // namespace tovik
