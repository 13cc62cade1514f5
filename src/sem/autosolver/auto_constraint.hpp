#pragma once

#include <cmath>
#include <memory>
#include <utility>

#include "sem/autosolver/solver.hpp"
#include "sem/wiring/constraint.hpp"

namespace tovik::sem::estimator {

/// A shared parameter whose full conditional distribution is known: drawn from it in place of a walk.
template <class T>
class auto_constraint : public virtual constraint {
 public:
  /// Takes over the places of a parameter.
  auto_constraint(const constraint& places, std::shared_ptr<autosolver::solver<T>> solved)
      : constraint(places), solver(std::move(solved)) {}

  /// A value from the solver, to every place; the old one stays where the equations tell nothing.
  void draw(const arma::Mat<double>& data) override {
    const double drawn = solver->draw_scalar(data);
    if (!std::isnan(drawn)) write(drawn);
  }

  std::shared_ptr<autosolver::solver<T>> solver;
};

}  // namespace tovik::sem::estimator
