#include "desk_files.hpp"
#include "support/text.hpp"

namespace tovik::desk {

std::vector<cli_option> options_of(const std::string& usage) {
  std::vector<cli_option> out;
  bool open = false;
  for (const std::string& line : split(usage, "\n", true)) {
    const std::size_t first = line.find_first_not_of(' ');
    if (first == std::string::npos || first < 2) {
      open = false;
      continue;
    }
    if (line[first] != '-') {
      if (open && first > 2) out.back().help += " " + trim(line);
      continue;
    }
    cli_option option;
    const std::size_t gap = line.find("  ", first);
    for (const std::string& word : words(replace_all(line.substr(first, gap - first), ",", " "))) {
      if (word.front() == '-')
        option.names.push_back(word);
      else
        option.value = word;
    }
    if (gap != std::string::npos) option.help = trim(line.substr(gap));
    out.push_back(std::move(option));
    open = true;
  }
  return out;
}

}  // namespace tovik::desk
