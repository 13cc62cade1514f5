#include "input/simulate.hpp"

#include <new>

#include "input/input_file.hpp"
#include "input/name_checks.hpp"
#include "input/simulate_expression.hpp"
#include "input/simulate_statement.hpp"
#include "support/error.hpp"
#include "support/source.hpp"
#include "support/text.hpp"

namespace tovik::simulate {

namespace {

const std::string define_section = "define";

table read_levels(const std::vector<block::one_model>& statements) {
  std::vector<sim_data> levels;
  std::string last;
  for (const auto& [statement, section] : statements) {
    if (section != block::predef::none || statement.empty()) continue;
    source::enter(statement);
    sim_data next(statement);
    last = statement;
    name_checks::check_reserved(next.name);
    for (const sim_data& l : levels) {
      if (l.level == next.level) {
        fail("ERROR: Already generated the identifier variable for level-" + std::to_string(l.level) + "\n",
             statement);
      }
      if (iequals(l.name, next.name)) {
        fail("ERROR: Already generated the identifier variable with name '" + next.name + "'\n", statement);
      }
    }
    levels.push_back(std::move(next));
  }
  source::leave();
  if (levels.empty()) no_identifiers();
  if (levels.size() == 1 && levels.front().size == 0) no_assignment(last);
  return table(sim_data::combine(std::move(levels)));
}

void add_constant(const std::string& statement, table& t) {
  source::enter(statement);
  const assignment parts = read_assignment(statement, no_constant_assignment);
  if (!is_legal_name(parts.left)) fail(illegal_constant, statement);
  name_checks::check_reserved(parts.left);
  if (t.find(parts.left) != nullptr) {
    fail("ERROR: Defined value specified in SIMULATE command already exists.\n", statement);
  }
  t.add_constant(parts.left, expression(parts, t, nullptr, nullptr).constant());
}

void check_variable(const std::string& name, const std::string& statement, const table& t) {
  if (!is_legal_name(name)) fail(illegal_variable, statement);
  name_checks::check_reserved(name);
  const symbol* taken = t.find(name);
  if (taken == nullptr) return;
  fail(taken->what == symbol::kind::constant
           ? "ERROR: Variable specified in SIMULATE is the name of a defined constant.\n"
           : "ERROR: Variable specified in SIMULATE command already exists.\n",
       statement);
}

void add_variables(const std::string& statement, const sim_data& level, table& t,
                   const std::shared_ptr<Random>& rng) {
  source::enter(statement);
  const assignment parts = read_assignment(statement, no_assignment);
  const std::vector<std::string> names = words(parts.left);
  for (const std::string& name : names) check_variable(name, statement, t);
  t.check_room(names.size(), level, statement);
  const expression right(parts, t, &level, rng);
  for (const std::string& name : names) {
    check_variable(name, statement, t);  // again: the statement itself may name a variable twice
    arma::Col<double> values = right.column();
    if (values.has_nan() && arma::uvec(arma::find_nan(values)).n_elem == values.n_elem) {
      fail(
          "ERROR: SIMULATE command produced a variable with all\n"
          "       observations missing. This generally happens when\n"
          "       using commands like 'center', 'mean', and 'scale'.\n",
          statement);
    }
    t.add_column(name, level.level, std::move(values));
  }
}

}  // namespace

table generate(const std::vector<block::one_model>& statements, const std::shared_ptr<Random>& rng) {
  table t = read_levels(statements);
  for (const auto& [statement, section] : statements) {
    if (section == define_section && !statement.empty()) add_constant(statement, t);
  }
  for (const auto& [statement, section] : statements) {
    if (section == block::predef::none || section == define_section) continue;
    const sim_data* level = t.level(section);
    if (level == nullptr) {
      fail("ERROR: No identifier variable has been specified for '" + section + "'.\n", statement);
    }
    if (!statement.empty()) add_variables(statement, *level, t, rng);
  }
  source::leave();
  return t;
}

}  // namespace tovik::simulate

namespace tovik {

arma::Mat<double> InputFile::parseSimulate() {
  try {
    return simulate::generate(simulates, rng).data_set(variableNames);
  } catch (const std::bad_alloc&) {
    throw error("ERROR: SIMULATE command asks for more values than fit into memory.");
  }
}

}  // namespace tovik
