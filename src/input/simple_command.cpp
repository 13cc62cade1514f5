// The SIMPLE command: from its text to conditional effects of the equations.

#include <algorithm>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "data/dummy.hpp"
#include "data/variable_list.hpp"
#include "input/input_file.hpp"
#include "input/simple_text.hpp"
#include "model/model_list.hpp"
#include "results/simple_slopes.hpp"
#include "support/error.hpp"
#include "support/source.hpp"
#include "support/text.hpp"
#include "support/warning.hpp"

namespace tovik {

namespace {

using model::anyVariable;

/// "x.mean[id]" less its bracket, which names the level of the means. Any other name is left as it is.
std::string read_level(const std::string& name, const VariableList& vars, anyVariable& out) {
  const std::size_t open = name.find('[');
  if (open == std::string::npos || name.back() != ']') return name;
  const std::string head = name.substr(0, open), ending = ".mean";
  if (head.size() <= ending.size() || !iequals(head.substr(head.size() - ending.size()), ending)) return name;
  const auto id = vars.find(name.substr(open + 1, name.size() - open - 2));
  if (!id || id->type != data::type::id) return name;
  out.level = id;
  out.modifier = id->name;
  return head;
}

/// The term that a name stands for; without a variable when the name is unknown.
anyVariable find_term(const std::string& text, const VariableList& vars) {
  anyVariable out;
  const std::string name = read_level(text, vars, out);
  std::string base = name;
  const std::pair<const char*, model::type> suffixes[] = {
      {".mean", model::type::mean}, {".latent", model::type::latent}, {".missing", model::type::missing}};
  for (const auto& [suffix, type] : suffixes) {
    const std::string ending = suffix;
    if (!iends_with(name, ending)) continue;
    base = name.substr(0, name.size() - ending.size());
    out.type = type;
  }
  if (iequals(name, "Intercept")) return anyVariable::intercept(vars);
  out.variable = vars.find(base);
  return out;
}

/// Latent means without a level are those of every level above the variable.
bool same_term(const anyVariable& a, const anyVariable& b) {
  return a.variable == b.variable && a.type == b.type && (!a.level || !b.level || a.level == b.level);
}

/// Latent means that may stand at several levels.
bool has_levels(const anyVariable& term) {
  return term.variable && term.type == model::type::mean && term.variable->level > 1;
}

/// The name of the term as rows show it.
std::string shown_name(const anyVariable& term) {
  return term.name() + (has_levels(term) && term.level ? "[" + term.level->name + "]" : "");
}

bool has_main_effect(const Model& model, const anyVariable& term) {
  return std::any_of(model.fixed.begin(), model.fixed.end(),
                     [&](const anyVariable& own) { return same_term(own, term); });
}

bool has_predictor(const Model& model, const anyVariable& term) {
  if (!term.variable || !model::has_predictors(model.kind())) return false;
  if (has_main_effect(model, term)) return true;
  return std::any_of(model.fixed_compute.begin(), model.fixed_compute.end(), [&](const auto& computed) {
    const std::vector<anyVariable> parts = computed.all_variables();
    return std::any_of(parts.begin(), parts.end(),
                       [&](const anyVariable& part) { return same_term(part, term); });
  });
}

/// Something with a scale of its own: a variable of the data, a factor or a random effect, or the means or
/// the propensity behind it.
bool can_play_a_role(const anyVariable& term) {
  if (term.type == model::type::missing) return false;
  switch (term.variable->type) {
    case data::type::constant:
    case data::type::phantom:
    case data::type::id:
    case data::type::weight:
      return false;
    default:
      return true;
  }
}

bool is_nominal(const anyVariable& term) {
  return term.variable && term.variable->type == data::type::nominal;
}

/// The catalogue level at whose units the term has its values.
unsigned level_of(const anyVariable& term) {
  return term.level ? term.level->level : term.top_level();
}

/// The means of the highest level have no cluster within which they could be centred.
data::center centering(const anyVariable& term) {
  if (term.type != model::type::mean) return term.variable->centered();
  const data::center kind = term.variable->centeredMeans();
  return kind == data::center::cluster && level_of(term) == 0 ? data::center::none : kind;
}

/// The effects of one statement.
class simple_reader {
 public:
  simple_reader(const VariableList& vars, const ModelList& models, sem::SimpleList& out,
                std::set<std::string>& warned)
      : vars_(vars), models_(models), out_(out), warned_(warned) {}

  void read(const std::string& statement) {
    line_ = trim(statement);
    for (const effect_text& effect : read_simple(line_)) add(effect);
  }

