// The table of parameters of a run: names, slots and cells.

#include <algorithm>
#include <array>
#include <unordered_set>

#include "evaluate/defines.hpp"
#include "evaluate/error.hpp"
#include "evaluate/parser.hpp"
#include "evaluate/value.hpp"
#include "model/compute.hpp"
#include "model/model_list.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {
namespace {

using model::anyVariable;
using parameter_map = std::unordered_map<std::string, model::parameter_info>;

constexpr int data_column = 2;
constexpr int definition = 4;

[[noreturn]] void does_not_exist(const std::string& name, const std::string& term) {
  throw error("ERROR: Parameter \"" + name + "\" does not exist. To specify it:\n" + "       - Use \"@" +
              name + "\" to label the parameter.\n" + "       - Define \"" + name +
              "\" using the PARAMETER command before using it." + "\n       See \"" + term + "\"");
}

[[noreturn]] void already_specified(const std::string& name) {
  throw error("ERROR: Generated Parameter \"" + name + "\" is already been specified.");
}

[[noreturn]] void is_vector(const std::string& name) {
  throw error("ERROR: Generated parameter in PARAMETER command produces a vector: \"" + name + "\"");
}

/// A name of data columns or of an expression over them.
bool names_a_vector(const std::string& name, const evaluate::defines& names) {
  const auto* entry = names.find(name);
  return entry && (entry->kind == data_column || entry->kind == definition || !entry->announced.empty());
}

const std::array<const char*, 5> parts = {".coefvar", ".iceptvar", ".slopevar", ".residvar", ".totalvar"};

/// Enters names with slots in order of entry. A name that is there already keeps its slot.
class builder {
 public:
  explicit builder(const ModelList& list) : list_(list), names_(*list.names) {}

  parameter_map build() {
    variances();
    labels();
    priors_and_computations();
    aliases();
    terms();
    computations();
    return std::move(out_);
  }

 private:
  void enter(const std::string& name) {
    model::parameter_info info;
    info.slot = slots_;
    const auto [entry, is_new] = out_.emplace(to_lower(name), info);
    if (!is_new) return;
    entry->second.cell = std::make_shared<evaluate::value>();
    ++slots_;
  }

  void variances() {
    for (const Model& model : list_) {
      if (!model::shows_variances(model.kind(), model.link)) continue;
      for (const anyVariable& outcome : model.outcomes) {
        for (const char* part : parts) enter(outcome.fullname_noModifer() + part);
      }
    }
    n_variances_ = slots_;
  }

  /// Shown names that were cut short stand for the same cells, where nothing else has the name.
  void aliases() {
    for (const Model& model : list_) {
      if (!model::shows_variances(model.kind(), model.link)) continue;
      for (const anyVariable& outcome : model.outcomes) {
        if (iequals(outcome.name(), outcome.fullname_noModifer())) continue;
        for (const char* part : parts) {
          const model::parameter_info info = out_.at(to_lower(outcome.fullname_noModifer() + part));
          const std::string alias = to_lower(outcome.name() + part);
          if (!names_.find(alias) || names_.find(alias)->kind == 3) out_.emplace(alias, info);
        }
      }
    }
  }

  /// The name of a variance belongs to the program.
  void check_not_a_variance(const std::string& name) const {
    const auto entry = out_.find(to_lower(name));
    if (entry != out_.end() && entry->second.slot < n_variances_) already_specified(name);
  }

  void labels() {
    const auto table = list_.label_table();
    for (const model::parameter& p : list_.constraints()) {
      check_not_a_variance(p.label());
      if (names_a_vector(p.label(), names_)) is_vector(p.label());
      model::check_label(table.at(to_lower(p.label())).places, p.label());
      enter(p.label());
    }
  }

  void priors_and_computations() {
    std::unordered_set<std::string> given;
    for (const Model& model : list_) {
      if (model::is_equation(model.kind())) continue;
      const std::string name = model.name();
      check_not_a_variance(name);
      if (!given.insert(to_lower(name)).second || names_a_vector(name, names_)) already_specified(name);
      if (model.kind() == model::kind::computation) order_.emplace(to_lower(name), order_.size());
      enter(name);
    }
  }

