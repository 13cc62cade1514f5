#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "model/any_variable.hpp"

namespace tovik::model {

/// What makes two terms equal, for hashed look-up.
struct term_key {
  const data::variable* variable;
  model::type type;
  const data::variable* level;
  std::string modifier;

  explicit term_key(const anyVariable& term)
      : variable(term.variable.get()), type(term.type), level(term.level.get()), modifier(term.modifier) {}

  bool operator==(const term_key& other) const {
    return variable == other.variable && type == other.type && level == other.level &&
           modifier == other.modifier;
  }

  struct hash {
    std::size_t operator()(const term_key& key) const {
      const std::hash<const void*> of;
      return of(key.variable) * 31 + of(key.level) * 7 + static_cast<std::size_t>(key.type);
    }
  };
};

}  // namespace tovik::model
