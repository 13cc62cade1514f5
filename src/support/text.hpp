#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// Small text helpers shared by all floors.
namespace tovik {

std::string to_lower(std::string text);
std::string to_upper(std::string text);
std::string trim(std::string_view text);

/// Equality without regard to letter case (ASCII).
bool iequals(std::string_view a, std::string_view b);

/// True when `text` ends with `end` and holds more than it, without regard to letter case.
bool iends_with(std::string_view text, std::string_view end);

/// True when `name` is in `list`, without regard to letter case.
bool in(const std::vector<std::string>& list, std::string_view name);

/// The pieces of `text` between characters of `separators`. With `compress`, adjacent separators count as one
/// (as boost::token_compress_on does: empty pieces remain only at the two ends).
std::vector<std::string> split(std::string_view text, std::string_view separators, bool compress);

/// The non-empty pieces of `text` between white space.
std::vector<std::string> words(std::string_view text);

std::string join(const std::vector<std::string>& pieces, std::string_view separator);
std::string replace_all(std::string text, std::string_view from, std::string_view to);

/// printf into a string; the format is checked at compile time.
std::string format(const char* fmt, ...) __attribute__((format(printf, 1, 2)));

/// Decimal digits with white space around them, in unsigned 32-bit range.
/// Throws tovik::error "Not a positive integer = " + text.
std::uint32_t toUint(std::string_view text);

/// Order of names: runs of digits compare as numbers, other text bytewise, shorter first; "y2" before "y10".
bool natural_less(std::string_view a, std::string_view b);

}  // namespace tovik
