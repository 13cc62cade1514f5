#include "input/simulate_levels.hpp"

#include <algorithm>
#include <utility>

#include "input/simulate_statement.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

std::uint32_t number(const std::string& text, const std::string& statement) {
  try {
    return toUint(text);
  } catch (const error&) {
    simulate::no_assignment(statement);
  }
}

}  // namespace

sim_data::sim_data(const std::string& text) {
  const simulate::assignment parts = simulate::read_assignment(text, simulate::no_assignment);
  name = parts.left;
  const std::size_t open = parts.left.find('(');
  if (open != std::string::npos && parts.left.back() == ')') {
    name = trim(parts.left.substr(0, open));
    level = number(parts.left.substr(open + 1, parts.left.size() - open - 2), text);
  }
  if (level < 1 || level > 3) simulate::no_assignment(text);
  if (name.empty()) simulate::fail(simulate::no_variable, text);
  if (!simulate::is_legal_name(name)) simulate::fail(simulate::illegal_identifier, text);
  size = number(parts.right, text);
  if (size > max_size) {
    simulate::fail(
        "ERROR: SIMULATE command asks for more than " + std::to_string(max_size) + " observations.\n", text);
  }
}

void sim_data::add_time() {
  time = arma::regspace(1.0, static_cast<double>(size));
}

void sim_data::add_time(sim_data& lower) const {
  const std::uint32_t per_cluster = lower.size / size;
  lower.time.set_size(lower.size);
  for (std::uint32_t i = 0; i < lower.size; ++i) lower.time[i] = i % per_cluster + 1;
}

sim_data& sim_data::operator+=(const sim_data& upper) {
  if (size == 0 || upper.size == 0 || size % upper.size != 0) {
    const auto line = [](const sim_data& l) {
      return "\n       Level-" + std::to_string(l.level) + " has " + std::to_string(l.size) +
             " observations.";
    };
    throw error(
        "ERROR: The level structure is not evenly nested.\n"
        "       SIMULATE command requires equal group sizes." +
        line(*this) + line(upper));
  }
  upper.add_time(*this);
  return *this;
}

std::vector<sim_data> sim_data::combine(std::vector<sim_data> list) {
  if (list.empty()) throw error_debug("Cannot combine empy group of data.");
  std::sort(list.begin(), list.end(), [](const sim_data& a, const sim_data& b) { return a.level < b.level; });
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (list[i].level != i + 1) simulate::no_identifiers();
  }
  for (std::size_t i = 0; i + 1 < list.size(); ++i) list[i] += list[i + 1];
  list.back().add_time();
  for (sim_data& l : list) l.values = arma::regspace(1.0, static_cast<double>(l.size));
  return list;
}

}  // namespace tovik
