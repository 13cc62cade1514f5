#include "desk_files.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "app/usage.hpp"
#include "evaluate/operations.hpp"
#include "input/commands.hpp"
#include "input/language_words.hpp"

namespace tovik::tests::desk_files_test {

namespace fs = std::filesystem;

const fs::path share = fs::path(TOVIK_SOURCE_DIR) / "share";

std::string content(const fs::path& path) {
  std::ifstream in(path);
  return {std::istreambuf_iterator<char>(in), {}};
}

bool holds(const std::vector<std::string>& words, const std::string& word) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

TEST(DeskFiles, AreThoseThatTheTablesMake) {
  for (const desk::desk_file& file : desk::desk_files())
    EXPECT_EQ(content(share / file.path), file.text) << "share/" << file.path << ": run make desk";
}

TEST(DeskFiles, WordsAreThoseThatTheParserReads) {
  const std::vector<std::string> commands = command_words();
  EXPECT_TRUE(holds(commands, "MODEL"));
  EXPECT_TRUE(holds(commands, "NITER"));
  for (const std::string& word : commands) EXPECT_NE(parseTovikCommand(word + ":"), 0) << word;
  EXPECT_TRUE(holds(option_words(), "prior1"));
  EXPECT_TRUE(holds(option_words(), "xprior3"));
  EXPECT_TRUE(holds(debug_words(), "no_sort"));
  EXPECT_TRUE(holds(save_words(), "stacked0"));
  EXPECT_TRUE(holds(output_words(), "default_mean"));
  const std::vector<std::string> functions = evaluate::function_words();
  EXPECT_TRUE(holds(functions, "ifelse"));
  EXPECT_FALSE(holds(functions, "and"));
  EXPECT_FALSE(holds(functions, "+"));
}

TEST(DeskFiles, OptionsAreReadFromTheHelp) {
  const auto options = desk::options_of(
      "Usage: tovik\n\nOptions:\n  -s, --seed NUMBER     the seed\n  --quiet               no line:\n"
      "                        none at all\n\nIn the place:\n  -h, --help            this text\n");
  ASSERT_EQ(options.size(), 3u);
  EXPECT_EQ(options[0].names, (std::vector<std::string>{"-s", "--seed"}));
  EXPECT_EQ(options[0].value, "NUMBER");
  EXPECT_EQ(options[0].help, "the seed");
  EXPECT_EQ(options[1].names, std::vector<std::string>{"--quiet"});
  EXPECT_EQ(options[1].value, "");
  EXPECT_EQ(options[1].help, "no line: none at all");
  EXPECT_EQ(options[2].names.back(), "--help");
}

TEST(DeskFiles, EveryOptionOfTheHelpIsCompleted) {
  const auto options = desk::options_of(usage);
  EXPECT_GT(options.size(), 15u);
  const std::string bash = desk::bash_completion(), zsh = desk::zsh_completion(), man = desk::man_page();
  for (const desk::cli_option& option : options) {
    for (const std::string& name : option.names) {
      EXPECT_NE(bash.find(name), std::string::npos) << name;
      EXPECT_NE(zsh.find("'" + name + "["), std::string::npos) << name;
    }
    EXPECT_FALSE(option.help.empty()) << option.names.front();
  }
  EXPECT_NE(man.find("\\-\\-seed"), std::string::npos);
}

TEST(DeskFiles, BashReadsItsCompletion) {
  const std::string file = (share / "bash-completion" / "completions" / "tovik").string();
  const std::string script = "bash -c 'source \"" + file +
                             "\" && COMP_WORDS=(tovik --se) && COMP_CWORD=1 && _tovik && "
                             "[[ \" ${COMPREPLY[*]} \" == *\" --seed \"* ]]'";
  EXPECT_EQ(std::system(script.c_str()), 0);
}

}  // namespace tovik::tests::desk_files_test
