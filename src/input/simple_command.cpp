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

/// The term that a name stands for; without a variable when the name is unknown.
anyVariable find_term(const std::string& name, const VariableList& vars) {
  anyVariable out;
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

bool same_term(const anyVariable& a, const anyVariable& b) {
  return a.variable == b.variable && a.type == b.type;
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

data::center centering(const anyVariable& term) {
  return term.type == model::type::mean ? term.variable->centeredMeans() : term.variable->centered();
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
    for (const named& moderator : moderators) check_value(moderator);
    warn_uncentered(focal);
    for (unsigned model : where) add_effects(model, focal, moderators);
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
    if (centering(focal.term) != data::center::none || !warned_.insert(focal.term.name()).second) return;
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
    sem::moderator out{moderator.term.name(), text, value, moderator.text.in_sd, {}, {}};
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
    const data::variable& v = *term.variable;
    const bool mean = term.type == model::type::mean;
    sem::deviation_source out;
    out.column = columns.at(0);
    out.level = mean ? term.top_level() : v.level;
    out.centering = centering(term);
    return out;
  }

  /// Every combination of the values of the moderators, that of the first varying slowest.
  void add_effects(unsigned model, const named& focal, const std::vector<named>& moderators) {
    std::vector<std::vector<sem::moderator>> points(1);
    for (const named& moderator : moderators) {
      std::vector<std::vector<sem::moderator>> longer;
      for (const auto& point : points) {
        for (sem::moderator& value : values_of(moderator)) {
          longer.push_back(point);
          longer.back().push_back(std::move(value));
        }
      }
      points = std::move(longer);
    }
    const unsigned constant = anyVariable::intercept(vars_).variable->column;
    for (auto& point : points)
      out_[model].effects.emplace_back(model, focal.term.name(), focal.term.indicator(), constant,
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
