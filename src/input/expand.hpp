#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// Ranges of names: "x1:x3" stands for "x1 x2 x3", "x1:+:x3" for "x1+x2+x3".
///
/// The number that differs between the two ends varies; all other text must agree. "@", "$", "%" and "[" open
/// a suffix that every name keeps. Leading zeros belong to the text before the number, descending ranges
/// stand unchanged. At most 1000000 names come out of one call. All failures are tovik::error.
namespace tovik {

/// Replaces every element that holds the delimiter by its range, in place and in order.
void expand(std::vector<std::string>& names, char delimiter);

/// The same for names between blanks; returns them with single blanks between.
std::string expand(const std::string& text, char delimiter);

/// Expands the tokens of a statement with expressions. Text inside parentheses belongs to one token; a
/// statement with unbalanced parentheses comes back unchanged, for the reader of the statement to report.
std::string eval_expand(const std::string& text, char delimiter);

/// Expands the one range of a token of an expression and keeps what stands around it: "mean(x1:+:x3)@b"
/// becomes "mean(x1+x2+x3)@b".
void token_expand(std::string& token, char delimiter);

/// Where the decimal form of numbers[start] stands in the text. `numbers` are the values of all runs of
/// digits, the last run first, as parseUints gives them; leading zeros of a run lie before the position. npos
/// if there is no such run.
std::size_t rfind_vec(const std::string& text, const std::vector<std::int64_t>& numbers, std::size_t start);

}  // namespace tovik
