#include "model/combination.hpp"

#include <algorithm>
#include <memory>
#include <unordered_map>
#include <unordered_set>

#include "data/dummy.hpp"
#include "data/variable_list.hpp"
#include "evaluate/defines.hpp"
#include "evaluate/generate_command.hpp"
#include "evaluate/operations.hpp"
#include "evaluate/parser.hpp"
#include "model/compute.hpp"
#include "model/statement_text.hpp"
#include "model/term_check.hpp"
#include "model/term_key.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik::model {
namespace {

/// Looks up the names of one expression and of the definitions in it.
class reader {
 public:
  reader(const VariableList& variables, evaluate::defines* names, combinationOfAnyVariable& out)
      : variables_(variables), names_(names), out_(out) {}

  void read() {
    for (const std::string& token : expression_names(out_.statement)) {
      if (const anyVariable* variable = find(token)) {
        out_.variables.push_back(*variable);
        out_.tokens.push_back(token);
      } else {
        read_name(token, true);
      }
    }
    // Definitions are worked through one after the other: a chain of them may be long, and may be a ring.
    while (!open_.empty()) {
      const std::vector<std::string>& names = *open_.back();
      open_.pop_back();
      for (const std::string& token : names) {
        if (const anyVariable* variable = find(token)) {
          if (inner_.insert(to_lower(token)).second) add_defined(*variable);
        } else {
          read_name(token, false);
        }
      }
    }
  }

 private:
  /// The variable of a token, or null for a definition, a label or a number.
  const anyVariable* find(const std::string& token) {
    const std::string key = to_lower(token);
    const auto known = found_.find(key);
    if (known != found_.end()) return known->second.get();
    std::unique_ptr<anyVariable>& entry = found_[key];
    if (!is_definition(token, names_) && is_variable(token)) {
      entry = std::make_unique<anyVariable>(anyVariable::parse(token, variables_, names_, false));
      check_phantom_request(*entry);
    }
    return entry.get();
  }

  /// What can only be a variable is read as one, so that its mistakes are told. A label may hold a dot: it
  /// is a suffix only behind the name of a variable or a definition.
  bool is_variable(const std::string& token) const {
    if (variables_.find(token) || token.find_first_of("[]$") != std::string::npos) return true;
    for (const std::string suffix : {".missing", ".mean", ".latent"}) {
      if (!iends_with(token, suffix)) continue;
      const std::string base = token.substr(0, token.size() - suffix.size());
      if (variables_.find(base) || is_definition(base, names_)) return true;
    }
    return false;
  }

  void read_name(const std::string& token, bool direct) {
    const std::string key = to_lower(token);
    if (!read_.insert(key).second) return;
    if (is_definition(token, names_)) {
      open_.push_back(&names_->find(token)->reads);
      return;
    }
    if (is_number_word(token) && !(names_ && names_->find(token))) return;
    if (!names_ || iequals(token, "Intercept"))
      throw error("ERROR: Cannot find variable \"" + token + "\" in VARIABLE command.");
    // A definition with "@" or "%" is refused where it is given, in its own words.
    if (!direct && token.find_first_of("@%") != std::string::npos) return;
    if (direct) names_->define(token);
    out_.label_names.push_back(key);
  }

  void add_defined(const anyVariable& variable) {
    if (defined_.insert(term_key(variable)).second) out_.defined_variables.push_back(variable);
  }

  const VariableList& variables_;
  evaluate::defines* names_;
  combinationOfAnyVariable& out_;
  std::unordered_map<std::string, std::unique_ptr<anyVariable>> found_;
  std::unordered_set<std::string> read_;   // names that are no variables
  std::unordered_set<std::string> inner_;  // names of variables inside definitions
  std::unordered_set<term_key, term_key::hash> defined_;
  std::vector<const std::vector<std::string>*> open_;  // names in the definitions to be read
};

/// The design columns of the variables of a term that differ, and of each occurrence the variable.
struct factors {
  std::vector<std::vector<term_column>> columns;
  std::vector<std::size_t> of;

  explicit factors(const combinationOfAnyVariable& term) {
    std::unordered_map<term_key, std::size_t, term_key::hash> known;
    for (const anyVariable& variable : term.variables) {
      const auto [at, is_new] = known.emplace(term_key(variable), columns.size());
      if (is_new) columns.push_back(variable.columns(term.clusters));
      of.push_back(at->second);
    }
  }
};

/// Nominal variables multiply: the number of design columns has to stay one that can be estimated.
void check_size(const combinationOfAnyVariable& term, const std::string& text) {
  constexpr std::size_t max_columns = 10000;
  std::size_t n = 1;
  for (const auto& columns : factors(term).columns) {
    n *= std::max<std::size_t>(columns.size(), 1);
    if (n > max_columns)
      throw error("ERROR: The computed term '" + text + "' has more than " + std::to_string(max_columns) +
                  " design columns.");
  }
}

/// Calls use(column of each occurrence in `variables`) for each design column: every combination of the
/// columns of the variables, that of the variable named first varying slowest.
template <class Use>
void for_each_column(const combinationOfAnyVariable& term, const Use& use) {
  const factors all(term);
  std::vector<std::size_t> place(all.columns.size(), 0);
  std::vector<const term_column*> columns(all.of.size());
  for (const auto& own : all.columns) {
    if (own.empty()) return;
  }
  while (true) {
    for (std::size_t i = 0; i < columns.size(); ++i) columns[i] = &all.columns[all.of[i]][place[all.of[i]]];
    use(columns);
    std::size_t k = place.size();
    while (k > 0 && ++place[k - 1] == all.columns[k - 1].size()) place[--k] = 0;
    if (k == 0) return;
  }
}

std::string without_blanks(std::string text) {
  text.erase(std::remove(text.begin(), text.end(), ' '), text.end());
  return text;
}

}  // namespace

