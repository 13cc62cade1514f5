#include "input/input_file.hpp"
#include "support/error.hpp"
#include "support/warning.hpp"

namespace tovik {

namespace {

constexpr std::int32_t latent_method = 2;

[[noreturn]] void latent_only(const char* command) {
  throw error("ERROR: The " + std::string(command) +
              " command is only available for the latent means framework.\n"
              "       Use the keyword \"latent\" on the OPTIONS command to specify this framework.");
}

[[noreturn]] void model_only(const char* command) {
  throw error("ERROR: The " + std::string(command) +
              " command is not available with the FCS command.\n"
              "       Use the MODEL command to specify model-based imputation.");
}

[[noreturn]] void scores_without_model(const char* kind) {
  throw error("ERROR: " + std::string(kind) +
              " score saving requsted, but no model is specified.\n"
              "       Use the MODEL command to specify model-based imputation.");
}

}  // namespace

void InputFile::checkMethods() {
  checkModelCommands();
  checkCentering();
  checkScores();
  checkPredictorPrior();
  if (!randomEffects.empty() && models.empty() && clmean_method != latent_method) {
    throw error("ERROR: Cannot specify RANDOMEFFECT command with FCS command.\n");
  }
}

void InputFile::checkModelCommands() const {
  const bool latent = clmean_method == latent_method;
  if (!models.empty() && !latent) {
    throw error(
        "ERROR: MODEL Command is no longer supported for noclmean/manifest.\n"
        "       Please use Tovik Version 2.2.2 for this or contact support.");
  }
  if (!fixed.empty() && !latent) latent_only("FIXED");
  if (!simples.empty() && models.empty()) model_only("SIMPLE");
  if (!hypotheses.empty() && models.empty()) model_only("WALDTEST");
}

void InputFile::checkCentering() const {
  const bool any = !centerGrand.empty() || !centerGroup.empty();
  if (any && clmean_method != latent_method) latent_only("CENTERING");
  if (!center_plain_.empty() && !clusterIds.empty()) {
    throw error("ERROR: Do not recognize CENTERING command keyword \"" + center_plain_.front() + "\".");
  }
  if (clusterIds.empty() && !centerGroup.empty()) {
    throw error("ERROR: Cannot perform cluster-wise centering (CWC) in a single-level model.");
  }
}

void InputFile::checkScores() const {
  if (savelatent && clmean_method != latent_method) {
    throw error(
        "ERROR: Latent saving requsted, but manifest framework specified.\n"
        "       Add the 'latent' keyword to options line.");
  }
  if (savepred && models.empty()) scores_without_model("Predicted");
  if (saveresid && models.empty()) scores_without_model("Residual");
}

void InputFile::checkPredictorPrior() {
  if (xprior != -1 && clmean_method != latent_method) {
    warning::buffer.push("WARNING: Ignoring keyword \"xprior" + std::to_string(xprior) +
                         "\". This command is for latent means only.");
    xprior = -1;
  }
  if (xprior == -1 && clmean_method == latent_method) xprior = 1;
}

}  // namespace tovik
