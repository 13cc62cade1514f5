#pragma once

#include <memory>
#include <utility>

#include "evaluate/node.hpp"

namespace tovik::evaluate {

/// A transformation in two trees, the side of the data and the side of the parameter.
class pair {
 public:
  std::unique_ptr<node> data_side;
  std::unique_ptr<node> parameter_side;
  bool flag = false;

  pair() = default;
  pair(std::unique_ptr<node> data, std::unique_ptr<node> parameter, bool set)
      : data_side(std::move(data)), parameter_side(std::move(parameter)), flag(set) {}
  /// An inline transformation: `forward` (whose one column must be #DATA(0)) as the side of the data and its
  /// inverse as the side of the parameter. Throws what node::inverse() throws.
  static pair transformation(std::unique_ptr<node> forward) {
    auto backward = forward->inverse();
    return pair(std::move(forward), std::move(backward), true);
  }
  pair(const pair& other)
      : data_side(other.data_side ? other.data_side->copy() : nullptr),
        parameter_side(other.parameter_side ? other.parameter_side->copy() : nullptr),
        flag(other.flag) {}
  pair(pair&& other) noexcept { swap(other); }
  pair& operator=(pair other) noexcept {
    swap(other);
    return *this;
  }

  void swap(pair& other) noexcept {
    std::swap(data_side, other.data_side);
    std::swap(parameter_side, other.parameter_side);
    std::swap(flag, other.flag);
  }
};

}  // namespace tovik::evaluate
