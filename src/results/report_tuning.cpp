#include "results/report_tuning.hpp"

#include "data/variable.hpp"
#include "model/model_list.hpp"
#include "sem/chain/mcmc.hpp"
#include "sem/ensemble/outcomes.hpp"
#include "sem/predictors/variable.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

std::string kind_label(const sem::estimator::tune_obj& entry) {
  using kind = sem::estimator::tune_obj::kind_type;
  if (entry.kind == kind::latent || entry.kind == kind::latent_2) return "latent imp";
  return entry.label();
}

/// A block moves the values of all its members together.
tuning_label label_of(const Model& model) {
  if (model.kind() == model::kind::phantom) return {"", Model::correlationParse(model)};
  if (!model.is_multi()) return {"", model.name()};
  std::vector<std::string> members;
  for (const model::anyVariable& member : model.fixed) members.push_back(member.name());
  return {"CovMat(" + join(members, " ") + ")", ""};
}

}  // namespace

void print_tuning_table(std::FILE* stream, const std::vector<sem::estimator::tune_results>& results,
                        const std::vector<tuning_label>& labels, bool all) {
  if (results.size() != labels.size()) throw error_debug("Incorrect names to tuning results.");
  std::fprintf(stream, "    %-25s  %13s  %13s  %13s  %13s \n", "Type", "Variable", "Multiplier",
               "Target Value", "Probability");
  for (std::size_t i = 0; i < results.size(); ++i) {
    for (const sem::estimator::tune_obj& entry : results[i]) {
      if (entry.total == 0 || (!all && !entry.failed())) continue;
      const std::string type = labels[i].type.empty() ? kind_label(entry) : labels[i].type;
      std::fprintf(stream, "    %-25.25s  %13.13s  %13.3f  %13.3f  %13.3f \n", type.c_str(),
                   labels[i].variable.c_str(), entry.value, entry.target, entry.rate());
    }
  }
}

void sem::Mcmc::printTuningInfo(std::FILE* stream, const VariableList&, const ModelList& models,
                                bool all) const {
  std::vector<estimator::tune_results> results;
  if (outcomes() != nullptr) results = outcomes()->acceptance();
  std::vector<tuning_label> labels;
  for (std::size_t i = 0; i < results.size(); ++i) {
    labels.push_back(i < models.size() ? label_of(models[i])
                                       : tuning_label{"Parameter: " + results[i].label, ""});
  }
  for (const auto& model : predictors()) {
    results.push_back(model->tuneResults());
    labels.push_back({"", model->variable().name});
  }
  print_tuning_table(stream, results, labels, all);
}

}  // namespace tovik
