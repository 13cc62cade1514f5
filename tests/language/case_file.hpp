#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace tovik::tests {

/// One case of a file of cases; README.md beside this header tells how such a file is written.
struct case_text {
  std::string name;
  std::size_t line = 0;  ///< the line of its heading, from 1
  std::string commands;
  std::map<std::string, std::string>
      files;  ///< what the command file reads: its own and the file's shared ones
  std::vector<std::string> views;
  std::string expected;
};

/// The cases of a file, in their order; `path` names it in messages. Throws std::runtime_error, with the path
/// and the line, for a file that is not well formed.
std::vector<case_text> read_cases(const std::string& text, const std::string& path);

/// The same file with another expected text for the case `name`; every other byte stays. Throws
/// std::runtime_error as read_cases does, when there is no such case, and for an expected text whose last
/// line is not ended.
std::string with_expected(const std::string& text, const std::string& path, const std::string& name,
                          const std::string& expected);

}  // namespace tovik::tests
