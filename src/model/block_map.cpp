#include "model/block_map.hpp"

#include <algorithm>
#include <array>

#include "support/error.hpp"

namespace tovik::block {
namespace {

const std::array<std::string, 6>& reserved() {
  static const std::array<std::string, 6> names = {predef::none,        predef::hidden,     predef::parameter,
                                                   predef::computation, predef::imputation, predef::model};
  return names;
}

}  // namespace

bool is_reserved(const std::string& name) {
  return std::find(reserved().begin(), reserved().end(), name) != reserved().end();
}

map::map() : numbers_(std::make_shared<std::unordered_map<std::string, int>>()) {
  for (const std::string& name : reserved()) numbers_->emplace(name, 0);
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
