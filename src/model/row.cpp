#include "model/row.hpp"

namespace tovik::model {
namespace {

const char* tag(row_section section) {
  switch (section) {
    case row_section::variance:
      return "Variance : ";
    case row_section::fixed:
      return "   Fixed : ";
    case row_section::threshold:
      return "Threshold: ";
    case row_section::transform:
      return "Transform: ";
    case row_section::share:
      return "R2: ";
    case row_section::standardized:
      break;
  }
  return "";
}

}  // namespace

bool is_parameter(row_section section) {
  return section != row_section::standardized && section != row_section::share;
}

std::string row::text() const {
  std::string out = outcome.empty() ? "" : outcome + " : ";
  if (level > 0) {
    const std::string number = std::to_string(level);
    out += section == row_section::share ? "Level-" + number + " " : "L" + number + " : ";
  }
  return out + label;
}

std::string row::tagged() const {
  return tag(section) + text();
}

}  // namespace tovik::model
