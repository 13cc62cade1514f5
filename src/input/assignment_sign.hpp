#pragma once

#include <cstddef>
#include <string>

/// Finding the "=" of a statement "name = expression" among the comparisons of the expression.
namespace tovik {

/// Puts the "=" of a comparison right behind its first character: "x < = 1" becomes "x <= 1".
std::string mend_comparisons(const std::string& text);

/// The position of the first "=" that belongs to no comparison, npos when there is none. Comparisons are
/// mended.
std::size_t assignment_sign(const std::string& text);

}  // namespace tovik
