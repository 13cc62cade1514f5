#pragma once

#include <string>
#include <unordered_map>
#include <vector>

namespace tovik::evaluate {

/// Reserved constants of the expression language. They win over any defined name of the same spelling.
inline const std::unordered_map<std::string, double> co = {
    {"_pi", 3.141592653589793},
    {"_tau", 6.283185307179586},
};

/// Texts that the tokeniser isolates, in the order in which it does so (en dash U+2013, minus sign U+2212).
inline const std::vector<std::string> op_parsing = {
    "^",  "**", "*", "/", "+", "-", "\xE2\x80\x93", "\xE2\x80\x93", "\xE2\x88\x92", ",", "(", ")", "==", "!=",
    ">=", "<=", "<", ">", "{", "}"};

/// Characters (bytes, the dashes in UTF-8) at which a line splits into names when variables are looked for.
inline const std::string split_string = " ^*/+-\xE2\x80\x93\xE2\x80\x93\xE2\x88\x92,()=!><";

}  // namespace tovik::evaluate
