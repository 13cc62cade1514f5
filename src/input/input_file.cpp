#include "input/input_file.hpp"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>

#include "input/commands.hpp"
#include "random/random.hpp"
#include "support/error.hpp"
#include "support/file_access.hpp"
#include "support/source.hpp"
#include "support/text.hpp"
#include "support/warning.hpp"

namespace tovik {

const std::vector<std::string> InputFile::invalid_strings = {
    "&", "(", ")", "@", "%", "^", "*", "/", "+", "-", "\xE2\x80\x93", "\xE2\x80\x93", "\xE2\x88\x92",
    "~", "<", ">", "[", "]", "|", "$"};

namespace {

[[noreturn]] void unable_to_open(const std::string& path, int failure) {
  throw error("ERROR: Unable to open syntax file\n        at " + path + system_reason(failure));
}

/// A command file as one line, without comments, and where in it each line of the file begins.
struct command_text {
  std::string text;
  std::vector<std::size_t> lines;

  /// The line of the file, from 1, of a place in the text.
  std::size_t line_of(std::size_t place) const {
    return static_cast<std::size_t>(std::upper_bound(lines.begin(), lines.end(), place) - lines.begin());
  }
};

/// Every line adds a blank and its text up to the first '#'.
command_text read_without_comments(const std::string& path) {
  if (const int failure = read_failure(path)) unable_to_open(path, failure);
  std::ifstream file(path);
  if (!file) unable_to_open(path, errno);
  command_text out;
  std::string line;
  for (bool first = true; std::getline(file, line); first = false) {
    if (first && line.rfind("\xEF\xBB\xBF", 0) == 0) line.erase(0, 3);
    out.lines.push_back(out.text.size());
    out.text += ' ';
    out.text.append(line, 0, line.find('#'));
  }
  return out;
}

/// Relative paths of a command file resolve against its own folder.
void enter_folder_of(const std::string& path) {
  const std::size_t slash = path.find_last_of("/\\");
  if (slash == std::string::npos) return;
  std::error_code failed;
  std::filesystem::current_path(slash == 0 ? path.substr(0, 1) : path.substr(0, slash), failed);
  if (failed) unable_to_open(path, failed.value());
}

keyed_list<std::string> initial_paths() {
  return keyed_list<std::string>({{"burn", InputFile::burnPath},
                                  {"psr", InputFile::psrPath},
                                  {"estimates", InputFile::estimatesPath},
                                  {"accepts", ""},
                                  {"labelfile", ""},
                                  {"iterations", InputFile::iterationsPath},
                                  {"waldtest", InputFile::waldtestPath},
                                  {"simple", ""},
                                  {"starts", ""},
                                  {"avgimp", ""},
                                  {"varimp", ""},
                                  {"likelihood", ""},
                                  {"stacked", InputFile::impPathStacked},
                                  {"stacked0", InputFile::impPathStacked0},
                                  {"separate", InputFile::impPathSeparate},
                                  {"dataset", InputFile::impPathDataSet},
                                  {"correlations", InputFile::corrsPath},
                                  {"draws", ""},
                                  {"table", ""}});
}

/// A word with a colon that opens a statement looks like a command. Blocks of MODEL and SIMULATE begin so
/// too.
void warn_unknown_word(const std::string& word, const std::string& current, int code) {
  if (word.size() < 2 || word.back() != ':') return;
  if (code == static_cast<int>(command::model) || code == static_cast<int>(command::simulate)) return;
  std::string text = "'" + word + "' is not a command";
  if (!current.empty()) {
    text += " and was read as part of " + to_upper(current.substr(0, current.size() - 1));
  }
  text += ".";
  const std::string nearest = nearest_command(word);
  const std::string question = nearest.empty() ? "" : "Did you mean " + nearest + "?";
  warning::buffer.push("WARNING: " + text + (question.empty() ? "" : "\n         " + question),
                       text + (question.empty() ? "" : " " + question));
}

}  // namespace

InputFile::InputFile(const std::string& path) : savePaths(initial_paths()), data_file(dataPath) {
  source::clear();
  const command_text file = read_without_comments(path);
  std::error_code none;
  command_file_ = std::filesystem::absolute(path, none).string();
  enter_folder_of(path);
  readStatements(file.text, [&](std::size_t place) { return file.line_of(place); });
  source::leave();
  if (seed != not_set) rng = std::make_shared<Random>(seed, 0u);
  check();
}

void InputFile::readStatements(const std::string& text,
                               const std::function<std::size_t(std::size_t)>& line_of) {
  reader at;
  for (std::size_t begin = 0; begin <= text.size();) {
    const std::size_t end = std::min(text.find(';', begin), text.size());
    const std::size_t first = text.find_first_not_of(" \t\r", begin);
    if (first < end) {
      std::string statement = text.substr(begin, end - begin);
      source::begin_statement(line_of(first), statement);
      parseStatement(std::move(statement), at);
    }
    begin = end + 1;
  }
}

void InputFile::parseStatement(std::string statement, reader& at) {
  for (char& c : statement) {
    if (c == '\t' || c == '\r') c = ' ';
  }
  // Minus signs and dashes that editors put in the place of hyphens.
  statement = replace_all(std::move(statement), "\xE2\x88\x92", "-");
  statement = replace_all(std::move(statement), "\xE2\x80\x93", "-");
  std::vector<std::string> tokens = words(statement);
  if (tokens.empty()) return;
  const std::string word = tokens.front();
  if (const int code = parseTovikCommand(word)) {
    tokens.erase(tokens.begin());
    at.command = code;
    at.opened = true;
    at.word = word;
  } else {
    warn_unknown_word(word, at.word, at.command);
  }
  if (at.command == 0) {
    throw error("ERROR: Unable to parse first line, no command has been specified yet.");
  }
  if (at.command == static_cast<int>(command::fixed)) fixed_specified = true;
  if (tokens.empty()) return;
  dispatch(statement, tokens, at);
  at.opened = false;
}

bool InputFile::isWrite(const std::string& key) const {
  return !writePath(key).empty();
}

const std::string& InputFile::writePath(const std::string& key) const {
  const std::string* path = savePaths.find(key);
  if (path == nullptr) throw error_debug("Cannot find key for write path!");
  return *path;
}

std::string InputFile::writePath(const std::string& key, const std::string& group) const {
  const std::string& path = writePath(key);
  if (path.find('*') == std::string::npos) throw error_debug(" No * in group data path.");
  return replace_all(path, "*", group);
}

}  // namespace tovik
