// "y1 y2 ~ x": each outcome regressed on those behind it too; "{ y1 y2 } ~ x": the same predictors for each.

#include <algorithm>

#include "data/variable_list.hpp"
#include "evaluate/defines.hpp"
#include "model/compute.hpp"
#include "model/model_list.hpp"
#include "model/outcome_parse.hpp"
#include "model/statement_text.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {
namespace {

/// Takes "{" off the first token and "}" off the last; false if the tokens do not stand in braces.
bool cut_braces(std::vector<std::string>& tokens, const std::string& statement) {
  const bool opens = tokens.front().front() == '{';
  const bool closes = tokens.back().back() == '}';
  if (!opens && !closes) return false;
  if (opens) tokens.front().erase(0, 1);
  if (closes && !tokens.back().empty()) tokens.back().pop_back();
  tokens.erase(std::remove(tokens.begin(), tokens.end(), ""), tokens.end());
  if (!opens || !closes || tokens.empty())
    throw error("ERROR: The MODEL command \"" + statement + "\" is not correctly specified.\n" +
                "       Each equation must be separated by semicolon and take on the following form:\n" +
                "           outcome ~ predictors");
  return true;
}

/// One outcome of a list: as it stands on the left of its own equation, and its variable as a predictor of
/// the outcomes before it.
struct listed_outcome {
  std::string left;
  std::string name;
};

listed_outcome read_outcome(const std::string& token, const std::string& statement,
                            const VariableList& variables, evaluate::defines* names) {
  // "var(y)" is a link, and its word no function of expressions.
  const model::call outer = model::read_call(token);
  const std::string& inner = outer.function == "var" ? outer.argument : token;
  const bool plain = !model::is_compute(inner, nullptr);
  if (inner.find_first_of("@%") != std::string::npos || (!plain && !model::is_transformation(inner)))
    model::misspecified_transformation(statement);
  const std::string name = plain ? inner : model::expression_names(inner).front();
  if (model::is_definition(name, names))
    throw error(
        "ERROR: Cannot have variables defined in the MODEL command as outcomes.\n"
        "       Use the TRANSFORM command instead. See:\n       \"" +
        statement);
  const std::string full = model::anyVariable::parse(name, variables, names, true).fullname_noModifer();
  return {plain && outer.function.empty() ? full : token, full};
}

}  // namespace

void ModelList::add_seq(const block::one_model& statement, const VariableList& variables) {
  const std::string& text = statement.statement;
  const std::size_t tilde = model::find_outside(text, "~");
  const std::string left = trim(text.substr(0, tilde));
  if (tilde == std::string::npos || left.empty() || model::find_outside(left, "|") != std::string::npos)
    return add_model(statement, variables);
  std::vector<std::string> tokens = model::terms(left, left);
  const bool repeated = cut_braces(tokens, text);
  if (!repeated && tokens.size() == 1) return add_model(statement, variables);

  std::vector<listed_outcome> outcomes;
  for (const std::string& token : tokens)
    outcomes.push_back(read_outcome(token, text, variables, names.get()));
  const std::string right = trim(text.substr(tilde + 1));
  for (std::size_t i = 0; i < outcomes.size(); ++i) {
    std::string generated = outcomes[i].left + " ~";
    for (std::size_t k = i + 1; k < outcomes.size() && !repeated; ++k) generated += " " + outcomes[k].name;
    if (!right.empty()) generated += " " + right;
    try {
      add_model({generated, statement.block}, variables);
    } catch (const error_debug&) {
      throw;
    } catch (const error& fault) {
      throw error("ERROR: The following sequential model statement caused an error:\n\n          '" + text +
                  "'\n\n       The auto-generated model:\n\n          '" + generated +
                  "'\n\n       produced the following error:\n\n" + fault.what());
    }
  }
}

}  // namespace tovik
