#include "model/constraint.hpp"

#include "support/error.hpp"

namespace tovik::model {
namespace {

std::string side_text(const parameter& side) {
  return side.has_label() ? side.label() : side.valueStr();
}

}  // namespace

std::string constraint::string() const {
  return side_text(left) + " = " + side_text(right);
}

contrast constraint::compare() const {
  if (left.is_fixed() && right.is_fixed()) throw error_debug("Both Values - No contrast");
  contrast out;
  const auto add = [&](const parameter& side, int row, double sign) {
    if (side.is_fixed()) {
      if (row >= 0) throw error_debug("Value Set already.");
      out.constant = side.value();
      out.has_constant = true;
    } else if (row >= 0) {
      out.rows.emplace_back(static_cast<unsigned>(row), sign);
    } else {
      throw error_debug("A label of a constraint has no row.");
    }
  };
  // The number moves to the right: of "0.5 = a" as of "a = 0.5".
  add(left, left_row, 1.0);
  add(right, right_row, left.is_fixed() ? 1.0 : -1.0);
  return out;
}

}  // namespace tovik::model
