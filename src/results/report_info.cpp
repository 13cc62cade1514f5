// What the run knows before it samples: the data, their missing cells and the models.

#include "results/report_info.hpp"

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "data/variable_list.hpp"
#include "manifest/wrapper.hpp"
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

void print_clusters(std::FILE* stream, const VariableList& variables,
                    const std::vector<arma::uword>& n_units) {
  int level = 2;
  for (const variable_ptr& id : variables.clusters) {
    std::fprintf(stream, "  Level-%i identifier:       %s\n", level++, id->name.c_str());
  }
  std::fprintf(stream, "  Sample Size:              %llu\n", static_cast<unsigned long long>(n_units[0]));
  for (std::size_t l = 1; l < n_units.size(); ++l) {
    std::fprintf(stream, "  Level-%i Clusters:         %i\n", static_cast<int>(l + 1),
                 static_cast<int>(n_units[l]));
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

/// A variable is incomplete when cells of its own level are missing.
is_incomplete incomplete_in(const sem::missing_summary& missing) {
  std::vector<std::string> names;
  for (std::size_t k = 0; k < missing.names.size(); ++k) {
    if (missing.percents[k] > 0) names.push_back(missing.names[k]);
  }
  return [names](const data::variable& v) {
    return std::find(names.begin(), names.end(), v.name) != names.end();
  };
}

/// Of variables with a model of their own. One that is fixed has no latent means to do without; where it does
/// not vary it is no predictor, as a variable of a higher level is none below.
void warn_of_exclusions(const sem::Mcmc& mcmc) {
  std::vector<sem::excluded_level> list;
  for (const sem::excluded_level& one : mcmc.excluded_predictors()) {
    const bool modelled = std::any_of(mcmc.predictors().begin(), mcmc.predictors().end(),
                                      [&](const auto& model) { return model->variable().name == one.name; });
    if (modelled) list.push_back(one);
  }
  warn_of_excluded(list,
                   "\n         Their latent cluster means will not be estimated at the listed level.\n\n");
}

void print_outcome_models(std::FILE* stream, const VariableList& variables, const ModelList& models,
                          const sem::Mcmc& mcmc) {
  std::fputs("\n\nMODEL INFORMATION:\n\n", stream);
  print_parameter_counts(stream, mcmc);
  print_roles(stream, variables, incomplete_in(mcmc.missing()));
  print_statements(stream, models);
}

}  // namespace

sem::missing_summary report_missing(const sem::Mcmc& mcmc) {
  sem::missing_summary out = mcmc.missing();
  for (const auto& model : mcmc.predictors()) {
    const auto at = std::find(out.names.begin(), out.names.end(), model->variable().name);
    if (!model->means_only() && at != out.names.end())
      out.percents[static_cast<std::size_t>(at - out.names.begin())] = model->getMissingPercent();
  }
  return out;
}

const sem::missing_summary& report_missing(const manifest::wrapper& imputation) {
  return imputation.mi().missing();
}

void print_data_information(std::FILE* stream, const VariableList& variables,
                            const std::vector<arma::uword>& n_units, const sem::missing_summary& missing) {
  std::fputs("\nDATA INFORMATION:\n\n", stream);
  print_clusters(stream, variables, n_units);
  print_dummy_codes(stream, variables);
  std::fputs("\n  Missing Data Info:\n", stream);
  missing.table.print(stream, missing.names, missing.percents);
}

void print_imputation_model(std::FILE* stream, const VariableList& variables,
                            const sem::missing_summary& missing, arma::uword n_estimated) {
  std::fputs("\n\nVARIABLES IN IMPUTATION MODEL:\n\n", stream);
  print_imputation_variables(stream, variables, incomplete_in(missing));
  std::fprintf(stream, "\n  NUMBER OF PARAMETERS\n    Imputation Models:      %i\n",
               static_cast<int>(n_estimated));
}

void warn_of_excluded(const std::vector<sem::excluded_level>& list, const std::string& consequence) {
  if (list.empty()) return;
  std::string lines;
  for (const sem::excluded_level& one : list) {
    lines +=
        "           Variable \"" + one.name + "\" excluded from level-" + std::to_string(one.level) + "\n";
  }
  warning::buffer.push("WARNING: Excluding the following variables as predictors at the listed level.\n" +
                       lines + consequence +
                       "         These variables are orthogonal to all variables at that level\n"
                       "         (e.g., because they lack variation at that level).");
}

void sem::Mcmc::printInfo(std::FILE* stream, const VariableList& variables, const ModelList& models) const {
  std::vector<arma::uword> units;
  for (unsigned l = 0; l < n_levels(); ++l) units.push_back(n_units(l));
  print_data_information(stream, variables, units, report_missing(*this));
  if (outcomes() == nullptr) {
    print_imputation_model(stream, variables, missing(), getCovariateEstimatedNParams());
  } else {
    print_outcome_models(stream, variables, models, *this);
  }
  warn_of_exclusions(*this);
}

}  // namespace tovik
