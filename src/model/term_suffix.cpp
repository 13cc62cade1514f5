#include "model/term_suffix.hpp"

#include <cmath>
#include <memory>
#include <optional>

#include "data/numbers.hpp"
#include "evaluate/error.hpp"
#include "evaluate/parser.hpp"
#include "model/compute.hpp"
#include "model/parameter_name.hpp"
#include "model/statement_text.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik::model {
namespace {

/// The text as a finite number, if all of it is one.
std::optional<double> whole_number(const std::string& text) {
  double value = 0;
  if (!begins_number(text) || !parse_real(text.data(), text.data() + text.size(), value)) return std::nullopt;
  return std::isfinite(value) ? std::optional(value) : std::nullopt;
}

[[noreturn]] void refuse(const std::string& text, const std::string& what, const std::string& term) {
  throw error_suffix("ERROR: '" + text + "' " + what + "\n       See \"" + term + "\"");
}

double evaluate_fixing(const std::string& text, const std::string& term) {
  double value = 0;
  check_numbers(text);
  try {
    const auto tree = evaluate::opt_ast(text);
    if (tree->is_vector) misspecified_computation(term);
    value = tree->eval();
  } catch (const evaluate::error& fault) {
    throw error(evaluate::user_text(fault) + "\n       See \"" + term + "\"");
  }
  if (!std::isfinite(value)) misspecified_computation(term);
  return value;
}

}  // namespace

void misspecified_computation(const std::string& term) {
  throw error("ERROR: Computation misspecified: \"" + term +
              "\"\n       fixing or start values must be outside of parentheses.");
}

term_suffix term_suffix::split(const std::string& suffix, const std::string& term) {
  term_suffix out;
  if (suffix.empty()) return out;
  const std::size_t percent = find_outside(suffix, "%", 0, true);
  if (percent != std::string::npos) {
    out.has_start = true;
    out.start = trim(suffix.substr(percent + 1));
    if (out.start.find_first_of("@%") != std::string::npos)
      throw error("ERROR: Unable to parse starting value for '" + term +
                  "'. Must specify start value at the end. ");
    if (out.start.empty()) misspecified_computation(term);
  }
  if (percent == 0) return out;
  out.has_fixing = true;
  out.fixing = trim(suffix.substr(1, percent == std::string::npos ? percent : percent - 1));
  return out;
}

parameter term_suffix::fixing_parameter(const std::string& term) const {
  if (!has_fixing) return {};
  if (is_wrapped(fixing))
    return parameter::fixed_at(evaluate_fixing(fixing.substr(1, fixing.size() - 2), term));
  if (fixing.empty() || fixing.find_first_of("@()") != std::string::npos) misspecified_computation(term);
  if (const auto number = whole_number(fixing)) return parameter::fixed_at(*number);
  if (begins_number(fixing)) refuse(fixing, "cannot be read as a number.", term);
  if (!is_parameter_name(fixing)) refuse(fixing, "cannot be the label of a parameter.", term);
  return parameter::labelled(fixing);
}

void term_suffix::add_start(parameter& p, const std::string& term) const {
  if (!has_start) return;
  const auto number = whole_number(start);
  if (!number) throw error("ERROR: Non-numeric given as starting value. Specificaiton : '" + term + "'");
  p.set_start(*number);
}

parameter term_suffix::read(const std::string& term) const {
  parameter p = fixing_parameter(term);
  add_start(p, term);
  return p;
}

parameter parse_parameter(const std::string& suffix, const std::string& term) {
  return term_suffix::split(suffix, term).read(term);
}

}  // namespace tovik::model
