#include "results/report_tuning.hpp"

#include "model/model_list.hpp"
#include "sem/mcmc.hpp"
#include "sem/outcomes.hpp"
#include "support/error.hpp"

namespace tovik {

void print_tuning_table(std::FILE* stream, const std::vector<sem::estimator::tune_results>& results,
                        const std::vector<std::string>& names, bool all) {
  if (results.size() != names.size()) throw error_debug("Incorrect names to tuning results.");
  std::fprintf(stream, "    %-25s  %13s  %13s  %13s  %13s \n", "Type", "Variable", "Multiplier", "Target Value",
               "Probability");
  for (std::size_t i = 0; i < results.size(); ++i) {
    for (const sem::estimator::tune_obj& entry : results[i]) {
      if (entry.total == 0 || (!all && !entry.failed())) continue;
      std::fprintf(stream, "    %-25s  %13s  %13.3f  %13.3f  %13.3f \n", entry.label(), names[i].c_str(),
                   entry.value, entry.target, entry.rate());
    }
  }
}

void sem::Mcmc::printTuningInfo(std::FILE* stream, const VariableList&, const ModelList& models,
                                bool all) const {
  const std::vector<estimator::tune_results> results = outcomes()->acceptance();
  std::vector<std::string> names;
  for (std::size_t i = 0; i < results.size(); ++i) {
    names.push_back(i < models.size() ? models[i].name() : "Parameter: " + results[i].label);
  }
  print_tuning_table(stream, results, names, all);
}

}  // namespace tovik
