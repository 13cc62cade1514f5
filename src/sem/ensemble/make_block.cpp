#include "sem/ensemble/make_block.hpp"

#include <algorithm>
#include <string>

#include "model/model_list.hpp"
#include "sem/outcomes/multi_scale.hpp"
#include "sem/outcomes/weighted_block.hpp"
#include "sem/scan/correlation_completion.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik::sem {

namespace {

std::vector<Regression*> members_of(const ModelList& list, const Model& block,
                                    const std::vector<std::shared_ptr<estimator::Outcome>>& models) {
  std::vector<Regression*> out;
  for (unsigned i : list.find_multi(block)) {
    auto* member = i < models.size() ? dynamic_cast<Regression*>(models[i].get()) : nullptr;
    if (member == nullptr) throw error_debug("A block stands before its members.");
    out.push_back(member);
  }
  return out;
}

bool drives(const std::vector<planned_label>& labels, const std::string& name) {
  return std::any_of(labels.begin(), labels.end(), [&](const planned_label& label) {
    return label.key == to_lower(name) && is_driven_correlation(label);
  });
}

/// The places of a block's correlations: what is known and where the others start.
void read_correlations(block_setup& setup, const Model& block, const std::vector<planned_label>& labels) {
  const arma::uword p = setup.members.size();
  setup.correlations.eye(p, p);
  // What no statement speaks of is no correlation.
  setup.elements.set_size(p, p);
  setup.elements.fill(block_setup::known);
  setup.elements.diag().zeros();
  for (const auto& [place, parameter] : block.correlation_parameters()) {
    const arma::uword j = place % p, i = place / p;
    unsigned char how = block_setup::drawn;
    if (parameter.is_fixed()) how = block_setup::known;
    if (parameter.has_label() && drives(labels, parameter.label())) how = block_setup::labelled;
    const double value = parameter.is_fixed() ? parameter.value() : parameter.start();
    setup.elements(i, j) = setup.elements(j, i) = how;
    setup.correlations(i, j) = setup.correlations(j, i) = value;
  }
}

std::string listed_members(const Model& block) {
  std::string out;
  for (std::size_t k = 0; k < block.fixed.size(); ++k) {
    if (k > 0) out += k + 1 == block.fixed.size() ? " and " : ", ";
    out += "'" + block.fixed[k].name() + "'";
  }
  return out;
}

/// Starts of correlations that are drawn give way where no matrix has them beside the known ones.
void complete(block_setup& setup, const Model& block) {
  arma::Mat<unsigned char> known = setup.elements;
  known.transform([](unsigned char how) { return static_cast<unsigned char>(how == block_setup::known); });
  if (scan::complete_correlations(known, setup.correlations)) return;
  throw error("ERROR: No variables have the fixed correlations of " + listed_members(block) +
              ".\n       A covariance matrix must be positive definite.");
}

template <class Block>
std::shared_ptr<Multi> make_kind(const Estimator* estimator, const block_setup& setup) {
  if (setup.members.front()->sampling() == nullptr) return std::make_shared<Block>(estimator, setup);
  return std::make_shared<weighted_block<Block>>(estimator, setup);
}

}  // namespace

std::vector<bool> block_members(const ModelList& list) {
  std::vector<bool> out(list.size(), false);
  for (const Model& model : list) {
    if (!model.is_multi()) continue;
    for (unsigned i : list.find_multi(model)) out.at(i) = true;
  }
  return out;
}

std::shared_ptr<Multi> make_block(const ModelList& list, const Model& model,
                                  const std::vector<std::shared_ptr<estimator::Outcome>>& models,
                                  const Estimator* estimator, const priors& prior,
                                  const std::vector<planned_label>& labels) {
  block_setup setup;
  setup.members = members_of(list, model, models);
  setup.prior = prior;
  setup.known_variances.zeros(setup.members.size());
  for (std::size_t k = 0; k < model.fixed.size(); ++k)
    setup.known_variances(k) = model.fixed[k].param.is_fixed() ? 1 : 0;
  bool has_models = false;
  const std::vector<unsigned> places = list.find_multi(model);
  for (std::size_t k = 0; k < places.size(); ++k) {
    if (list[places[k]].link != model::link::scale) continue;
    has_models = true;
    setup.known_variances(k) = 1;
  }
  read_correlations(setup, model, labels);
  complete(setup, model);
  const bool is_free = !arma::any(setup.known_variances) && !arma::any(arma::vectorise(setup.elements));
  std::shared_ptr<Multi> out;
  if (has_models)
    out = std::make_shared<MultiScale>(estimator, setup);
  else
    out = is_free ? make_kind<MultiUnstruct>(estimator, setup) : make_kind<MultiStruct>(estimator, setup);
  out->register_ptrs();
  return out;
}

}  // namespace tovik::sem
