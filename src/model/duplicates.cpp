// Predictors that stand in an equation twice.

#include <algorithm>
#include <unordered_set>

#include "model/model.hpp"
#include "support/text.hpp"

namespace tovik {
namespace {

using model::anyVariable;
using model::combinationOfAnyVariable;
using model::term_column;

/// What two terms must share to be the same column. Derived columns are told by name: they get their places
/// when the data are prepared.
std::string identity(const anyVariable& term, const term_column& column) {
  const bool in_data = term.type == model::type::variable && column.column != data::variable::no_column;
  return in_data ? std::to_string(column.column) : "#" + to_lower(column.name);
}

/// The same for a computed term: its text without blanks, and the factors of a plain product in one order.
std::string identity(const combinationOfAnyVariable& term) {
  std::string text = to_lower(replace_all(term.statement, " ", ""));
  if (text.find_first_of("()+-/^,<>=!{}") != std::string::npos || text.find("**") != std::string::npos)
    return "=" + text;
  std::vector<std::string> factors = split(text, "*", false);
  std::sort(factors.begin(), factors.end());
  return "=" + join(factors, "*");
}

/// A variable in parentheses is that variable.
bool is_plain(const combinationOfAnyVariable& term) {
  return term.variables.size() == 1 && iequals(trim(term.statement), term.tokens.front());
}

/// Collects the names of the terms of which a column has been seen before.
class seen_columns {
 public:
  void add(const std::string& name, const std::vector<std::string>& columns) {
    bool twice = false;
    for (const std::string& column : columns) twice = !seen_.insert(column).second || twice;
    if (twice && std::find(names_.begin(), names_.end(), name) == names_.end()) names_.push_back(name);
  }
  void next_level() { seen_.clear(); }
  const std::vector<std::string>& names() const { return names_; }

 private:
  std::unordered_set<std::string> seen_;
  std::vector<std::string> names_;
};

std::vector<std::string> identities(const anyVariable& term, const std::vector<term_column>& columns) {
  std::vector<std::string> out;
  for (const term_column& column : columns) out.push_back(identity(term, column));
  return out;
}

}  // namespace

std::vector<std::string> Model::duplicateFixed() const {
  seen_columns seen;
  for (const anyVariable& term : fixed) seen.add(term.name(), identities(term, design(term)));
  for (const combinationOfAnyVariable& term : fixed_compute) {
    if (is_plain(term)) {
      seen.add(term.statement, identities(term.variables.front(), design(term.variables.front())));
    } else {
      seen.add(term.statement, {identity(term)});
    }
  }
  return seen.names();
}

std::vector<std::string> Model::duplicateRandom() const {
  seen_columns seen;
  for (std::int32_t c = levels - 1; c >= 0; --c) {
    const auto level = static_cast<unsigned>(c);
    seen.next_level();
    for (const anyVariable& term : random) seen.add(term.name(), identities(term, design(term, level)));
    for (const combinationOfAnyVariable& term : random_compute) {
      if (!isRE(term, level)) continue;
      if (is_plain(term)) {
        seen.add(term.statement, identities(term.variables.front(), design(term.variables.front(), level)));
      } else {
        seen.add(term.statement, {identity(term)});
      }
    }
  }
  return seen.names();
}

}  // namespace tovik
