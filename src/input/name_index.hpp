#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "support/text.hpp"

namespace tovik {

/// Where names stand in a list, without regard to letter case; the first of equal names counts.
class name_index {
 public:
  static constexpr std::size_t none = static_cast<std::size_t>(-1);

  name_index() = default;
  explicit name_index(const std::vector<std::string>& names) {
    for (std::size_t k = 0; k < names.size(); ++k) add(names[k], k);
  }

  void add(std::string_view name, std::size_t position) {
    positions_.emplace(to_lower(std::string(name)), position);
  }
  /// The position of the name, or none.
  std::size_t find(std::string_view name) const {
    const auto at = positions_.find(to_lower(std::string(name)));
    return at == positions_.end() ? none : at->second;
  }
  bool has(std::string_view name) const { return find(name) != none; }

 private:
  std::unordered_map<std::string, std::size_t> positions_;
};

}  // namespace tovik
