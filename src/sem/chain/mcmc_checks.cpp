#include "sem/chain/mcmc_checks.hpp"

#include <algorithm>
#include <set>
#include <string>

#include "model/model_list.hpp"
#include "sem/predictors/variable.hpp"
#include "support/error.hpp"

namespace tovik::sem {

namespace {

/// The columns of the working matrix that equations and definitions read.
std::set<unsigned> columns_read(const ModelList& models) {
  std::set<unsigned> out;
  const auto add = [&](const std::vector<unsigned>& columns) { out.insert(columns.begin(), columns.end()); };
  for (const Model& model : models) {
    add(model.xind());
    for (const auto& level : model.zind()) add(level);
    for (const auto* terms : {&model.fixed_compute, &model.random_compute})
      for (const model::combinationOfAnyVariable& term : *terms)
        for (const auto& columns : term.indicators()) add(columns);
  }
  for (const auto& definition : models.definitions)
    for (const model::anyVariable& term : definition.second.all_variables()) add(term.indicator());
  return out;
}

}  // namespace

void check_cluster_means(const ModelList& models, const std::vector<std::unique_ptr<Variable>>& predictors) {
  const std::set<unsigned> read = columns_read(models);
  for (const auto& v : predictors) {
    const data::variable& variable = v->variable();
    const std::size_t n_codes = std::max<std::size_t>(variable.dummies.size(), 1);
    for (std::size_t k = 0; k < variable.means.size(); ++k) {
      const auto d = static_cast<unsigned>(k / n_codes) + 1;
      if (v->isDeviation(d) || read.count(variable.means[k]) == 0) continue;
      throw error("ERROR: Variable '" + variable.name + "' cannot estimate a cluster mean.");
    }
  }
}

}  // namespace tovik::sem
