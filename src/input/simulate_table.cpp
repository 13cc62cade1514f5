#include "input/simulate_table.hpp"

#include <algorithm>
#include <utility>

#include "input/name_checks.hpp"
#include "input/simulate_statement.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik::simulate {

table::table(std::vector<sim_data> levels) : levels_(std::move(levels)) {
  for (const sim_data& l : levels_) add_column(l.name, l.level, l.values);
  for (const sim_data& l : levels_) {
    add_column(l.name + ".time", l.level, l.time);
    columns_.back().carried = false;
  }
}

const sim_data* table::level(const std::string& name) const {
  for (const sim_data& l : levels_) {
    if (iequals(l.name, name)) return &l;
  }
  return nullptr;
}

const symbol* table::find(const std::string& name) const {
  const auto at = symbols_.find(to_lower(name));
  return at == symbols_.end() ? nullptr : &at->second;
}

void table::enter(const std::string& name, symbol::kind what, std::size_t index) {
  symbols_[to_lower(name)] = {name, what, static_cast<unsigned>(index)};
}

void table::add_constant(const std::string& name, double value) {
  enter(name, symbol::kind::constant, constants_.size());
  constants_.emplace_back(value);
}

void table::add_column(const std::string& name, unsigned level, arma::Col<double> values) {
  enter(name, symbol::kind::column, columns_.size());
  values_ += std::uint64_t{values.n_elem} + levels_.front().size;
  columns_.push_back({name, level, true, std::move(values)});
}

void table::check_room(std::uint64_t n, const sim_data& level, const std::string& statement) const {
  const std::uint64_t each = std::uint64_t{level.size} + levels_.front().size;
  if (values_ <= max_values && n <= (max_values - values_) / each) return;
  fail("ERROR: SIMULATE command asks for more than " + std::to_string(max_values) + " values.\n", statement);
}

namespace {

/// Each value of a higher level, once for every unit below it.
void copy_down(const arma::Col<double>& from, double* to, std::size_t n) {
  const std::size_t per_unit = n / from.n_elem;
  for (const double value : from) to = std::fill_n(to, per_unit, value);
}

}  // namespace

arma::Mat<double> table::rows(const sim_data& level, const std::vector<unsigned>& wanted) const {
  arma::Mat<double> out(level.size, wanted.size(), arma::fill::none);
  for (std::size_t j = 0; j < wanted.size(); ++j) {
    copy_down(columns_[wanted[j]].values, out.colptr(j), level.size);
  }
  return out;
}

arma::Mat<double> table::data_set(std::vector<std::string>& names) const {
  std::vector<unsigned> wanted;
  name_checks::taken_names taken;
  for (const std::string& name : names) {
    taken.add(name);
    const symbol* s = find(name);
    if (s == nullptr || s->what != symbol::kind::column) {
      throw error("ERROR: The variable '" + name +
                  "' is listed on the VARIABLES command\n       but not created in the SIMULATE command.");
    }
    wanted.push_back(s->index);
  }
  if (names.empty()) {
    for (unsigned k = 0; k < columns_.size(); ++k) {
      if (columns_[k].carried) wanted.push_back(k);
    }
  }
  names.clear();
  for (const unsigned k : wanted) names.push_back(columns_[k].name);
  return rows(levels_.front(), wanted);
}

}  // namespace tovik::simulate
