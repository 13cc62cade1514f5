#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tovik {

/// Reads a real number that fills [first, last) wholly: optional sign, digits with an optional point,
/// optional exponent; "inf", "infinity" and "nan" in any case. False, with `value` unchanged, if the text is
/// no number. A number too large for a double is infinite, one too small is zero.
bool parse_real(const char* first, const char* last, double& value);

/// The number that fills the range, white space around it aside. Throws tovik::error "Not a numeric value = "
/// + text.
double toDouble(const char* first, const char* last);
double toDouble(std::string_view text);

/// True for a predefined constant of the expression language and for text that strtod reads wholly as
/// something other than +infinity. Empty text is no number.
bool isNumber(std::string_view text);

/// The value of the last run of decimal digits, -1 if there is none. A run beyond 18 digits counts as
/// 999999999999999999.
std::int64_t parseUint(std::string_view text);

/// The values of all runs of digits, the last run first.
std::vector<std::int64_t> parseUints(std::string_view text);

}  // namespace tovik
