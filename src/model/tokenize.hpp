#pragma once

#include <string>
#include <vector>

namespace tovik::model {

/// Rejoins tokens that were split on blanks inside parentheses, with one blank between the pieces:
/// {"(a", "+", "b)@c", "d"} becomes {"(a + b)@c", "d"}. Empty tokens are dropped.
///
/// Returns -1 on success. Otherwise the tokens are unchanged and the result is the position, in the text that
/// the tokens make when joined by single blanks, of the parenthesis that broke the balance: the first ")"
/// without its
/// "(", or else the last "(" that is never closed.
int tokenize(std::vector<std::string>& tokens);

}  // namespace tovik::model
