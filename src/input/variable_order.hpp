#pragma once

#include <string>
#include <vector>

namespace tovik {

/// The lines that tell where a data set goes and in which order its variables stand.
std::string variable_order(const std::string& key, const std::string& path,
                           const std::vector<std::string>& names);

/// Prints to standard output, and to the report when that is another stream.
void print_everywhere(const std::string& text);

}  // namespace tovik
