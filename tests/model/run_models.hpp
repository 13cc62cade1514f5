#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "catalogue.hpp"
#include "data/named_effect.hpp"
#include "support/text.hpp"

namespace tovik::tests {

/// catalogue() and what a run with latent variables has: zeta is a factor of schools; ri and rs name the
/// intercept of y and its slope of x across schools.
inline VariableList rich_catalogue(unsigned identifiers) {
  VariableList list = catalogue(identifiers);
  if (identifiers == 0) return list;
  const auto school = list.find("school");
  const auto effect = [&](const std::string& name, const std::string& term,
                          const std::shared_ptr<data::variable>& predictor) {
    const std::string line = name + " = y | " + term + "[school]";
    list.variables.push_back(std::make_shared<data::random>(
        data::random_effect{name, "y", term, "school", line}, list.find("y"), school, predictor));
  };
  list.variables.push_back(std::make_shared<data::variable>("zeta", data::type::latent, 60, identifiers - 1));
  effect("ri", "Intercept", nullptr);
  effect("rs", "x", list.find("x"));
  return list;
}

/// Gives every variable the derived columns that data preparation would append, from column 100 on: means
/// (nearest level first), propensities, missing indicators, named random effects and phantoms.
inline void prepare(VariableList& list) {
  unsigned column = 100;
  for (const auto& v : list.variables) {
    const std::size_t codes = std::max<std::size_t>(v->dummies.size(), 1);
    const bool in_data = v->type == data::type::continuous || v->type == data::type::ordinal ||
                         v->type == data::type::count || v->type == data::type::nominal;
    if (in_data) {
      v->setRstar(column++);
      for (std::size_t k = 0; k < codes * v->level; ++k) v->setMean(column++);
      for (std::size_t k = 0; k < codes; ++k) v->setLatent(column++);
    } else if (v->column == data::variable::no_column) {
      v->column = column++;
    }
  }
}

/// The models of some statements, merged, optimized and sorted, and the names that they need.
struct run_models {
  VariableList list;
  ModelList all;

  run_models(unsigned identifiers, const std::vector<std::string>& texts,
             const std::vector<std::string>& parameters = {})
      : list(rich_catalogue(identifiers)), all(models(list, texts)) {
    for (const std::string& text : parameters) {
      if (text.find('~') != std::string::npos) all.add_parameter(text);
    }
    for (const std::string& text : parameters) {
      if (text.find('~') == std::string::npos) all.add_computation(text);
    }
  }

  /// The model of this name.
  Model& operator[](const std::string& name) {
    for (Model& model : all) {
      if (model.name() == name) return model;
    }
    throw std::out_of_range("no model " + name);
  }

  /// The only model of this kind.
  Model& of_kind(model::kind kind) {
    for (Model& model : all) {
      if (model.kind() == kind) return model;
    }
    throw std::out_of_range("no model of kind " + std::to_string(static_cast<int>(kind)));
  }
};

inline std::shared_ptr<data::variable> variable(run_models& run, const char* name) {
  return run.list.find(name);
}

}  // namespace tovik::tests