combinationOfAnyVariable combinationOfAnyVariable::read(const std::string& expression,
                                                        const std::string& term,
                                                        const VariableList& variables,
                                                        evaluate::defines* names) {
  combinationOfAnyVariable out;
  out.table = names;
  out.clusters = variables.clusters;
  out.statement = join(words(expression), " ");
  if (is_wrapped(out.statement)) out.statement = trim(out.statement.substr(1, out.statement.size() - 2));
  check_functions(out.statement);
  reader(variables, names, out).read();
  check_size(out, term);
  return out;
}

combinationOfAnyVariable combinationOfAnyVariable::parse(const std::string& expression,
                                                         const std::string& term,
                                                         const VariableList& variables,
                                                         evaluate::defines* names) {
  combinationOfAnyVariable out = read(expression, term, variables, names);
  check_expression(out, term);
  return out;
}

std::vector<anyVariable> combinationOfAnyVariable::all_variables() const {
  std::vector<anyVariable> out;
  std::unordered_set<term_key, term_key::hash> seen;
  for (const auto* list : {&variables, &defined_variables}) {
    for (const anyVariable& variable : *list) {
      if (seen.insert(term_key(variable)).second) out.push_back(variable);
    }
  }
  return out;
}

std::vector<std::string> combinationOfAnyVariable::labels() const {
  return label_names;
}

bool combinationOfAnyVariable::has(const anyVariable& term) const {
  const auto holds = [&](const std::vector<anyVariable>& list) {
    return std::find(list.begin(), list.end(), term) != list.end();
  };
  return holds(variables) || holds(defined_variables);
}

bool combinationOfAnyVariable::has(const data::variable& variable) const {
  const auto reads = [&](const anyVariable& own) {
    if (own.variable.get() == &variable) return true;
    const auto* code = dynamic_cast<const data::dummy*>(own.variable.get());
    return code && code->parent().get() == &variable;
  };
  return std::any_of(variables.begin(), variables.end(), reads) ||
         std::any_of(defined_variables.begin(), defined_variables.end(), reads);
}

std::vector<std::vector<unsigned>> combinationOfAnyVariable::indicators() const {
  std::vector<unsigned> defined;
  for (const anyVariable& variable : defined_variables) {
    for (unsigned column : variable.indicator()) defined.push_back(column);
  }
  std::vector<std::vector<unsigned>> out;
  for_each_column(*this, [&](const std::vector<const term_column*>& columns) {
    std::vector<unsigned> read = defined;
    for (const term_column* column : columns) read.push_back(column->column);
    std::sort(read.begin(), read.end());
    read.erase(std::unique(read.begin(), read.end()), read.end());
    out.push_back(std::move(read));
  });
  return out;
}

std::vector<std::string> combinationOfAnyVariable::names() const {
  std::vector<std::string> out;
  for_each_column(*this, [&](const std::vector<const term_column*>& columns) {
    std::vector<std::string> shown;
    for (const term_column* column : columns) shown.push_back(column->name);
    out.push_back(evaluate::generate_command(statement, tokens, shown));
  });
  return out;
}

std::vector<std::unique_ptr<evaluate::node>> combinationOfAnyVariable::nodes() const {
  if (!table) throw error_debug("Computed term without names.");
  // Variables and labels in one list, in the order of the statement: a label between two variables must not
  // end the search for the second one.
  std::vector<std::string> names_in_order;
  std::vector<std::string> references;
  std::vector<std::pair<std::size_t, std::size_t>> of_variable;  // place in the list, place in `variables`
  for (const std::string& token : expression_names(statement)) {
    const std::size_t next = of_variable.size();
    if (next < tokens.size() && iequals(token, tokens[next])) {
      of_variable.emplace_back(names_in_order.size(), next);
      names_in_order.push_back(token);
      references.emplace_back();
      continue;
    }
    const evaluate::defines::def* entry = table->find(token);
    constexpr int parameter_cell = 3;
    if (!entry || entry->kind != parameter_cell) continue;
    names_in_order.push_back(token);
    references.push_back(entry->text);
  }
  std::vector<std::unique_ptr<evaluate::node>> out;
  for_each_column(*this, [&](const std::vector<const term_column*>& columns) {
    for (const auto& [at, variable] : of_variable)
      references[at] = evaluate::CMD::DATA + "(" + std::to_string(columns[variable]->column) + ")";
    out.push_back(
        evaluate::opt_ast(evaluate::generate_command(statement, names_in_order, references), *table));
  });
  return out;
}

bool operator==(const combinationOfAnyVariable& a, const combinationOfAnyVariable& b) {
  return iequals(without_blanks(a.statement), without_blanks(b.statement));
}

}  // namespace tovik::model
