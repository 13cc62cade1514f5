#include "model/compute.hpp"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "evaluate/constants.hpp"
#include "evaluate/defines.hpp"
#include "evaluate/operations.hpp"
#include "evaluate/parser.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik::model {
namespace {

bool begins_number(const std::string& token) {
  return (token.front() >= '0' && token.front() <= '9') || token.front() == '.';
}

}  // namespace

bool is_definition(const std::string& name, const evaluate::defines* names) {
  const evaluate::defines::def* entry = names ? names->find(name) : nullptr;
  return entry && !entry->announced.empty();
}

bool is_compute(const std::string& text, const evaluate::defines* names) {
  if (is_definition(text, names)) return true;
  return std::any_of(evaluate::op_parsing.begin(), evaluate::op_parsing.end(),
                     [&](const std::string& sign) { return text.find(sign) != std::string::npos; });
}

bool check_eval(const std::string& function) {
  const auto row = evaluate::op.find(function);
  return row == evaluate::op.end() || !evaluate::isTransformOnly(row->second.operation);
}

bool is_number_word(const std::string& token) {
  char* end = nullptr;
  std::strtod(token.c_str(), &end);
  return end != token.c_str() && *end == '\0';
}

void check_functions(const std::string& expression) {
  check_numbers(expression);
  for (const std::string& token : evaluate::parse(expression)) {
    if (!check_eval(token))
      throw error("ERROR: '" + token + "' function can only be used in TRANSFORM command.");
  }
}

void check_numbers(const std::string& expression) {
  for (const std::string& piece : evaluate::parse(expression)) {
    const std::string token = trim(piece);
    if (token.empty() || !begins_number(token)) continue;
    if (is_number_word(token) && std::isfinite(std::strtod(token.c_str(), nullptr))) continue;
    throw error("ERROR: '" + token + "' cannot be read as a number.\n       See \"" + expression + "\"");
  }
}

std::vector<std::string> expression_names(const std::string& expression) {
  std::vector<std::string> out;
  for (const std::string& piece : evaluate::parse(expression)) {
    const std::string token = trim(piece);
    if (token.empty() || begins_number(token) || token == "{" || token == "}") continue;
    if (evaluate::op.count(token) || evaluate::co.count(token)) continue;
    out.push_back(token);
  }
  return out;
}

bool is_transformation(const std::string& expression) {
  if (expression.find_first_of("@%") != std::string::npos) return false;
  for (const std::string& token : evaluate::parse(expression)) {
    if (token == "vec" || token == "abs" || !check_eval(token)) return false;
  }
  const std::vector<std::string> names = expression_names(expression);
  return !names.empty() && std::all_of(names.begin(), names.end(),
                                       [&](const std::string& name) { return iequals(name, names.front()); });
}

void misspecified_transformation(const std::string& problem) {
  throw error(
      "ERROR: Misspecified outcome transformation.\n"
      "       - There must be only one variable.\n"
      "       - Cannot contain 'vec' function.\n"
      "       - Cannot contain 'abs' function.\n"
      "       - Cannot contain 'ismissing' function.\n"
      "       - Cannot contain 'lag1' function.\n"
      "       - Cannot contain parameters.\n"
      "       Problem Specificaiton:\n         " +
      problem);
}

}  // namespace tovik::model
