#include "evaluate/generate_command.hpp"

#include "evaluate/error.hpp"
#include "evaluate/parser.hpp"
#include "support/text.hpp"

namespace tovik::evaluate {

std::string generate_command(std::string statement, const std::vector<std::string>& names,
                             const std::vector<std::string>& replacements) {
  if (names.size() != replacements.size()) throw error_debug("Cannot parse evaluate string.");
  std::string out;
  std::size_t next = 0;
  for (const std::string& piece : parse(std::move(statement))) {
    const std::string token = trim(piece);  // a line feed or a tab may stand beside a blank
    if (next < names.size() && iequals(token, names[next])) {
      out += replacements[next++];
    } else {
      out += token;
    }
  }
  return trim(out);
}

std::string generate_command(std::string statement, const std::vector<std::string>& names,
                             const std::vector<unsigned>& indices, const std::vector<std::string>& prefixes) {
  if (names.size() != indices.size() || names.size() != prefixes.size()) {
    throw error_debug("Cannot parse evaluate string.");
  }
  std::vector<std::string> replacements;
  replacements.reserve(names.size());
  for (std::size_t i = 0; i < names.size(); ++i) {
    replacements.push_back(prefixes[i] + "(" + std::to_string(indices[i]) + ")");
  }
  return generate_command(std::move(statement), names, replacements);
}

std::string generate_command(std::string statement, const std::vector<std::string>& names,
                             const std::vector<unsigned>& indices, const std::string& prefix) {
  const std::vector<std::string> prefixes(names.size(), prefix);
  return generate_command(std::move(statement), names, indices, prefixes);
}

std::string generate_command(const std::string& statement, const std::string& name, const unsigned& index,
                             const std::string& prefix) {
  const std::vector<std::string> names = {name};
  const std::vector<unsigned> indices = {index};
  return generate_command(statement, names, indices, prefix);
}

}  // namespace tovik::evaluate
