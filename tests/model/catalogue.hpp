#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "data/dummy.hpp"
#include "data/variable_list.hpp"
#include "model/defaults.hpp"
#include "model/parse.hpp"
#include "support/error.hpp"
#include "support/text.hpp"
#include "support/warning.hpp"

namespace tovik::tests {

/// A catalogue with `identifiers` clustering identifiers: "school" (level 2) and "district" (level 3). y, y2,
/// y10, x, z, g (nominal), bin, grade (ordinal) and visits (count) vary within schools, w within districts, v
/// not.
inline VariableList catalogue(unsigned identifiers) {
  VariableList list;
  unsigned column = 0;
  const unsigned low = identifiers;
  const unsigned middle = identifiers > 1 ? identifiers - 1 : 0;
  const auto add = [&](const std::string& name, data::type kind, unsigned level) {
    list.variables.push_back(std::make_shared<data::variable>(name, kind, column++, level));
    return list.variables.back();
  };
  for (const char* name : {"y", "y2", "y10", "x", "z"}) add(name, data::type::continuous, low);
  add("w", data::type::continuous, middle);
  add("v", data::type::continuous, 0);
  const auto nominal = add("g", data::type::nominal, low);
  add("bin", data::type::ordinal, low)->values = {0, 1};
  add("grade", data::type::ordinal, low)->values = {1, 2, 3};
  add("two", data::type::ordinal, low)->values = {1, 2};
  add("visits", data::type::count, low);
  add("weight", data::type::weight, low);
  add("held", data::type::continuous, low)->fixed(true);
  if (identifiers > 0) add("school", data::type::id, identifiers - 1);
  if (identifiers > 1) add("district", data::type::id, 0);
  add("1", data::type::constant, 0);
  nominal->values = {1, 2, 3};
  for (double value : {2.0, 3.0}) {
    const auto code = std::make_shared<data::dummy>(nominal, value, column++);
    nominal->setDummy(code);
    list.variables.push_back(code);
  }
  add("eta", data::type::latent, low);
  add("ghost", data::type::phantom, low);
  list.order_clusters();
  return list;
}

inline std::vector<block::one_model> statements(const std::vector<std::string>& texts) {
  std::vector<block::one_model> out;
  for (const std::string& text : texts) out.push_back({text, ""});
  return out;
}

/// Takes out the latent factors that no statement names: each would get an equation of its own.
inline void drop_unnamed_latents(VariableList& list, const std::vector<std::string>& texts) {
  const std::string all = to_lower(join(texts, ";"));
  auto& kept = list.variables;
  const auto unnamed = [&](const auto& v) {
    return v->type == data::type::latent && all.find(to_lower(v->fullName)) == std::string::npos;
  };
  kept.erase(std::remove_if(kept.begin(), kept.end(), unnamed), kept.end());
  list.index();
}

/// The models of some statements on a catalogue, merged and sorted; without the checks of a whole run.
inline ModelList models(VariableList& list, const std::vector<std::string>& texts) {
  drop_unnamed_latents(list, texts);
  return sem::_parse(statements(texts), list, block::map());
}

/// The equations that statements with "~" give by themselves, in their order: nothing merged or implied.
inline ModelList equations(const VariableList& list, const std::vector<std::string>& texts) {
  ModelList out{block::map()};
  for (const auto& one : statements(texts)) out.add_seq(one, list);
  return out;
}

/// One model and the names it needs.
struct one_model {
  VariableList list;
  ModelList all;
  const Model& model;

  one_model(unsigned identifiers, const std::string& statement)
      : list(catalogue(identifiers)), all(equations(list, {statement})), model(all.at(0)) {}
  const Model* operator->() const { return &model; }
};

/// The text of the error that an action raises; "" for none.
inline std::string message(const std::function<void()>& act) {
  try {
    act();
  } catch (const std::exception& fault) {
    return fault.what();
  }
  return "";
}

/// The text of the error that the statements of a run raise; "" for none.
inline std::string failure(unsigned identifiers, const std::vector<std::string>& texts) {
  VariableList list = catalogue(identifiers);
  drop_unnamed_latents(list, texts);
  try {
    sem::parse(statements(texts), list, block::map());
  } catch (const error& fault) {
    return fault.what();
  }
  return "";
}

inline std::string failure(unsigned identifiers, const std::string& text) {
  return failure(identifiers, std::vector<std::string>{text});
}

using texts = std::vector<std::string>;
using columns = std::vector<unsigned>;

}  // namespace tovik::tests
