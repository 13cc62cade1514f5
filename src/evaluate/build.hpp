#pragma once

#include <memory>
#include <string>
#include <utility>

#include "evaluate/node.hpp"

/// Nodes made of owned operands: the constructors of node take raw pointers and leave them to the caller when
/// they throw.
namespace tovik::evaluate {

inline std::unique_ptr<node> make_literal(double value) {
  return std::unique_ptr<node>(node::literal(value));
}

/// A binary node.
inline std::unique_ptr<node> make_node(const std::string& token, std::unique_ptr<node> left,
                                       std::unique_ptr<node> right) {
  auto made = std::make_unique<node>(token, left.get(), right.get());
  left.release();
  right.release();
  return made;
}

/// A function node.
inline std::unique_ptr<node> make_node(const std::string& token, std::unique_ptr<node> argument) {
  auto made = std::make_unique<node>(token, argument.get());
  argument.release();
  return made;
}

inline std::unique_ptr<node> make_copy(const node* original) {
  return std::unique_ptr<node>(original->copy());
}

}  // namespace tovik::evaluate
