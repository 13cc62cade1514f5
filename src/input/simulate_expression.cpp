#include "input/simulate_expression.hpp"

#include <algorithm>
#include <unordered_map>

#include "data/numbers.hpp"
#include "evaluate/error.hpp"
#include "evaluate/generate_command.hpp"
#include "evaluate/operations.hpp"
#include "evaluate/parser.hpp"
#include "model/tokenize.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik::simulate {

namespace {

std::string see(const std::string& statement) {
  return "\n       See \"" + statement + "\"";
}

void check_parameters(const assignment& parts) {
  if (parts.right.find('&') != std::string::npos) {
    fail("ERROR: SIMULATE command cannot contain parameters references '&'.\n", parts.statement);
  }
  // "name@label" and "name%start" are what a model says of its coefficients; "#" opens a parameter's cell.
  if (parts.right.find_first_of("@%#") != std::string::npos) {
    fail("ERROR: SIMULATE command cannot contain parameters.\n", parts.statement);
  }
}

void check_parentheses(const assignment& parts) {
  std::vector<std::string> tokens = words(parts.statement);
  const std::string text = join(tokens, " ");
  const int fault = model::tokenize(tokens);
  if (fault < 0) return;
  throw error("ERROR: There are mismatched parentheses in the '" + parts.left +
              "' SIMULATE command:\n       \"" + text + "\"\n        " +
              std::string(static_cast<std::size_t>(fault), ' ') + "^");
}

[[noreturn]] void not_a_value(const assignment& parts) {
  fail("ERROR: SIMULATE command not correctly specified.\n       Defined value not specified \"" +
           parts.right + "\".\n       Only defind values are allowed in the define block.\n",
       parts.statement);
}

}  // namespace

expression::expression(const assignment& parts, table& t, const sim_data* level,
                       const std::shared_ptr<Random>& rng)
    : parts_(parts), defines_(level == nullptr) {
  check_parameters(parts_);
  check_parentheses(parts_);
  build(substitute(t, level));
  const bool draws = tree_->has(evaluate::operations::uniform) || tree_->has(evaluate::operations::normal);
  if (draws && !defines_ && rng == nullptr) throw error("ERROR: Missing SEED command.");
  tree_->register_rng(rng);
}

/// Names become "#DATA(k)", column k of the rows gathered here, and "#VAR(k)", constant k of those gathered.
std::string expression::substitute(table& t, const sim_data* level) {
  std::vector<std::string> names;
  std::vector<unsigned> indices;
  std::vector<std::string> prefixes;
  std::vector<unsigned> used_columns;
  std::unordered_map<const symbol*, unsigned> slots;
  for (const std::string& token : evaluate::parse(parts_.right)) {
    if (token.empty() || evaluate::op.count(token) > 0 || isNumber(token)) continue;
    const symbol* s = t.find(token);
    const bool is_column = s != nullptr && s->what == symbol::kind::column;
    if (is_column && defines_) not_a_value(parts_);
    if (s == nullptr || (is_column && t.column_of(*s).level < level->level)) {
      throw error("ERROR: Unable to find variable or definition \"" + token + "\"" + see(parts_.statement));
    }
    std::vector<unsigned>& used = is_column ? used_columns : used_constants_;
    const auto [at, added] = slots.emplace(s, static_cast<unsigned>(used.size()));
    if (added) {
      used.push_back(s->index);
      if (!is_column) cells_.push_back(&t.cell_of(*s));
    }
    names.push_back(token);
    indices.push_back(at->second);
    prefixes.push_back(is_column ? evaluate::CMD::DATA : evaluate::CMD::VAR);
  }
  if (level != nullptr) data_ = t.rows(*level, used_columns);
  return evaluate::generate_command(parts_.right, names, indices, prefixes);
}

/// The failures of expressions as the user's mistakes, with the statement in which they stand.
template <class Run>
auto expression::with_statement(Run run) const {
  try {
    return run();
  } catch (const evaluate::error_parse& e) {
    throw error(e.message() + see(parts_.statement));
  } catch (const evaluate::error_debug&) {
    // A form that has no value: a column function of a number, one name on both sides of a comparison.
    if (defines_) not_a_value(parts_);
    throw error("ERROR: Could not parse statement." + see(parts_.statement));
  } catch (const evaluate::error& e) {
    throw error(std::string(e.what()) + "\n       Problem command: " + parts_.statement);
  }
}

void expression::build(const std::string& text) {
  with_statement([&] { tree_ = evaluate::opt_ast(text); });
  for (unsigned k = 0; k < cells_.size(); ++k) tree_->register_var(cells_[k], k);
}

arma::Col<double> expression::column() const {
  return with_statement([&] { return tree_->eval(data_); });
}

double expression::constant() const {
  if (tree_->is_vector) not_a_value(parts_);
  return with_statement([&] { return tree_->eval(); });
}

}  // namespace tovik::simulate
