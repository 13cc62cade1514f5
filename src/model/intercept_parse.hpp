#pragma once

#include <string>

#include "model/statement_text.hpp"

namespace tovik::evaluate {
class defines;
}

namespace tovik::model {

/// "1" or "Intercept", with or without a bracket. In a random part only: behind a bracket stands a level.
bool is_intercept_word(const std::string& head, bool with_bracket = false);

/// "0", "1@0" and "Intercept@0".
bool removes_intercept(const term_text& cut);

/// Throws tovik::error for a second intercept; `kind` is "intercepts" or "random intercepts".
[[noreturn]] void multiple_intercepts(const std::string& kind, const std::string& statement);

/// Throws tovik::error for "@" or "%" inside parentheses.
void check_computation(const std::string& head, const std::string& term);

/// True for a level in brackets behind a whole expression or a definition: "(x*z)[id]", "d[id]".
bool has_level_behind(const std::string& head, const evaluate::defines* names);

}  // namespace tovik::model
