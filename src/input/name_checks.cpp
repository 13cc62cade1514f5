#include "input/name_checks.hpp"

#include "data/numbers.hpp"
#include "evaluate/constants.hpp"
#include "evaluate/operations.hpp"
#include "input/input_file.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik::name_checks {

namespace {

bool is_function(const std::string& name) {
  const auto at = evaluate::op.find(name);
  return at != evaluate::op.end() && at->second.is_function();
}

}  // namespace

void check_intercept(const std::string& name) {
  if (iequals(name, "Intercept")) {
    throw error("ERROR: Cannot have variable name '" + name + "'. This is reserved for intercept.");
  }
  if (name == "1") {
    throw error("ERROR: Cannot have variable name '" + name +
                "'. This is reserved for specifying no intercept.");
  }
}

void check_ending(const std::string& name) {
  for (const char* ending : {".mean", ".latent", ".missing"}) {
    if (iends_with(name, ending) || iequals(name, ending)) {
      throw error("ERROR: Variable name '" + name + "' cannot end with '" + ending + "'");
    }
  }
}

void check_referable(const std::string& name) {
  if (name.empty()) {
    throw error(
        "ERROR: A variable has no name.\n"
        "       Give every column of the data a name.");
  }
  if (isNumber(name)) {
    throw error("ERROR: The variable name \"" + name +
                "\" is numeric.\n       Variable names cannot be numeric.");
  }
  const std::size_t at = name.find_first_of("=:#,;{}\"' \t");
  if (at == std::string::npos) return;
  throw error("ERROR: Variables cannot contain the character '" + std::string(1, name[at]) +
              "'.\n       See variable '" + name + "'");
}

void check_reserved(const std::string& name) {
  if (is_function(name)) {
    throw error("ERROR: Cannot have variable name '" + name + "' This is a tovik syntax function.");
  }
  if (evaluate::co.count(name) > 0) {
    throw error("ERROR: Cannot have variable name '" + name + "' This is a tovik syntax defined constant.");
  }
  for (const std::string& character : InputFile::invalid_strings) {
    if (name.find(character) != std::string::npos) {
      throw error("ERROR: Variables cannot contain the character '" + character +
                  "'.\n       See variable '" + name + "'");
    }
  }
}

void taken_names::add(const std::string& name) {
  if (!lower_.insert(to_lower(name)).second) {
    throw error("ERROR: Variable name '" + name + "' is used more than once.");
  }
}

}  // namespace tovik::name_checks
