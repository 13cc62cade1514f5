#pragma once

#include <string>

#include "support/error.hpp"

namespace tovik::tests {

/// The text of the internal fault that `act` raises; "" for none.
template <typename Act>
std::string message(Act act) {
  try {
    act();
  } catch (const error_debug& e) {
    return e.what();
  }
  return "";
}

}  // namespace tovik::tests
