#pragma once

#include <string>

#include "evaluate/node.hpp"

namespace tovik::evaluate {

/// A parameter cell: it stands where a node is read, and holds its own number or reads live storage.
class value : public virtual node {
 public:
  double number = 0.0;
  /// Live storage of the parameter; not owned. It must not move while it is bound.
  double* external = nullptr;

  value() = default;
  explicit value(double start) : number(start) {}

  using node::eval;
  double eval() const override { return external ? *external : number; }
  double* get() override { return external ? external : &number; }
  /// Printed as a literal is.
  std::string name() const override;
  void set(double* address) override { external = address; }
};

}  // namespace tovik::evaluate
