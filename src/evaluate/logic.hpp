#pragma once

#include <functional>

#include "evaluate/error.hpp"
#include "evaluate/operations.hpp"

namespace tovik::evaluate {

/// Calls `visit` with the test behind a logic operation, a function of two doubles that knows nothing of
/// missing values. Throws error_debug_parse for another operation.
template <class Visit>
auto visit_test(operations operation, const Visit& visit) {
  const auto both = [](double a, double b) { return a != 0.0 && b != 0.0; };
  const auto either = [](double a, double b) { return a != 0.0 || b != 0.0; };
  switch (operation) {
    case operations::equal:
      return visit(std::equal_to<double>());
    case operations::not_equal:
      return visit(std::not_equal_to<double>());
    case operations::less:
      return visit(std::less<double>());
    case operations::greater:
      return visit(std::greater<double>());
    case operations::greater_equal:
      return visit(std::greater_equal<double>());
    case operations::less_equal:
      return visit(std::less_equal<double>());
    case operations::logical_and:
      return visit(both);
    case operations::logical_or:
      return visit(either);
    default:
      throw error_debug_parse();
  }
}

}  // namespace tovik::evaluate
