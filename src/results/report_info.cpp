// What the run knows before it samples: the data, their missing cells and the models.

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "data/levels.hpp"
#include "data/patterns.hpp"
#include "data/variable_list.hpp"
#include "model/model_list.hpp"
#include "results/report_lists.hpp"
#include "results/report_models.hpp"
#include "sem/chain/mcmc.hpp"
#include "sem/ensemble/outcomes.hpp"
#include "sem/predictors/excluded_level.hpp"
#include "sem/predictors/variable.hpp"
#include "support/warning.hpp"
#include "support/wrapped.hpp"

namespace tovik {

namespace {

using variable_ptr = std::shared_ptr<data::variable>;

void print_clusters(std::FILE* stream, const VariableList& variables, const sem::Mcmc& mcmc) {
  int level = 2;
  for (const variable_ptr& id : variables.clusters) {
    std::fprintf(stream, "  Level-%i identifier:       %s\n", level++, id->name.c_str());
  }
  std::fprintf(stream, "  Sample Size:              %llu\n",
               static_cast<unsigned long long>(mcmc.n_units(0)));
  for (unsigned l = 1; l < mcmc.n_levels(); ++l) {
    std::fprintf(stream, "  Level-%i Clusters:         %i\n", static_cast<int>(l + 1),
                 static_cast<int>(mcmc.n_units(l)));
  }
}

void print_dummy_codes(std::FILE* stream, const VariableList& variables) {
  const std::vector<variable_ptr> nominals = variables.subset(data::type::nominal);
  if (nominals.empty()) return;
  std::fputs("  Nominal Dummy Codes:\n\n", stream);
  for (const variable_ptr& nominal : nominals) {
    std::vector<std::string> names;
    for (const variable_ptr& code : nominal->dummies) names.push_back(code->name);
    std::fprintf(stream, "       %18s =%s\n", nominal->name.c_str(), wrapped(names, 27, list_width).c_str());
  }
}

void print_parameter_counts(std::FILE* stream, const sem::Mcmc& mcmc) {
  std::fprintf(stream,
               "  NUMBER OF PARAMETERS\n"
               "    Outcome Models:         %i\n",
               static_cast<int>(mcmc.outcomes()->n_estimated()));
  const auto computed = static_cast<int>(mcmc.outcomes()->n_computations());
  if (computed > 0) std::fprintf(stream, "    Generated Parameters:   %i\n", computed);
  std::fprintf(stream, "    Predictor Models:       %i\n\n",
               static_cast<int>(mcmc.getCovariateEstimatedNParams()));
}

/// The percentages of missing units by the names of the patterns: those of predictors as their models count
/// them.
std::vector<double> missing_percents_of(const sem::Mcmc& mcmc) {
  std::vector<double> percents = mcmc.missing_percents();
  for (const auto& model : mcmc.predictors()) {
    const auto& names = mcmc.pattern_names();
    const auto at = std::find(names.begin(), names.end(), model->variable().name);
    if (!model->means_only() && at != names.end())
      percents[static_cast<std::size_t>(at - names.begin())] = model->getMissingPercent();
  }
  return percents;
}

/// A variable is incomplete when cells of its own level are missing.
is_incomplete incomplete_in(const sem::Mcmc& mcmc) {
  std::vector<std::string> names;
  for (std::size_t k = 0; k < mcmc.pattern_names().size(); ++k) {
    if (mcmc.missing_percents()[k] > 0) names.push_back(mcmc.pattern_names()[k]);
  }
  return [names](const data::variable& v) {
    return std::find(names.begin(), names.end(), v.name) != names.end();
  };
}

/// Of variables with a model of their own. One that is fixed has no latent means to do without; where it does
/// not vary it is no predictor, as a variable of a higher level is none below.
void warn_of_exclusions(const sem::Mcmc& mcmc) {
  std::string lines;
  for (const sem::excluded_level& one : mcmc.excluded_predictors()) {
    const bool modelled = std::any_of(mcmc.predictors().begin(), mcmc.predictors().end(),
                                      [&](const auto& model) { return model->variable().name == one.name; });
    if (!modelled) continue;
    lines +=
        "           Variable \"" + one.name + "\" excluded from level-" + std::to_string(one.level) + "\n";
  }
  if (lines.empty()) return;
  warning::buffer.push("WARNING: Excluding the following variables as predictors at the listed level.\n" +
                       lines +
                       "\n         Their latent cluster means will not be estimated at the listed level.\n\n"
                       "         These variables are orthogonal to all variables at that level\n"
                       "         (e.g., because they lack variation at that level).");
}

/// An imputation without outcome models has variables and no equations.
void print_imputation_model(std::FILE* stream, const VariableList& variables, const sem::Mcmc& mcmc) {
  std::fputs("\n\nVARIABLES IN IMPUTATION MODEL:\n\n", stream);
  print_imputation_variables(stream, variables, incomplete_in(mcmc));
  std::fprintf(stream, "\n  NUMBER OF PARAMETERS\n    Imputation Models:      %i\n",
               static_cast<int>(mcmc.getCovariateEstimatedNParams()));
}

void print_outcome_models(std::FILE* stream, const VariableList& variables, const ModelList& models,
                          const sem::Mcmc& mcmc) {
  std::fputs("\n\nMODEL INFORMATION:\n\n", stream);
  print_parameter_counts(stream, mcmc);
  print_roles(stream, variables, incomplete_in(mcmc));
  print_statements(stream, models);
}

}  // namespace

void sem::Mcmc::printInfo(std::FILE* stream, const VariableList& variables, const ModelList& models) const {
  std::fputs("\nDATA INFORMATION:\n\n", stream);
  print_clusters(stream, variables, *this);
  print_dummy_codes(stream, variables);
  std::fputs("\n  Missing Data Info:\n", stream);
  missing_patterns().print(stream, pattern_names(), missing_percents_of(*this));
  if (outcomes() == nullptr) {
    print_imputation_model(stream, variables, *this);
  } else {
    print_outcome_models(stream, variables, models, *this);
  }
  warn_of_exclusions(*this);
}

}  // namespace tovik
