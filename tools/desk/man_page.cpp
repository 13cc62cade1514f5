#include "app/usage.hpp"
#include "desk_files.hpp"
#include "input/language_words.hpp"
#include "support/text.hpp"

namespace tovik::desk {

namespace {

/// Text of a manual page: a dash is typed as one, and no line begins with a request.
std::string roff(const std::string& text) {
  const std::string out = replace_all(replace_all(text, "\\", "\\e"), "-", "\\-");
  return !out.empty() && (out.front() == '.' || out.front() == '\'') ? "\\&" + out : out;
}

std::string option_text(const cli_option& option) {
  std::string names;
  for (const std::string& name : option.names) names += (names.empty() ? "" : ", ") + name;
  return ".TP\n.B " + roff(names) + (option.value.empty() ? "" : "\n.I " + option.value) + "\n" +
         roff(option.help) + "\n";
}

}  // namespace

std::string man_page() {
  std::string options;
  for (const cli_option& option : options_of(usage)) options += option_text(option);
  return ".\\\" Made from the text of tovik --help.\n"
         ".TH TOVIK 1 \"\" \"Tovik\" \"User Commands\"\n"
         ".SH NAME\n"
         "tovik \\- Bayesian estimation and multiple imputation with incomplete multilevel data\n"
         ".SH SYNOPSIS\n"
         ".B tovik\n.I command\\-file\n[\n.I option value\n\\&...]\n.br\n"
         ".B tovik\n\\-\\-help | \\-\\-version | \\-\\-changelog\n"
         ".SH DESCRIPTION\n"
         "Reads a command file, fits its equations to incomplete single\\-level, two\\-level or "
         "three\\-level data by\n"
         "Markov chain Monte Carlo, prints a report on standard output, and saves imputed data sets, draws "
         "and tables\n"
         "where the command file says so. Relative paths of the command file are relative to its folder.\n"
         ".SH OPTIONS\n"
         "They win over the command file.\n" +
         options +
         ".SH COMMANDS\n"
         "The words of the command language:\n" +
         roff(join(command_words(), " ")) +
         ".\n"
         ".SH EXIT STATUS\n"
         "0 for a completed run, 1 after an error, 2 for a wrong option, 130 or 143 for a run that SIGINT or "
         "SIGTERM\n"
         "has cut short.\n"
         ".SH SEE ALSO\n"
         "The pages in the documentation folder: getting\\-started.md, language.md, imputation.md.\n";
}

}  // namespace tovik::desk
