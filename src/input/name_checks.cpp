#include "input/name_checks.hpp"

#include "evaluate/constants.hpp"
#include "evaluate/operations.hpp"
#include "input/input_file.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik::name_checks {

namespace {

bool ends_with(const std::string& name, const std::string& ending) {
  return name.size() >= ending.size() &&
         name.compare(name.size() - ending.size(), ending.size(), ending) == 0;
}

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
    if (ends_with(name, ending)) {
      throw error("ERROR: Variable name '" + name + "' cannot end with '" + ending + "'");
    }
  }
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
