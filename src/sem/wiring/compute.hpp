#pragma once

#include <memory>
#include <utility>

#include "evaluate/node.hpp"

namespace tovik::sem::estimator {

/// An expression whose value is a column of a design: evaluated on the working matrix. Copies share the tree,
/// which belongs to one chain.
struct compute {
  evaluate::node* node = nullptr;
  std::shared_ptr<evaluate::node> owner;

  compute() = default;
  explicit compute(std::shared_ptr<evaluate::node> tree) : node(tree.get()), owner(std::move(tree)) {}
};

}  // namespace tovik::sem::estimator
