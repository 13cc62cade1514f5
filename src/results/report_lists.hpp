#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

namespace tovik {

/// Characters of list text on a line.
constexpr std::size_t list_width = 50;

/// Prints "[1]  text" with the numbers right-aligned for `total` rows. Long texts are broken at blanks, the
/// lines below the first indented by 17.
void print_numbered(std::FILE* stream, std::size_t number, std::size_t total, const std::string& text);

/// A section of numbered rows: its title, the rows, a blank line. Prints nothing without rows.
void print_numbered_section(std::FILE* stream, const char* title, const std::vector<std::string>& rows);

}  // namespace tovik
