#pragma once

#include <string>
#include <string_view>
#include <vector>

/// Reading of statement text around its parentheses.
namespace tovik::model {

/// First place of `sign` at or behind `from` that is not inside parentheses (or square brackets, with
/// `brackets`); npos if there is none. An opening sign without its closing one hides nothing.
std::size_t find_outside(std::string_view text, std::string_view sign, std::size_t from = 0,
                         bool brackets = false);

/// First place of any of `characters` under the same rule.
std::size_t find_first_outside(std::string_view text, std::string_view characters, std::size_t from = 0,
                               bool brackets = false);

/// True if the whole text stands in one pair of parentheses: "(a + b)", but not "(a) + (b)".
bool is_wrapped(std::string_view text);

/// A term cut at the first "@" or "%" outside parentheses and brackets: "x[id]" and "@0.5%1".
struct term_text {
  std::string head;
  std::string suffix;
};
term_text cut_suffix(const std::string& term);

/// The parts between blanks, with parentheses rejoined. Throws tovik::error "There are mismatched parentheses
/// in the '...' model:" with the text (behind `prefix`) and a "^" under the place.
std::vector<std::string> terms(const std::string& text, const std::string& outcome,
                               const std::string& prefix = "");

/// Throws tovik::error "Unable to parse line in MODEL command." with the statement below it.
[[noreturn]] void unable_to_parse(const std::string& statement);

}  // namespace tovik::model
