#include "data/variable_list.hpp"

#include <algorithm>
#include <unordered_set>

#include "data/numbers.hpp"
#include "support/text.hpp"

namespace tovik {

std::uint64_t VariableList::truncate = 9;

namespace {

using variable_ptr = VariableList::variable_ptr;

template <typename Test>
std::vector<variable_ptr> select(const std::vector<variable_ptr>& from, Test test) {
  std::vector<variable_ptr> out;
  std::copy_if(from.begin(), from.end(), std::back_inserter(out), test);
  return out;
}

/// A column of the data file that a model can have as outcome or predictor.
bool is_data_column(const data::variable& v) {
  return v.type == data::type::continuous || v.type == data::type::ordinal || v.type == data::type::count ||
         v.type == data::type::nominal;
}

bool is_outcome(const data::variable& v) {
  return v.usage() == data::usage::outcome;
}
bool is_covariate(const data::variable& v) {
  return v.usage() == data::usage::covariate;
}

/// At most `bytes` bytes of the text, cut between UTF-8 characters.
std::string head(const std::string& text, std::size_t bytes) {
  if (text.size() <= bytes) return text;
  const auto continues = [&](std::size_t at) {
    return (static_cast<unsigned char>(text[at]) & 0xC0u) == 0x80u;
  };
  std::size_t end = bytes;
  while (end > 0 && continues(end)) --end;
  return text.substr(0, end);
}

/// The first shortened form to try: the head of the name, ending in its last number where that number would
/// be lost and fits.
std::string first_candidate(const std::string& name, std::size_t limit) {
  std::size_t end = name.size();
  const auto digit = [&](std::size_t at) { return name[at] >= '0' && name[at] <= '9'; };
  while (end > 0 && !digit(end - 1)) --end;
  std::size_t begin = end;
  while (begin > 0 && digit(begin - 1)) --begin;
  const std::size_t digits = end - begin;
  const bool lost = end > limit;
  if (digits > 0 && lost && parseUint(name) > 0 && digits + 1 < limit)
    return head(name, limit - digits) + name.substr(begin, digits);
  return head(name, limit);
}

}  // namespace

variable_ptr VariableList::find(std::string_view name) const {
  for (auto const& v : variables)
    if (iequals(v->fullName, name)) return v;
  for (auto const& v : variables)
    if (iequals(v->name, name)) return v;
  return nullptr;
}

std::vector<variable_ptr> VariableList::subset(data::type kind) const {
  return select(variables, [&](auto const& v) { return v->type == kind; });
}

std::vector<variable_ptr> VariableList::subset(data::usage role) const {
  return select(variables, [&](auto const& v) { return v->usage() == role; });
}

std::vector<variable_ptr> VariableList::weights() const {
  return subset(data::type::weight);
}

std::vector<variable_ptr> VariableList::modelvars() const {
  return select(variables,
                [](auto const& v) { return is_data_column(*v) && (is_outcome(*v) || is_covariate(*v)); });
}

std::vector<variable_ptr> VariableList::outcomeWithMeans() const {
  return select(variables,
                [](auto const& v) { return is_data_column(*v) && is_outcome(*v) && !v->means.empty(); });
}

std::vector<variable_ptr> VariableList::covarAndOutMeans() const {
  return select(variables, [](auto const& v) {
    return is_data_column(*v) && (is_covariate(*v) || (is_outcome(*v) && !v->means.empty()));
  });
}

std::vector<std::string> VariableList::variableNames() const {
  std::vector<std::string> out;
  out.reserve(variables.size());
  for (auto const& v : variables) out.push_back(v->name);
  return out;
}

variable_ptr VariableList::add_phantom(std::string const& name) {
  variables.push_back(std::make_shared<data::variable>(name, data::type::phantom, 0, 0));
  return variables.back();
}

void VariableList::order_clusters() {
  clusters = subset(data::type::id);
  std::stable_sort(clusters.begin(), clusters.end(),
                   [](auto const& a, auto const& b) { return a->level > b->level; });
}

std::string VariableList::truncateNames() {
  std::unordered_set<std::string> taken;
  for (auto const& v : variables) taken.insert(to_lower(v->name));

  std::string report;
  const std::size_t limit = truncate;
  for (auto const& v : variables) {
    // Dummy codes are renamed with their parents; a random effect's name cannot change.
    if (v->type == data::type::dummy || v->type == data::type::random_effect) continue;
    if (v->name.size() <= limit) continue;

    std::string shown = first_candidate(v->name, limit);
    for (std::uint64_t k = 1; taken.count(to_lower(shown)) > 0; ++k)
      shown = head(v->name, limit > 0 ? limit - 1 : 0) + std::to_string(k);

    report += "\n           " + v->fullName + " -> " + shown;
    taken.erase(to_lower(v->name));
    for (auto const& code : v->dummies) taken.erase(to_lower(code->name));
    v->rename(shown);
    renames[v->fullName] = shown;
    taken.insert(to_lower(shown));
    for (auto const& code : v->dummies) {
      renames[code->fullName] = code->name;
      taken.insert(to_lower(code->name));
    }
  }
  return report;
}

}  // namespace tovik