 private:
  struct named {
    std::string name;
    anyVariable term;
    moderator_text text;
  };

  void add(const effect_text& effect) {
    const named focal{effect.focal, find_term(effect.focal, vars_), {}};
    check_focal(focal);
    std::vector<named> moderators;
    for (const moderator_text& text : effect.moderators)
      moderators.push_back({text.name, find_term(text.name, vars_), text});
    for (const named& moderator : moderators) check_pair(focal, moderator);
    const std::vector<unsigned> where = find_models(focal, moderators);
    check_roles(focal, moderators);
    for (unsigned model : where) {
      const std::vector<named> focals = by_level(models_[model], focal, has_predictor);
      std::vector<std::vector<named>> choices;
      for (const named& moderator : moderators) {
        choices.push_back(by_level(models_[model], moderator, has_main_effect));
        for (const named& one : choices.back()) check_value(one);
      }
      for (const named& one : focals) {
        warn_uncentered(one);
        for (const auto& combination : combinations(choices)) add_effects(model, one, combination);
      }
    }
  }

  /// Latent means once for each level at which `holds` finds them in the equation; any other term as it is.
  template <class Holds>
  std::vector<named> by_level(const Model& model, const named& what, Holds holds) const {
    if (!has_levels(what.term) || what.term.level) return {what};
    std::vector<named> out;
    for (const auto& id : vars_.clusters) {
      if (id->level >= what.term.variable->level) continue;
      named one = what;
      one.term.level = id;
      one.term.modifier = id->name;
      one.name = shown_name(one.term);
      if (holds(model, one.term)) out.push_back(std::move(one));
    }
    return out;
  }

  /// One of each choice, that of the first varying slowest.
  template <class T>
  static std::vector<std::vector<T>> combinations(const std::vector<std::vector<T>>& choices) {
    std::vector<std::vector<T>> out(1);
    for (const std::vector<T>& choice : choices) {
      std::vector<std::vector<T>> longer;
      for (const std::vector<T>& begun : out) {
        for (const T& one : choice) {
          longer.push_back(begun);
          longer.back().push_back(one);
        }
      }
      out = std::move(longer);
    }
    return out;
  }

  /// Some messages explain the general one.
  [[noreturn]] void fail(const std::string& detail = "") const {
    throw error(misspecified_simple(line_) + detail);
  }

  void check_focal(const named& focal) const {
    if (is_nominal(focal.term))
      throw error("ERROR: Nominal variables (\"" + focal.name + ") cannot be focal variables.");
    const bool found = std::any_of(models_.begin(), models_.end(),
                                   [&](const Model& model) { return has_predictor(model, focal.term); });
    if (found) return;
    fail("         The focal variable \"" + focal.name +
         "\" must be a predictor\n"
         "         in the MODEL statement.");
  }

  void check_pair(const named& focal, const named& moderator) const {
    if (moderator.term.variable && same_term(focal.term, moderator.term))
      throw error("ERROR: The focal predictor and moderator cannot be the same variable.");
    const bool together = std::any_of(models_.begin(), models_.end(), [&](const Model& model) {
      return has_predictor(model, focal.term) && has_predictor(model, moderator.term);
    });
    if (!together) not_together(focal, moderator);
  }

  [[noreturn]] void not_together(const named& focal, const named& moderator) const {
    fail("         The focal variable \"" + focal.name + "\" and\n         moderator variable \"" +
         moderator.name + "\"\n         are not in the same model.");
  }

  /// The equations with all of the variables.
  std::vector<unsigned> find_models(const named& focal, const std::vector<named>& moderators) const {
    std::vector<unsigned> out;
    for (unsigned i = 0; i < models_.size(); ++i) {
      const auto holds = [&](const named& one) { return has_predictor(models_[i], one.term); };
      if (!holds(focal) || !std::all_of(moderators.begin(), moderators.end(), holds)) continue;
      // Its slopes are many, one for each dummy code.
      if (models_[i].kind() == model::kind::nominal)
        throw error("ERROR: Nominal Simple Slopes not allowed.\n       The outcome '" + models_[i].name() +
                    "' is nominal.");
      out.push_back(i);
      for (const named& moderator : moderators) {
        if (has_main_effect(models_[i], moderator.term)) continue;
        fail("         The moderator variable \"" + moderator.name +
             "\" must have\n"
             "         its main effect in the model.");
      }
    }
    if (out.empty()) not_together(focal, moderators.back());
    return out;
  }

