#include "model/parameter.hpp"

#include <cmath>
#include <cstdlib>

#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik::model {

std::string number_text(double value) {
  constexpr double largest_exact = 9007199254740992.0;  // 2^53: integers up to here have their own double
  if (std::abs(value) <= largest_exact && value == std::floor(value)) return format("%.0f", value + 0.0);
  return format("%f", value);
}

std::string exact_text(double value) {
  std::string text = number_text(value);
  for (int digits = 7; digits <= 17 && std::strtod(text.c_str(), nullptr) != value; ++digits)
    text = format("%.*g", digits, value);
  return text;
}

parameter parameter::fixed_at(double value) {
  parameter p;
  p.value_ = value;
  p.start_ = value;
  p.is_free_ = false;
  p.is_unfixed_ = false;
  return p;
}

parameter parameter::labelled(const std::string& label) {
  parameter p;
  p.label_ = label;
  p.is_free_ = false;
  p.has_label_ = true;
  return p;
}

double parameter::value() const {
  if (!is_fixed()) throw error("Value was never fixed.");
  return value_;
}

std::string parameter::valueStr() const {
  return number_text(value());
}

void parameter::set_start(double start) {
  if (is_fixed()) return;
  start_ = start;
  has_start_ = true;
}

std::string parameter::name() const {
  if (has_label_) return "@" + label_;
  return is_fixed() ? "@" + valueStr() : "";
}

std::string parameter::text() const {
  const std::string tie = is_fixed() ? "@" + exact_text(value_) : name();
  return has_start_ ? tie + "%" + exact_text(start_) : tie;
}

bool operator==(const parameter& a, const parameter& b) {
  if (a.is_fixed()) return b.is_fixed() && a.value() == b.value();
  return a.has_label() && b.has_label() && iequals(a.label(), b.label());
}

bool operator<(const parameter& a, const parameter& b) {
  return natural_less(to_lower(a.label()), to_lower(b.label()));
}

}  // namespace tovik::model
