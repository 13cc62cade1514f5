// "f -> x1 x2 | rest" and "f =~ x1 x2 | rest": f predicts each x.

#include <algorithm>

#include "data/variable_list.hpp"
#include "evaluate/defines.hpp"
#include "model/compute.hpp"
#include "model/defaults.hpp"
#include "model/model_list.hpp"
#include "model/statement_text.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {
namespace {

using model::anyVariable;

struct loading_statement {
  std::string factor;
  std::vector<std::string> indicators;
  std::string random;  ///< behind "|", with the sign; empty for none
};

loading_statement cut_statement(const std::string& text) {
  const std::size_t equals = model::find_outside(text, "=~");
  const std::size_t arrow = equals != std::string::npos ? equals : model::find_outside(text, "->");
  if (arrow == std::string::npos) throw error_debug("No loading in statement.");
  const std::string left = trim(text.substr(0, arrow));
  const std::string right = text.substr(arrow + 2);
  const std::size_t bar = model::find_outside(right, "|");
  loading_statement out;
  const std::vector<std::string> factors = model::terms(left, left);
  out.indicators = model::terms(right.substr(0, bar), left);
  if (factors.size() != 1 || out.indicators.empty()) model::unable_to_parse(text);
  out.factor = factors.front();
  if (!model::cut_suffix(out.factor).suffix.empty()) model::unable_to_parse(text);
  if (bar != std::string::npos) out.random = " |" + right.substr(bar + 1);
  return out;
}

/// A loading that gives the factor its unit in the run does so in a restricted equation.
void take_held_loading(Model& restricted, const ModelList& full, const data::variable& factor) {
  const auto is_loading = [&](const anyVariable& term) {
    return term.variable.get() == &factor && term.type == model::type::variable;
  };
  const Model* own = full.find(restricted.outcomes.front());
  if (!own) return;
  const auto given = std::find_if(own->fixed.begin(), own->fixed.end(), is_loading);
  const auto here = std::find_if(restricted.fixed.begin(), restricted.fixed.end(), is_loading);
  if (given == own->fixed.end() || here == restricted.fixed.end()) return;
  if (given->param.is_fixed()) here->param = given->param;
}

}  // namespace

void ModelList::add_loading(const block::one_model& statement, const VariableList& variables,
                            const ModelList* full) {
  const loading_statement parts = cut_statement(statement.statement);
  const auto factor = variables.find(parts.factor);
  const bool latent = factor && factor->type == data::type::latent;
  bool first = true;
  for (const std::string& indicator : parts.indicators) {
    const model::term_text cut = model::cut_suffix(indicator);
    // One loading gives the latent variable its unit.
    const bool open = latent && cut.suffix.empty();
    const bool scales = open && first && !full && !sem::defaults::freeloadings;
    first = false;
    const std::string suffix = scales ? "@1" : cut.suffix;
    add_model({cut.head + " ~ " + parts.factor + suffix + parts.random, statement.block}, variables);
    if (open && full) take_held_loading(back(), *full, *factor);
  }
  if (full) return;
  const bool intercept = parts.factor == "0" || parts.factor == "1" || iequals(parts.factor, "Intercept");
  if (intercept || model::is_compute(parts.factor, names.get())) return;
  const anyVariable parsed = anyVariable::parse(parts.factor, variables, names.get(), false);
  const bool modelled = parsed.type == model::type::variable || parsed.type == model::type::missing;
  const data::type kind = parsed.variable->type;
  const bool can_be_outcome = kind == data::type::continuous || kind == data::type::ordinal ||
                              kind == data::type::count || kind == data::type::nominal ||
                              kind == data::type::latent;
  if (!modelled || !can_be_outcome || parsed.variable->fixed() || find(parsed)) return;
  add_model({parsed.fullname_noModifer() + " ~ ", statement.block}, variables);
}

}  // namespace tovik
