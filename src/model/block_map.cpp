#include "model/block_map.hpp"

#include <algorithm>
#include <array>
#include <utility>

#include "support/error.hpp"

namespace tovik::block {
namespace {

/// The reserved names stand before the user's blocks, in this order; -1 is left out, since it marks a model
/// without a block.
const std::array<std::pair<std::string, int>, 6>& reserved() {
  static const std::array<std::pair<std::string, int>, 6> names = {{{predef::none, -6},
                                                                    {predef::hidden, -5},
                                                                    {predef::parameter, -4},
                                                                    {predef::computation, -3},
                                                                    {predef::imputation, -2},
                                                                    {predef::model, 0}}};
  return names;
}

}  // namespace

bool is_reserved(const std::string& name) {
  return std::any_of(reserved().begin(), reserved().end(),
                     [&](const auto& entry) { return entry.first == name; });
}

map::map() : numbers_(std::make_shared<std::unordered_map<std::string, int>>()) {
  for (const auto& [name, number] : reserved()) numbers_->emplace(name, number);
}

void map::insert(const std::string& name) {
  numbers_->emplace(name, static_cast<int>(numbers_->size() - reserved().size()) + 1);
}

bool map::contains(const std::string& name) const {
  return numbers_->count(name) > 0;
}

int map::number(const std::string& name) const {
  const auto found = numbers_->find(name);
  if (found == numbers_->end()) throw error_debug("Block doesn't exist!");
  return found->second;
}

}  // namespace tovik::block
