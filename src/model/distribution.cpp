#include "model/distribution.hpp"

#include <algorithm>
#include <cmath>
#include <memory>

#include "evaluate/error.hpp"
#include "evaluate/parser.hpp"
#include "model/compute.hpp"
#include "model/statement_text.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik::sem {

const std::vector<std::string> distribution_list = {"invgamma", "normal",  "N",        "beta",  "gamma",
                                                    "tnormal",  "laplace", "truncate", "trunc", "tr",
                                                    "cauchy",   "unif",    "uniform"};

}  // namespace tovik::sem

namespace tovik::model {
namespace {

/// One name for each distribution.
std::string canonical(const std::string& written) {
  const auto found = std::find_if(sem::distribution_list.begin(), sem::distribution_list.end(),
                                  [&](const std::string& name) { return iequals(name, written); });
  if (found == sem::distribution_list.end()) return "";
  if (*found == "N") return "normal";
  if (*found == "trunc" || *found == "tr") return "truncate";
  if (*found == "unif") return "uniform";
  return *found;
}

double evaluate_input(const std::string& text, const char* which) {
  const std::string headline =
      "ERROR: " + std::string(which) + " input to distribution could not be evaluated:\n\n";
  if (trim(text).empty()) throw error(headline + text);
  check_numbers(text);
  try {
    const auto tree = evaluate::opt_ast(text);
    const double value = tree->is_vector ? std::nan("") : tree->eval();
    if (!std::isnan(value)) return value;
  } catch (const evaluate::error& fault) {
    throw error(headline + evaluate::user_text(fault));
  }
  throw error(headline + text);
}

/// What the inputs of a distribution must be, in words; null when they are.
const char* fault_of(const distribution& prior) {
  const auto positive = [](double x) { return std::isfinite(x) && x > 0; };
  if (prior.name == "uniform" || prior.name == "truncate")
    return prior.first < prior.second ? nullptr : "The first input must be less than the second.";
  if (prior.name == "beta" || prior.name == "gamma" || prior.name == "invgamma")
    return positive(prior.first) && positive(prior.second) ? nullptr : "Both inputs must be positive.";
  if (!std::isfinite(prior.first)) return "The first input must be a finite number.";
  if (prior.name == "normal") return positive(prior.second) ? nullptr : "The variance must be positive.";
  return positive(prior.second) ? nullptr : "The scale must be positive.";
}

void check(const distribution& prior, const std::string& statement) {
  // A word of the language without a density.
  if (prior.name == "tnormal")
    throw error(
        "ERROR: The prior distribution 'tnormal' is not available.\n"
        "       Use 'truncate' to restrict the range of a parameter.\n       See \"" +
        statement + "\"");
  if (const char* fault = fault_of(prior))
    throw error("ERROR: The prior '" + prior.text + "' is not a distribution.\n       " + fault +
                "\n       See \"" + statement + "\"");
}

}  // namespace

bool distribution::is_proper() const {
  if (name == "uniform" || name == "truncate") return std::isfinite(first) && std::isfinite(second);
  return !name.empty();
}

distribution distribution::parse(const std::string& text, const std::string& statement) {
  distribution out;
  out.text = trim(text);
  const std::size_t open = out.text.find('(');
  const std::string inputs = open == std::string::npos ? "" : out.text.substr(open);
  if (is_wrapped(inputs)) out.name = canonical(trim(out.text.substr(0, open)));
  if (out.name.empty()) misspecified_parameter(statement);
  const std::string inner = inputs.substr(1, inputs.size() - 2);
  const std::size_t comma = find_outside(inner, ",");
  if (comma == std::string::npos) misspecified_parameter(statement);
  const std::string second = inner.substr(comma + 1);
  if (find_outside(second, ",") != std::string::npos) misspecified_parameter(statement);
  out.first = evaluate_input(inner.substr(0, comma), "First");
  out.second = evaluate_input(second, "Second");
  check(out, statement);
  return out;
}

void misspecified_parameter(const std::string& statement) {
  throw error("ERROR: The PARAMETER command \"" + statement + "\" is not correctly specified.\n" +
              "       Each equation must be separated by semicolon and take one of the following forms:\n" +
              "           parameter ~ distribution(input1, input2);");
}

}  // namespace tovik::model
