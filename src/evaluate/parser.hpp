#pragma once

#include <memory>
#include <string>
#include <vector>

#include "evaluate/defines.hpp"
#include "evaluate/node.hpp"

namespace tovik::evaluate {

/// Limits of one expression. Evaluation, printing and destruction recurse over the tree, so its depth is
/// bounded where it is built; definitions that use each other twice grow by powers of two, so its size is as
/// well.
inline constexpr int max_depth = 1000;
inline constexpr int max_nodes = 200000;
/// Definitions inside definitions.
inline constexpr int max_definitions = 200;

/// The tokens of a text, empty ones included. A number with a signed exponent is not one token.
std::vector<std::string> parse(std::string text);

/// The non-empty pieces of a text between the characters of split_string, by which names are looked for in an
/// expression. A dash separates as a whole character: the bytes of other UTF-8 characters do not.
std::vector<std::string> split_names(const std::string& text);

/// Parses a text by operator precedence (Dijkstra's shunting-yard) with the names of a table; a new tree,
/// not simplified. Throws error_parse and its children with the whole expression; nothing is left half-built.
std::unique_ptr<node> ast(const std::string& text, const defines& names);

/// ast(), then node::optimize().
std::unique_ptr<node> opt_ast(const std::string& text, const defines& names);
/// The same without any names.
std::unique_ptr<node> opt_ast(const std::string& text);

}  // namespace tovik::evaluate
