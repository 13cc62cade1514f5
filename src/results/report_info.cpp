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
#include "sem/mcmc.hpp"
#include "sem/outcomes.hpp"
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

}  // namespace

void sem::Mcmc::printInfo(std::FILE* stream, const VariableList& variables, const ModelList& models) const {
  std::fputs("\nDATA INFORMATION:\n\n", stream);
  print_clusters(stream, variables, *this);
  print_dummy_codes(stream, variables);
  std::fputs("\n  Missing Data Info:\n", stream);
  missing_patterns().print(stream, pattern_names(), missing_percents());
  std::fputs("\n\nMODEL INFORMATION:\n\n", stream);
  print_parameter_counts(stream, *this);
  print_roles(stream, variables, incomplete_in(*this));
  print_statements(stream, models);
}

}  // namespace tovik
