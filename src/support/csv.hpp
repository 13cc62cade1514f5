#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tovik {

/// A cell of comma-separated text (RFC 4180): in quotes where it holds a comma, a quote or an end of line.
std::string csv_cell(std::string_view text);

/// The cells of a line without its end; quotes are taken off.
std::vector<std::string> csv_cells(std::string_view line);

/// Appends a number: the fewest digits that read as the same number again, or `digits` significant ones.
/// "NaN", "Inf" and "-Inf" for what is no number.
void append_number(std::string& line, double value);
void append_number(std::string& line, double value, int digits);

}  // namespace tovik
