#pragma once

#include <string>
#include <vector>

namespace tovik {

// The words of the command language, out of the tables by which they are read, in alphabetical order: for
// grammars of editors and completions of shells.

/// Commands, without their colons, in capitals.
std::vector<std::string> command_words();
/// Of OPTIONS.
std::vector<std::string> option_words();
/// Of DEBUG.
std::vector<std::string> debug_words();
/// Of SAVE.
std::vector<std::string> save_words();
/// Of OUTPUT.
std::vector<std::string> output_words();

}  // namespace tovik
