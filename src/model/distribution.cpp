#include "model/distribution.hpp"

#include <algorithm>
#include <cmath>
#include <memory>

#include "evaluate/error.hpp"
#include "evaluate/parser.hpp"
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
  try {
    const std::unique_ptr<evaluate::node> tree(evaluate::opt_ast(text));
    const double value = tree->is_vector ? std::nan("") : tree->eval();
    if (!std::isnan(value)) return value;
  } catch (const evaluate::error& fault) {
    throw error(headline + fault.what());
  }
  throw error(headline + text);
}

}  // namespace

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
  return out;
}

void misspecified_parameter(const std::string& statement) {
  throw error("ERROR: The PARAMETER command \"" + statement + "\" is not correctly specified.\n" +
              "       Each equation must be separated by semicolon and take one of the following forms:\n" +
              "           parameter ~ distribution(input1, input2);");
}

}  // namespace tovik::model
