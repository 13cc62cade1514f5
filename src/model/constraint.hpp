#pragma once

#include <string>

#include "model/contrast.hpp"
#include "model/parameter.hpp"

namespace tovik::model {

/// An equality "left = right" of a Wald test. Each side is a label, with the row of the estimates where it
/// stands, or a number.
struct constraint {
  parameter left;
  parameter right;
  int left_row = -1;  ///< -1 for a number
  int right_row = -1;
  std::string statement;  ///< as it was written; it may hold several equalities

  /// "a2 = 0". Throws tovik::error "Value was never fixed." for a side that is neither label nor number.
  std::string string() const;
  /// The sides as a contrast: row and value, or the difference of two rows. Throws tovik::error_debug for two
  /// values, and for a side that has both a row and a value.
  contrast compare() const;
};

}  // namespace tovik::model
