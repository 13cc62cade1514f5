#include "app/usage.hpp"
#include "desk_files.hpp"
#include "support/text.hpp"

namespace tovik::desk {

namespace {

bool is_path(const cli_option& option) {
  return option.value == "PATH" || option.value == "FOLDER";
}

/// Within single quotes of a shell, and without what _arguments of zsh reads.
std::string plain(const std::string& text) {
  std::string out = replace_all(text, "'", "");
  for (const char* special : {"[", "]", ":"}) out = replace_all(out, special, "");
  return out;
}

}  // namespace

std::string bash_completion() {
  std::vector<std::string> all, of_paths, of_values;
  for (const cli_option& option : options_of(usage)) {
    for (const std::string& name : option.names) {
      all.push_back(name);
      if (is_path(option)) of_paths.push_back(name);
      if (!option.value.empty() && !is_path(option)) of_values.push_back(name);
    }
  }
  return "# Completion of tovik for bash, made from the text of tovik --help.\n"
         "_tovik() {\n"
         "  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]}\n"
         "  case $before in\n"
         "    " +
         join(of_paths, "|") +
         ") COMPREPLY=($(compgen -f -- \"$word\")); return ;;\n"
         "    " +
         join(of_values, "|") +
         ") return ;;\n"
         "  esac\n"
         "  if [[ $word == -* ]]; then\n"
         "    COMPREPLY=($(compgen -W '" +
         join(all, " ") +
         "' -- \"$word\"))\n"
         "  else\n"
         "    COMPREPLY=($(compgen -d -S / -- \"$word\") $(compgen -f -X '!*.tovik' -- \"$word\"))\n"
         "  fi\n"
         "}\n"
         "complete -o filenames -F _tovik tovik\n";
}

std::string zsh_completion() {
  std::string out = "#compdef tovik\n# Made from the text of tovik --help.\n_arguments \\\n";
  for (const cli_option& option : options_of(usage)) {
    for (const std::string& name : option.names) {
      out += "  '" + name + "[" + plain(option.help) + "]";
      if (is_path(option))
        out += ":path:_files";
      else if (!option.value.empty())
        out += ":" + to_lower(option.value) + ":";
      out += "' \\\n";
    }
  }
  return out + "  '1:command file:_files -g \"*.tovik\"'\n";
}

}  // namespace tovik::desk
