#include "desk_files.hpp"

namespace tovik::desk {

std::vector<desk_file> desk_files() {
  return {{"tovik/editors/vscode/syntaxes/tovik.tmLanguage.json", textmate_grammar()},
          {"tovik/editors/vim/syntax/tovik.vim", vim_syntax()},
          {"tovik/editors/kate/tovik.xml", kate_syntax()},
          {"bash-completion/completions/tovik", bash_completion()},
          {"zsh/site-functions/_tovik", zsh_completion()},
          {"man/man1/tovik.1", man_page()}};
}

}  // namespace tovik::desk
