#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tovik {

/// A list for the report: the pieces, each preceded by a blank; broken before a piece that would bring the
/// line's list text past `width` characters, continuation lines indented by `indent` blanks.
std::string wrapped(const std::vector<std::string>& pieces, std::size_t indent, std::size_t width);

}  // namespace tovik
