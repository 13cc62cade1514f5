#pragma once

#include <string>
#include <vector>

namespace tovik::evaluate {

/// Substitution of names in a statement, in one pass from the left: `names` lists the occurrences in the
/// order in which they stand in the statement, duplicates included. A token that equals the current name
/// (ignoring letter case) is replaced and the next name becomes current; other tokens stay. The tokens are
/// then joined without blanks, so that a word operator survives only between parentheses. All forms throw
/// error_debug "Cannot parse evaluate string." when the lists differ in length.

/// Replacement prefix "(" index ")", with prefix CMD::DATA or CMD::VAR.
std::string generate_command(std::string statement, const std::vector<std::string>& names,
                             const std::vector<unsigned>& indices, const std::string& prefix);
/// The same for one name.
std::string generate_command(const std::string& statement, const std::string& name, const unsigned& index,
                             const std::string& prefix);
/// The same with a prefix per name.
std::string generate_command(std::string statement, const std::vector<std::string>& names,
                             const std::vector<unsigned>& indices, const std::vector<std::string>& prefixes);
/// Replacements given whole.
std::string generate_command(std::string statement, const std::vector<std::string>& names,
                             const std::vector<std::string>& replacements);

}  // namespace tovik::evaluate
