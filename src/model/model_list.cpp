#include "model/model_list.hpp"

#include <algorithm>

#include "data/variable_list.hpp"
#include "evaluate/defines.hpp"
#include "model/compute.hpp"
#include "model/scan.hpp"
#include "support/error.hpp"
#include "support/not_available.hpp"
#include "support/text.hpp"
#include "support/warning.hpp"

namespace tovik {
namespace {

using model::anyVariable;

/// Takes "{" off the first token and "}" off the last; false if the tokens do not stand in braces.
bool cut_braces(std::vector<std::string>& tokens, const std::string& statement) {
  const bool opens = tokens.front().front() == '{';
  const bool closes = tokens.back().back() == '}';
  if (!opens && !closes) return false;
  if (opens) tokens.front().erase(0, 1);
  if (closes && !tokens.back().empty()) tokens.back().pop_back();
  tokens.erase(std::remove(tokens.begin(), tokens.end(), ""), tokens.end());
  if (!opens || !closes || tokens.empty())
    throw error("ERROR: The MODEL command \"" + statement + "\" is not correctly specified.\n" +
                "       Each equation must be separated by semicolon and take on the following form:\n" +
                "           outcome ~ predictors");
  return true;
}

/// The name of one outcome of a list, as the catalogue finds it.
std::string outcome_name(const std::string& token, const std::string& statement,
                         const VariableList& variables, evaluate::defines* names) {
  std::string name = token;
  if (!variables.find(token)) {
    if (!model::is_transformation(token)) model::misspecified_transformation(statement);
    name = model::expression_names(token).front();
  }
  const anyVariable parsed = anyVariable::parse(name, variables, names, true);
  if (name != token) not_available::refuse("A transformed outcome in a list (see '" + statement + "')");
  if (parsed.level) not_available::refuse("A level in brackets on an outcome (see '" + statement + "')");
  return parsed.fullname_noModifer();
}

/// Models in the block of imputation models join only each other.
bool joins(const Model& a, const Model& b) {
  if ((a.block == block::predef::imputation) != (b.block == block::predef::imputation)) return false;
  if (a.link != b.link && a.link_given && b.link_given) return false;
  return std::any_of(a.outcomes.begin(), a.outcomes.end(), [&](const anyVariable& outcome) {
    return std::find(b.outcomes.begin(), b.outcomes.end(), outcome) != b.outcomes.end();
  });
}

}  // namespace

ModelList::ModelList() : ModelList(block::map()) {}

ModelList::ModelList(const block::map& shared_blocks)
    : blocks(shared_blocks), names(std::make_shared<evaluate::defines>()) {}

void ModelList::add_model(const block::one_model& statement, const VariableList& variables) {
  Model added(statement.statement, variables, names.get());
  added.block = statement.block == block::predef::none ? block::predef::model : statement.block;
  added.block_number = blocks.number(added.block);
  push_back(std::move(added));
}

void ModelList::add_seq(const block::one_model& statement, const VariableList& variables) {
  const std::string& text = statement.statement;
  const std::size_t tilde = model::find_outside(text, "~");
  const std::string left = trim(text.substr(0, tilde));
  if (tilde == std::string::npos || left.empty() || model::find_outside(left, "|") != std::string::npos)
    return add_model(statement, variables);
  std::vector<std::string> tokens = model::terms(left, left);
  const bool repeated = cut_braces(tokens, text);
  if (!repeated && tokens.size() == 1) return add_model(statement, variables);

  std::vector<std::string> outcomes;
  for (const std::string& token : tokens)
    outcomes.push_back(outcome_name(token, text, variables, names.get()));
  for (std::size_t i = 0; i < outcomes.size(); ++i) {
    std::string generated = outcomes[i] + " ~";
    if (!repeated) {
      for (std::size_t k = i + 1; k < outcomes.size(); ++k) generated += " " + outcomes[k];
    }
    generated += text.substr(tilde + 1).empty() ? "" : " " + trim(text.substr(tilde + 1));
    try {
      add_model({generated, statement.block}, variables);
    } catch (const error_debug&) {
      throw;
    } catch (const error& fault) {
      throw error("ERROR: The following sequential model statement caused an error:\n\n          '" + text +
                  "'\n\n       The auto-generated model:\n\n          '" + generated +
                  "'\n\n       produced the following error:\n\n" + fault.what());
    }
  }
}

void ModelList::reduce() {
  for (std::size_t i = size(); i-- > 1;) {
    for (std::size_t j = i; j-- > 0;) {
      Model& kept = at(j);
      Model& merged = at(i);
      if (!joins(kept, merged)) continue;
      if (kept.link_given) merged.link = kept.link;
      if (!kept.link_given) kept.link = merged.link;
      kept += merged;
      erase(begin() + static_cast<std::ptrdiff_t>(i));
      break;
    }
  }
}

void ModelList::sort() {
  std::stable_sort(begin(), end());
}

void ModelList::set_roles() const {
  for (const Model& model : *this) {
    for (const anyVariable& outcome : model.outcomes) outcome.variable->outcome();
  }
  for (const Model& model : *this) {
    for (const auto* list : {&model.fixed, &model.random}) {
      for (const anyVariable& term : *list) {
        if (!term.is_intercept()) term.variable->covariate();
      }
    }
  }
}

void ModelList::warn_duplicates() const {
  for (const Model& model : *this) {
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

std::vector<anyVariable> ModelList::variables(model::type type, bool with_outcomes) const {
  std::vector<anyVariable> out;
  for (const Model& model : *this) {
    for (const auto* list : {&model.outcomes, &model.fixed, &model.random, &model.phantoms}) {
      if (list == &model.outcomes && !with_outcomes) continue;
      for (const anyVariable& term : *list) {
        if (term.type == type && std::find(out.begin(), out.end(), term) == out.end()) out.push_back(term);
      }
    }
  }
  std::stable_sort(out.begin(), out.end());
  return out;
}

const Model* ModelList::find(const anyVariable& outcome) const {
  for (const Model& model : *this) {
    const auto& list = model.outcomes;
    if (std::find(list.begin(), list.end(), outcome) != list.end()) return &model;
  }
  return nullptr;
}

Model* ModelList::find(const anyVariable& outcome) {
  return const_cast<Model*>(static_cast<const ModelList&>(*this).find(outcome));
}

}  // namespace tovik
