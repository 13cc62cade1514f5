#include "sem/phantoms/phantom_links.hpp"

#include <algorithm>

#include "model/correlation.hpp"
#include "model/model_list.hpp"
#include "sem/phantoms/phantom.hpp"
#include "sem/wiring/estimator.hpp"
#include "support/error.hpp"

namespace tovik::sem {

namespace {

bool is_side(const model::correlation_side& side, const model::anyVariable& outcome) {
  return side.outcome.variable == outcome.variable;
}

bool carries_sign(const model::anyVariable& phantom, const Model& model) {
  if (phantom.ends == nullptr) throw error_debug("A phantom does not say what it correlates.");
  const model::anyVariable& outcome = model.outcomes.front();
  if (is_side(phantom.ends->first, outcome)) return false;
  if (is_side(phantom.ends->second, outcome)) return true;
  throw error_debug("A phantom stands in an equation that it does not correlate.");
}

bool holds(const Model& model, const model::anyVariable& phantom) {
  return std::any_of(model.phantoms.begin(), model.phantoms.end(),
                     [&](const model::anyVariable& term) { return term.variable == phantom.variable; });
}

}  // namespace

std::vector<std::vector<phantom_term>> phantoms_of(const Model& model) {
  if (model.phantoms.empty()) return {};
  std::vector<std::vector<phantom_term>> out;
  for (std::int32_t level = model.levels; level >= 0; --level) {
    out.emplace_back();
    for (const model::anyVariable& term : model.phantoms) {
      if (static_cast<std::int64_t>(term.variable->level) != level) continue;
      out.back().push_back(
          {term.variable->column, model.lambdaInd(term.variable), carries_sign(term, model)});
    }
  }
  return out;
}

bool is_phantom(const Model& model) {
  return model.kind() == model::kind::phantom;
}

void link_phantoms(const ModelList& list, const std::vector<std::shared_ptr<estimator::Outcome>>& models,
                   arma::Mat<double>& data) {
  const auto group = std::make_shared<phantom_group>();
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (!is_phantom(list[i])) continue;
    auto* phantom = dynamic_cast<Phantom*>(models[i].get());
    if (phantom == nullptr) throw error_debug("A correlation has no model.");
    const model::anyVariable& term = list[i].outcomes.front();
    unsigned sides = 0;
    for (std::size_t j = 0; j < list.size(); ++j) {
      if (!holds(list[j], term)) continue;
      phantom->attach(models[j]->correlated(term.variable->column));
      ++sides;
    }
    if (sides != 2) throw error_debug("Phantom variable not in two models.");
    phantom->join(group);
    phantom->draw_start(data);
  }
  group->connect();
  group->set_before_models(Estimator::optimize_draws);
}

bool phantoms_feasible(const std::vector<std::shared_ptr<estimator::Outcome>>& models) {
  return std::all_of(models.begin(), models.end(), [](const auto& model) {
    auto const* phantom = dynamic_cast<Phantom const*>(model.get());
    return phantom == nullptr || phantom->feasible();
  });
}

void check_phantoms(const ModelList& list, const std::vector<std::shared_ptr<estimator::Outcome>>& models) {
  for (std::size_t i = 0; i < list.size(); ++i) {
    const auto* phantom = dynamic_cast<const Phantom*>(models[i].get());
    if (phantom == nullptr || phantom->feasible()) continue;
    throw error("ERROR: The correlation '" + Model::correlationParse(list[i]) +
                "' leaves its outcomes no variance of their own.\n"
                "       The absolute values of the correlations of an outcome must sum to less than 1.");
  }
}

}  // namespace tovik::sem