  void terms() {
    for (const Model& model : list_) {
      for (const auto* side : {&model.fixed, &model.random}) {
        for (const anyVariable& term : *side) term.addNode(out_, names_);
      }
      for (const auto* side : {&model.fixed_compute, &model.random_compute}) {
        for (const model::combinationOfAnyVariable& term : *side) {
          for (const std::string& label : term.labels()) {
            // Beside a label inside, a fixed coefficient need not be the user's.
            const std::string written = "(" + term.statement + ")";
            if (!out_.count(label)) does_not_exist(label, term.param.is_fixed() ? written : term.text());
          }
        }
      }
    }
  }

  void computations() {
    for (const Model& model : list_) {
      if (model.kind() == model::kind::computation) computation(model);
    }
  }

  /// A computed parameter reads what stands before it.
  void computation(const Model& model) {
    const std::string name = model.name();
    const std::string statement = name + " = " + model.computation;
    evaluate::defines local;
    bool reads_data = false;
    for (const std::string& token : model::expression_names(model.computation)) {
      const std::string key = to_lower(token);
      const auto later = order_.find(key);
      if (later != order_.end() && later->second >= order_.at(to_lower(name)))
        does_not_exist(token, statement);
      const auto entry = out_.find(key);
      if (entry != out_.end()) {
        local.define_var(key, entry->second.slot);
      } else if (names_a_vector(key, names_)) {
        reads_data = true;
      } else {
        does_not_exist(token, statement);
      }
    }
    if (reads_data || !has_scalar_form(model.computation, local, statement)) is_vector(name);
  }

  /// Whether the expression gives one number whatever its parameters are.
  static bool has_scalar_form(const std::string& text, const evaluate::defines& local,
                              const std::string& statement) {
    std::unique_ptr<evaluate::node> tree;
    try {
      tree = evaluate::ast(text, local);
    } catch (const evaluate::error& fault) {
      throw error(evaluate::user_text(fault) + ("\n       See \"" + statement + "\""));
    }
    return !tree->is_vector && !has_column_function(*tree);
  }

  static bool has_column_function(const evaluate::node& tree) {
    if (evaluate::isColumnFunction(tree.op) && !is_two_input(tree)) return true;
    if (tree.op == evaluate::operations::var) return false;
    return (tree.left && has_column_function(*tree.left)) || (tree.right && has_column_function(*tree.right));
  }

  /// max(a, b) and min(a, b) compare two numbers.
  static bool is_two_input(const evaluate::node& tree) {
    const bool extreme = tree.op == evaluate::operations::max || tree.op == evaluate::operations::min;
    return extreme && tree.left && tree.left->n_commas() > 0;
  }

  const ModelList& list_;
  const evaluate::defines& names_;
  parameter_map out_;
  unsigned slots_ = 0;
  unsigned n_variances_ = 0;
  std::unordered_map<std::string, std::size_t> order_;  ///< of the computed parameters
};

}  // namespace

namespace model {

void anyVariable::addNode(parameter_map& map, const evaluate::defines& names) const {
  if (!param.has_label()) return;
  if (is_transformed()) throw error_debug("Cannot Generate for Transformation.");
  if (names_a_vector(param.label(), names)) is_vector(param.label());
  const auto entry = map.find(to_lower(param.label()));
  if (entry == map.end()) does_not_exist(param.label(), text());
  entry->second.is_new = false;
}

}  // namespace model

std::unordered_map<std::string, model::parameter_info> ModelList::generate_map() const {
  return builder(*this).build();
}

void ModelList::define_parameters() {
  const auto map = generate_map();
  std::vector<std::pair<unsigned, std::string>> by_slot;
  for (const auto& [name, info] : map) by_slot.emplace_back(info.slot, name);
  std::sort(by_slot.begin(), by_slot.end());
  for (const auto& [slot, name] : by_slot) {
    if (!names->define_var(name, slot))
      throw error_debug("Could not add parameter because it was already defined");
  }
}

}  // namespace tovik
