#pragma once

#include <string>
#include <vector>

namespace tovik::desk {

/// A file of share/ that is made out of the program's own tables: grammars of editors, completions of shells,
/// the manual page.
struct desk_file {
  std::string path;  ///< below share/
  std::string text;
};

/// An option of the command line, as --help tells it.
struct cli_option {
  std::vector<std::string> names;  ///< as "-s", "--seed"
  std::string value;               ///< what stands behind it, in capitals; empty for none
  std::string help;
};

/// The options of the text of --help. `usage`: a line of an option begins with two blanks and a dash; lines
/// with more blanks continue it.
std::vector<cli_option> options_of(const std::string& usage);

/// Of Visual Studio Code and other editors with TextMate grammars: JSON.
std::string textmate_grammar();
std::string vim_syntax();
/// Of KDE's editors: XML.
std::string kate_syntax();
std::string bash_completion();
std::string zsh_completion();
/// Section 1, for man(1).
std::string man_page();

std::vector<desk_file> desk_files();

}  // namespace tovik::desk