  void check_roles(const named& focal, const std::vector<named>& moderators) const {
    if (!can_play_a_role(focal.term))
      throw error("ERROR: Variable \"" + focal.name + "\" cannot be a focal variable.");
    for (const named& moderator : moderators) {
      if (!can_play_a_role(moderator.term))
        throw error("ERROR: Variable \"" + moderator.name + "\" cannot be a moderator variable.");
    }
  }

  void check_value(const named& moderator) const {
    const data::variable& v = *moderator.term.variable;
    if (moderator.text.in_sd) {
      check_deviation(moderator);
    } else if (!moderator.text.value) {
      if (v.type != data::type::ordinal && v.type != data::type::nominal) fail();
    } else if (v.type == data::type::nominal) {
      if (std::find(v.values.begin(), v.values.end(), *moderator.text.value) == v.values.end()) fail();
    }
  }

  void check_deviation(const named& moderator) const {
    const data::variable& v = *moderator.term.variable;
    if (v.fixed())
      throw error(
          "ERROR: Cannot specify the moderator evaluated at standard deviation\n"
          "       units for a fixed variable. Offending variable: \"" +
          moderator.name + "\"");
    if (v.type != data::type::continuous)
      throw error(
          "ERROR: Only continuous moderators can be evaluated at\n"
          "       standard deviation units. Offending variable:" +
          moderator.name);
    if (centering(moderator.term) == data::center::none)
      throw error(
          "ERROR: The moderator must be centered to evaulate at\n"
          "       standard deviation units. Offending variable:\n" +
          moderator.name);
  }

  /// Once for each variable. The mean of a factor or of a random effect is no matter of centering.
  void warn_uncentered(const named& focal) {
    const data::type kind = focal.term.variable->type;
    if (kind == data::type::latent || kind == data::type::random_effect) return;
    if (centering(focal.term) != data::center::none || !warned_.insert(shown_name(focal.term)).second) return;
    warning::buffer.push("WARNING: The focal predictor \"" + focal.name +
                         "\" is not centered.\n"
                         "         Simple intercepts in the conditional effects table are\n"
                         "         evaluated at a score of zero on the focal predictor.\n");
  }

  /// The values that a moderator takes, one after another.
  std::vector<sem::moderator> values_of(const named& moderator) const {
    const data::variable& v = *moderator.term.variable;
    if (moderator.text.value) return {at_value(moderator, *moderator.text.value, moderator.text.text)};
    std::vector<sem::moderator> out;
    for (double category : v.values)
      out.push_back(at_value(moderator, category, data::dummy::label("", category).substr(1)));
    return out;
  }

  sem::moderator at_value(const named& moderator, double value, const std::string& text) const {
    sem::moderator out{shown_name(moderator.term), text, value, moderator.text.in_sd, {}, {}};
    const data::variable& v = *moderator.term.variable;
    const std::vector<unsigned> columns = moderator.term.indicator();
    for (std::size_t k = 0; k < columns.size(); ++k) {
      const bool coded = v.type == data::type::nominal;
      const auto* code =
          coded ? dynamic_cast<const data::dummy*>(v.dummies.at(k % v.dummies.size()).get()) : nullptr;
      const double held = code != nullptr ? (code->value() == value ? 1.0 : 0.0) : value;
      out.columns.emplace_back(columns[k], held);
    }
    if (out.in_sd) out.source = source_of(moderator.term, columns);
    return out;
  }

  static sem::deviation_source source_of(const anyVariable& term, const std::vector<unsigned>& columns) {
    sem::deviation_source out;
    out.column = columns.at(0);
    out.level = level_of(term);
    out.centering = centering(term);
    return out;
  }

  /// Every combination of the values of the moderators.
  void add_effects(unsigned model, const named& focal, const std::vector<named>& moderators) {
    std::vector<std::vector<sem::moderator>> values;
    for (const named& moderator : moderators) values.push_back(values_of(moderator));
    const unsigned constant = anyVariable::intercept(vars_).variable->column;
    for (auto& point : combinations(values))
      out_[model].effects.emplace_back(model, shown_name(focal.term), focal.term.indicator(), constant,
                                       std::move(point));
  }

  const VariableList& vars_;
  const ModelList& models_;
  sem::SimpleList& out_;
  std::set<std::string>& warned_;
  std::string line_;
};

}  // namespace

sem::SimpleList InputFile::simpleSlopes(const VariableList& vars, const ModelList& models) const {
  sem::SimpleList out;
  for (unsigned i = 0; i < models.size(); ++i) out.push_back({i, {}});
  std::set<std::string> warned;
  simple_reader reader(vars, models, out, warned);
  for (const std::string& statement : simples) {
    source::enter(statement);
    reader.read(statement);
    source::leave();
  }
  out.reduce();
  return out;
}

}  // namespace tovik
