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
/// True if other equations read latent means of the variable, or its values less some.
bool has_means(const data::variable& v) {
  return !v.means.empty() || !v.centered_columns.empty();
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

/// The smallest running number that makes a name free, for each beginning of names: found by counting on from
/// the last one, so that thousands of names with one beginning take linear time.
class running_numbers {
 public:
  /// The first of beginning + 1, beginning + 2, ... that is not taken (without regard to letter case).
  std::string next(const std::string& beginning, const std::unordered_set<std::string>& taken) {
    std::uint64_t& k = next_.emplace(to_lower(beginning), 1).first->second;
    while (taken.count(to_lower(beginning) + std::to_string(k)) > 0) ++k;
    return beginning + std::to_string(k);
  }

  /// A name that is free again, in lower case, may be one that was counted as taken.
  void release(const std::string& name, std::size_t limit) {
    const std::string beginning = head(name, limit > 0 ? limit - 1 : 0);
    const auto at = next_.find(beginning);
    if (at == next_.end()) return;
    const std::string rest = name.substr(beginning.size());
    const std::int64_t k = parseUint(rest);
    if (k > 0 && rest == std::to_string(k)) at->second = std::min<std::uint64_t>(at->second, k);
  }

 private:
  std::unordered_map<std::string, std::uint64_t> next_;
};

}  // namespace

void VariableList::index() {
  if (indexed_ > variables.size()) forget_index();
  for (; indexed_ < variables.size(); ++indexed_) {
    full_names_.emplace(to_lower(variables[indexed_]->fullName), indexed_);
    shown_names_.emplace(to_lower(variables[indexed_]->name), indexed_);
  }
}

void VariableList::forget_index() {
  full_names_.clear();
  shown_names_.clear();
  indexed_ = 0;
}

variable_ptr VariableList::find(std::string_view name) const {
  const std::string lower = to_lower(std::string(name));
  const auto full = full_names_.find(lower);
  if (full != full_names_.end() && full->second < variables.size() &&
      iequals(variables[full->second]->fullName, name))
    return variables[full->second];
  // Full names never change, so only those that the index has not seen are left.
  for (std::size_t k = std::min(indexed_, variables.size()); k < variables.size(); ++k)
    if (iequals(variables[k]->fullName, name)) return variables[k];
  const auto shown = shown_names_.find(lower);
  if (shown != shown_names_.end() && shown->second < variables.size() &&
      iequals(variables[shown->second]->name, name))
    return variables[shown->second];
  for (std::size_t k = std::min(indexed_, variables.size()); k < variables.size(); ++k)
    if (iequals(variables[k]->name, name)) return variables[k];
  return nullptr;
}

std::vector<variable_ptr> VariableList::subset(data::type kind) const {
  return select(variables, [&](const auto& v) { return v->type == kind; });
}

std::vector<variable_ptr> VariableList::subset(data::usage role) const {
  return select(variables, [&](const auto& v) { return v->usage() == role; });
}

std::vector<variable_ptr> VariableList::weights() const {
  return subset(data::type::weight);
}

std::vector<variable_ptr> VariableList::modelvars() const {
  return select(variables,
                [](const auto& v) { return is_data_column(*v) && (is_outcome(*v) || is_covariate(*v)); });
}

std::vector<variable_ptr> VariableList::outcomeWithMeans() const {
  return select(variables,
                [](const auto& v) { return is_data_column(*v) && is_outcome(*v) && has_means(*v); });
}

std::vector<variable_ptr> VariableList::covarAndOutMeans() const {
  return select(variables, [](const auto& v) {
    return is_data_column(*v) && (is_covariate(*v) || (is_outcome(*v) && has_means(*v)));
  });
}

std::vector<std::string> VariableList::variableNames() const {
  std::vector<std::string> out;
  out.reserve(variables.size());
  for (const auto& v : variables) out.push_back(v->name);
  return out;
}

variable_ptr VariableList::add_phantom(const std::string& name) {
  variables.push_back(
      std::make_shared<data::variable>(name, data::type::phantom, data::variable::no_column, 0u));
  index();
  return variables.back();
}

void VariableList::order_clusters() {
  clusters = subset(data::type::id);
  std::stable_sort(clusters.begin(), clusters.end(),
                   [](const auto& a, const auto& b) { return a->level > b->level; });
}

std::string VariableList::truncateNames() {
  std::unordered_set<std::string> taken;
  for (const auto& v : variables) taken.insert(to_lower(v->name));

  std::string report;
  const std::size_t limit = truncate;
  running_numbers numbers;
  const auto free_name = [&](const std::string& name) {
    taken.erase(to_lower(name));
    numbers.release(to_lower(name), limit);
  };
  for (const auto& v : variables) {
    // Dummy codes are renamed with their parents; a random effect's name cannot change.
    if (v->type == data::type::dummy || v->type == data::type::random_effect) continue;
    if (v->name.size() <= limit) continue;

    std::string shown = first_candidate(v->name, limit);
    if (taken.count(to_lower(shown)) > 0)
      shown = numbers.next(head(v->name, limit > 0 ? limit - 1 : 0), taken);

    report += "\n           " + v->fullName + " -> " + shown;
    free_name(v->name);
    for (const auto& code : v->dummies) free_name(code->name);
    v->rename(shown);
    renames[v->fullName] = shown;
    taken.insert(to_lower(shown));
    for (const auto& code : v->dummies) {
      renames[code->fullName] = code->name;
      taken.insert(to_lower(code->name));
    }
  }
  forget_index();  // the shown names are new
  index();
  return report;
}

}  // namespace tovik
