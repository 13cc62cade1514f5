#pragma once

#include <string>

#include "data/named_effect.hpp"

namespace tovik {
class VariableList;
}

namespace tovik::model {

/// Reads a RANDOMEFFECT statement "name = outcome | term[identifier]", where term is "Intercept" or a random
/// predictor of the outcome. With one identifier in the data the bracket may be left out. Whether the names
/// exist is for the caller to check. Throws tovik::error with the text for the user.
data::random_effect parse_random_effect(const std::string& statement, const VariableList& variables);

}  // namespace tovik::model
