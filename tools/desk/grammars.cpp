// Highlighting of command files: the same words and the same few rules for three families of editors. A
// comment runs from # to the end of its line; a command is a word with a colon; letter case does not matter.

#include <algorithm>

#include "desk_files.hpp"
#include "evaluate/operations.hpp"
#include "input/language_words.hpp"
#include "support/text.hpp"

namespace tovik::desk {

namespace {

constexpr const char* made = "made from the tables of the program: edit those, then run make desk";

/// Words that stand behind OPTIONS, DEBUG, SAVE and OUTPUT.
std::vector<std::string> keywords() {
  std::vector<std::string> out = option_words();
  for (const auto& list : {debug_words(), save_words(), output_words()})
    for (const std::string& word : list) out.push_back(word);
  std::sort(out.begin(), out.end());
  out.erase(std::unique(out.begin(), out.end()), out.end());
  return out;
}

std::string alternatives(const std::vector<std::string>& words) {
  // Longer words first, so that none hides behind its own beginning.
  std::vector<std::string> sorted = words;
  std::stable_sort(sorted.begin(), sorted.end(),
                   [](const auto& a, const auto& b) { return a.size() > b.size(); });
  return join(sorted, "|");
}

std::string rule(const std::string& name, const std::string& match, bool last = false) {
  return "    { \"name\": \"" + name + "\", \"match\": \"" + match + "\" }" + (last ? "\n" : ",\n");
}

}  // namespace

std::string textmate_grammar() {
  const std::string begin = "(?i)(?<![\\\\w.])", end = "(?![\\\\w.])";
  return "{\n  \"comment\": \"" + std::string(made) +
         "\",\n"
         "  \"name\": \"Tovik\",\n  \"scopeName\": \"source.tovik\",\n  \"fileTypes\": [\"tovik\"],\n"
         "  \"patterns\": [\n" +
         rule("comment.line.number-sign.tovik", "#.*$") +
         rule("keyword.control.tovik", begin + "(" + alternatives(command_words()) + "):") +
         rule("support.function.tovik",
              begin + "(" + alternatives(evaluate::function_words()) + ")(?=\\\\s*\\\\()") +
         rule("support.constant.tovik", begin + "(" + alternatives(keywords()) + ")" + end) +
         rule("entity.other.attribute-name.tovik", "@[A-Za-z_][\\\\w.]*") +
         rule("constant.numeric.tovik",
              "(?<![\\\\w.])([0-9]+\\\\.?[0-9]*|\\\\.[0-9]+)([eE][-+]?[0-9]+)?(?![\\\\w.])") +
         rule("keyword.operator.tovik", "<->|->|~~|~|\\\\||=|<|>") +
         rule("string.quoted.tovik", "\\\"[^\\\"]*\\\"|'[^']*'", true) + "  ]\n}\n";
}

std::string vim_syntax() {
  return "\" Vim syntax of Tovik command files, " + std::string(made) +
         ".\n"
         "if exists('b:current_syntax')\n  finish\nendif\n"
         "syntax case ignore\n"
         "syntax iskeyword @,48-57,_,192-255,.\n"
         "syntax match tovikComment \"#.*$\"\n"
         "syntax match tovikCommand \"\\<\\(" +
         join(command_words(), "\\|") +
         "\\):\"\n"
         "syntax match tovikFunction \"\\<\\(" +
         join(evaluate::function_words(), "\\|") +
         "\\)\\ze\\s*(\"\n"
         "syntax keyword tovikOption " +
         join(keywords(), " ") +
         "\n"
         "syntax match tovikNumber \"\\<\\d\\+\\(\\.\\d*\\)\\=\\(e[-+]\\=\\d\\+\\)\\=\\>\"\n"
         "syntax match tovikLabel \"@\\h[0-9A-Za-z_.]*\"\n"
         "syntax match tovikOperator \"<->\\|->\\|\\~\\~\\|[~|=<>]\"\n"
         "syntax region tovikString start=+\"+ end=+\"+ oneline\n"
         "highlight default link tovikComment Comment\n"
         "highlight default link tovikCommand Statement\n"
         "highlight default link tovikFunction Function\n"
         "highlight default link tovikOption Constant\n"
         "highlight default link tovikNumber Number\n"
         "highlight default link tovikLabel Identifier\n"
         "highlight default link tovikOperator Operator\n"
         "highlight default link tovikString String\n"
         "let b:current_syntax = 'tovik'\n";
}

namespace {

std::string items(const char* name, const std::vector<std::string>& words, const char* behind) {
  std::string out = "    <list name=\"" + std::string(name) + "\">\n";
  for (const std::string& word : words) out += "      <item>" + word + behind + "</item>\n";
  return out + "    </list>\n";
}

}  // namespace

std::string kate_syntax() {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE language>\n<!-- " + std::string(made) +
         " -->\n"
         "<language name=\"Tovik\" section=\"Scientific\" version=\"1\" kateversion=\"5.0\" "
         "extensions=\"*.tovik\""
         " casesensitive=\"false\">\n  <highlighting>\n" +
         items("commands", command_words(), ":") + items("functions", evaluate::function_words(), "") +
         items("keywords", keywords(), "") +
         "    <contexts>\n      <context name=\"Normal\" attribute=\"Normal\" lineEndContext=\"#stay\">\n"
         "        <RegExpr attribute=\"Comment\" context=\"#stay\" String=\"#.*$\"/>\n"
         "        <keyword attribute=\"Command\" context=\"#stay\" String=\"commands\"/>\n"
         "        <keyword attribute=\"Function\" context=\"#stay\" String=\"functions\"/>\n"
         "        <keyword attribute=\"Option\" context=\"#stay\" String=\"keywords\"/>\n"
         "        <RegExpr attribute=\"Label\" context=\"#stay\" String=\"@[A-Za-z_][\\w.]*\"/>\n"
         "        <Float attribute=\"Number\" context=\"#stay\"/>\n"
         "        <Int attribute=\"Number\" context=\"#stay\"/>\n"
         "        <RegExpr attribute=\"String\" context=\"#stay\" String=\"&quot;[^&quot;]*&quot;\"/>\n"
         "        <RegExpr attribute=\"Operator\" context=\"#stay\" String=\"&lt;-&gt;|-&gt;|~~|[~|=]\"/>\n"
         "      </context>\n    </contexts>\n    <itemDatas>\n"
         "      <itemData name=\"Normal\" defStyleNum=\"dsNormal\"/>\n"
         "      <itemData name=\"Comment\" defStyleNum=\"dsComment\"/>\n"
         "      <itemData name=\"Command\" defStyleNum=\"dsKeyword\"/>\n"
         "      <itemData name=\"Function\" defStyleNum=\"dsFunction\"/>\n"
         "      <itemData name=\"Option\" defStyleNum=\"dsConstant\"/>\n"
         "      <itemData name=\"Label\" defStyleNum=\"dsVariable\"/>\n"
         "      <itemData name=\"Number\" defStyleNum=\"dsDecVal\"/>\n"
         "      <itemData name=\"String\" defStyleNum=\"dsString\"/>\n"
         "      <itemData name=\"Operator\" defStyleNum=\"dsOperator\"/>\n"
         "    </itemDatas>\n  </highlighting>\n  <general>\n"
         "    <comments><comment name=\"singleLine\" start=\"#\"/></comments>\n"
         // Colons end no command word here, and dots belong to names.
         "    <keywords casesensitive=\"0\" weakDeliminator=\":.\"/>\n  </general>\n</language>\n";
}

}  // namespace tovik::desk
