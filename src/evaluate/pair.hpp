#pragma once

#include <memory>
#include <utility>

#include "evaluate/node.hpp"

namespace tovik::evaluate {

/// A transformation in two trees, the side of the data and the side of the parameter, both owned.
class pair {
 public:
  node* data_side = nullptr;
  node* parameter_side = nullptr;
  bool flag = false;

  pair() = default;
  /// Takes ownership of both trees.
  pair(node* data, node* parameter, bool set) : data_side(data), parameter_side(parameter), flag(set) {}
  /// An inline transformation: takes `forward` (whose one column must be #DATA(0)) as the side of the data
  /// and its inverse as the side of the parameter. Throws what node::inverse() throws.
  static pair transformation(std::unique_ptr<node> forward) {
    std::unique_ptr<node> backward(forward->inverse());
    return pair(forward.release(), backward.release(), true);
  }
  pair(const pair& other) : flag(other.flag) {
    std::unique_ptr<node> data(other.data_side ? other.data_side->copy() : nullptr);
    parameter_side = other.parameter_side ? other.parameter_side->copy() : nullptr;
    data_side = data.release();
  }
  pair(pair&& other) noexcept { swap(other); }
  pair& operator=(pair other) noexcept {
    swap(other);
    return *this;
  }
  ~pair() {
    delete data_side;
    delete parameter_side;
  }

  void swap(pair& other) noexcept {
    std::swap(data_side, other.data_side);
    std::swap(parameter_side, other.parameter_side);
    std::swap(flag, other.flag);
  }
};

}  // namespace tovik::evaluate
