// "a b ~~ c d" and "a b <-> c d": every pair of a left and a right term. A pair of one variable speaks of its
// residual variance.

#include "data/variable_list.hpp"
#include "evaluate/defines.hpp"
#include "model/model_list.hpp"
#include "model/scan.hpp"
#include "support/error.hpp"
#include "support/not_available.hpp"
#include "support/text.hpp"

namespace tovik {
namespace {

using model::anyVariable;

std::vector<anyVariable> parse_side(const std::string& text, const std::string& statement,
                                    const VariableList& variables, evaluate::defines* names) {
  std::vector<anyVariable> out;
  for (const std::string& term : model::terms(text, trim(text))) {
    out.push_back(anyVariable::parse(term, variables, names, false));
    if (out.back().level) not_available::refuse("The covariance of a chosen level (see '" + statement + "')");
  }
  if (out.empty())
    throw error("ERROR: Unable to parse line in MODEL command.\n       Problem command: " + statement);
  return out;
}

/// What the two mentions of the variable say of its variance.
model::parameter join_parameters(const anyVariable& left, const anyVariable& right) {
  model::parameter p = left.param.is_free() ? right.param : left.param;
  if (!left.param.is_free() && !right.param.is_free() && !(left.param == right.param))
    throw error("ERROR: The variance for \"" + left.name() + "\" already has a parameter label.");
  if (!p.has_start() && left.param.has_start()) p.set_start(left.param.start());
  if (!p.has_start() && right.param.has_start()) p.set_start(right.param.start());
  return p;
}

void check_positive(const model::parameter& p, const std::string& name) {
  if ((p.is_fixed() && !(p.value() > 0)) || (p.has_start() && !(p.start() > 0)))
    throw error("ERROR: The variance for \"" + name + "\" must be positive.");
}

}  // namespace

void ModelList::add_correlation(const block::one_model& statement, VariableList& variables) {
  const std::string& text = statement.statement;
  const std::size_t arrow = model::find_outside(text, "<->");
  const std::size_t place = arrow != std::string::npos ? arrow : model::find_outside(text, "~~");
  if (place == std::string::npos) throw error_debug("No correlation in statement.");
  const std::size_t width = arrow != std::string::npos ? 3 : 2;
  const auto left = parse_side(text.substr(0, place), text, variables, names.get());
  const auto right = parse_side(text.substr(place + width), text, variables, names.get());
  for (const anyVariable& a : left) {
    for (const anyVariable& b : right) {
      if (!(a == b)) not_available::refuse("A residual correlation (see '" + text + "')");
      add_variance(a, b, statement, variables);
    }
  }
}

void ModelList::add_variance(const anyVariable& left, const anyVariable& right,
                             const block::one_model& statement, const VariableList& variables) {
  const model::parameter p = join_parameters(left, right);
  check_positive(p, left.name());
  if (!find(left)) add_model({left.fullname_noModifer() + " ~ ", statement.block}, variables);
  Model& model = *find(left);
  if (!p.is_free() && !model.variance.is_free())
    throw error("ERROR: The variance for \"" + left.name() + "\" already has a parameter label.");
  if (!p.is_free()) {
    model.variance = p;
  } else if (p.has_start()) {
    model.variance.set_start(p.start());
  }
}

}  // namespace tovik
