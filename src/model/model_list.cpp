#include "model/model_list.hpp"

#include <algorithm>

#include "data/variable_list.hpp"
#include "evaluate/defines.hpp"
#include "model/parameter_name.hpp"
#include "support/error.hpp"
#include "support/text.hpp"
#include "support/warning.hpp"

namespace tovik {
namespace {

using model::anyVariable;

}  // namespace

ModelList::ModelList() : ModelList(block::map()) {}

ModelList::ModelList(const block::map& shared_blocks)
    : blocks(shared_blocks), names(std::make_shared<evaluate::defines>()) {}

void ModelList::add_model(const block::one_model& statement, const VariableList& variables) {
  Model added = model::with_statement(statement.statement,
                                      [&] { return Model(statement.statement, variables, names.get()); });
  added.block = statement.block == block::predef::none ? block::predef::model : statement.block;
  added.block_number = blocks.number(added.block);
  push_back(std::move(added));
}

void ModelList::sort() {
  std::stable_sort(begin(), end());
  index();
}

void ModelList::set_roles() const {
  for (const Model& model : *this) {
    if (!model::speaks_of_variables(model.kind())) continue;
    for (const anyVariable& outcome : model.outcomes) {
      // An indicator is modelled beside its variable, which keeps a role of its own.
      const bool own = outcome.type == model::type::variable || outcome.type == model::type::phantom;
      if (own) outcome.variable->outcome();
    }
  }
  for (const auto& variable : variables()) {
    if (variable->type != data::type::constant) variable->covariate();
  }
}

void ModelList::warn_duplicates() const {
  for (const Model& model : *this) {
    if (!model::has_predictors(model.kind())) continue;
    std::vector<std::string> twice = model.duplicateFixed();
    for (const std::string& name : model.duplicateRandom()) {
      if (std::find(twice.begin(), twice.end(), name) == twice.end()) twice.push_back(name);
    }
    if (twice.empty()) continue;
    std::string text = "WARNING: The outcome model for '" + model.name() + "'' has duplicate predictors.\n" +
                       "         This will most likely cause computational errors.\n" +
                       "         Problem predictor(s):\n";
    for (const std::string& name : twice) text += "           " + name + "\n";
    warning::buffer.push(text);
  }
}

void ModelList::set_heterogeneous() {
  std::unordered_set<model::term_key, model::term_key::hash> members;
  for (const Model& model : *this) {
    if (!model.is_multi()) continue;
    for (const anyVariable& member : model.fixed) members.emplace(member);
  }
  for (Model& model : *this) {
    const bool plain = model.outcomes.size() == 1 && model.kind() == model::kind::normal &&
                       model.levels >= 1 && model.link == model::link::identity && !model.link_given &&
                       model.variance.is_free();
    if (plain && members.count(model::term_key(model.outcomes.front())) == 0) model.link = model::link::hev;
  }
}

void ModelList::set_weights() {
  for (const Model& block : *this) {
    if (!block.is_multi()) continue;
    for (unsigned i : find_multi(block))
      if (at(i).link == model::link::scale) throw error("MultiScale models do not support weights.");
  }
  for (Model& model : *this) model.setWeights();
}

// What has no form with weights is refused: it would leave them out without a word.
void Model::setWeights() {
  const model::kind own = kind();
  if (!model::has_predictors(own)) return;
  if (own != model::kind::log_variance && link == model::link::identity) link = model::link::weighted;
  const bool normal = own == model::kind::normal || own == model::kind::latent;
  const bool served = (normal && link == model::link::weighted) ||
                      (own == model::kind::ordinal && link == model::link::probit);
  if (!served) throw error("ERROR: Sampling weights are not supported for the model of '" + name() + "'.");
}

}  // namespace tovik
