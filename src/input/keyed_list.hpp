#pragma once

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace tovik {

/// Values under text keys, kept in the order in which the keys first came: the order reaches the results, so
/// it must not depend on a hash.
template <class T>
class keyed_list {
 public:
  using entry = std::pair<std::string, T>;

  keyed_list() = default;
  explicit keyed_list(std::vector<entry> entries) : entries_(std::move(entries)) {}

  /// The value under `key`, made at the end of the list when there is none.
  T& operator[](const std::string& key) {
    if (T* value = find(key)) return *value;
    return entries_.emplace_back(key, T{}).second;
  }
  /// Null when there is none.
  T* find(const std::string& key) {
    const auto at = locate(key);
    return at == entries_.end() ? nullptr : &entries_[static_cast<std::size_t>(at - entries_.begin())].second;
  }
  const T* find(const std::string& key) const {
    const auto at = locate(key);
    return at == entries_.end() ? nullptr : &at->second;
  }

  auto begin() { return entries_.begin(); }
  auto end() { return entries_.end(); }
  auto begin() const { return entries_.begin(); }
  auto end() const { return entries_.end(); }
  bool empty() const { return entries_.empty(); }
  std::size_t size() const { return entries_.size(); }

 private:
  auto locate(const std::string& key) const {
    return std::find_if(entries_.begin(), entries_.end(), [&](const entry& e) { return e.first == key; });
  }

  std::vector<entry> entries_;
};

}  // namespace tovik
