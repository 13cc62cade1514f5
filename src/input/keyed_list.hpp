#pragma once

#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace tovik {

/// Values under text keys, kept in the order in which the keys first came: the order reaches the results, so
/// it must not depend on a hash. Finding a key takes constant time.
template <class T>
class keyed_list {
 public:
  using entry = std::pair<std::string, T>;

  keyed_list() = default;
  explicit keyed_list(std::vector<entry> entries) : entries_(std::move(entries)) {
    for (std::size_t i = 0; i < entries_.size(); ++i) places_.emplace(entries_[i].first, i);
  }

  /// The value under `key`, made at the end of the list when there is none.
  T& operator[](const std::string& key) {
    const auto [at, is_new] = places_.emplace(key, entries_.size());
    if (is_new) entries_.emplace_back(key, T{});
    return entries_[at->second].second;
  }
  /// Null when there is none.
  T* find(const std::string& key) {
    const auto at = places_.find(key);
    return at == places_.end() ? nullptr : &entries_[at->second].second;
  }
  const T* find(const std::string& key) const {
    const auto at = places_.find(key);
    return at == places_.end() ? nullptr : &entries_[at->second].second;
  }

  auto begin() { return entries_.begin(); }
  auto end() { return entries_.end(); }
  auto begin() const { return entries_.begin(); }
  auto end() const { return entries_.end(); }
  bool empty() const { return entries_.empty(); }
  std::size_t size() const { return entries_.size(); }

 private:
  std::vector<entry> entries_;
  std::unordered_map<std::string, std::size_t> places_;
};

}  // namespace tovik
