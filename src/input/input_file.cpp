#include "input/input_file.hpp"

#include <filesystem>
#include <fstream>

#include "input/commands.hpp"
#include "random/random.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {

const std::vector<std::string> InputFile::invalid_strings = {
    "&", "(", ")", "@", "%", "^", "*", "/", "+", "-", "\xE2\x80\x93", "\xE2\x80\x93", "\xE2\x88\x92",
    "~", "<", ">", "[", "]", "|", "$"};

namespace {

[[noreturn]] void unable_to_open(const std::string& path) {
  throw error("ERROR: Unable to open syntax file\n        at " + path);
}

/// The whole file as one line, without comments: every line adds a blank and its text up to the first '#'.
std::string read_without_comments(const std::string& path) {
  std::error_code none;
  std::ifstream file(path);
  if (!file || std::filesystem::is_directory(path, none)) unable_to_open(path);
  std::string text;
  std::string line;
  for (bool first = true; std::getline(file, line); first = false) {
    if (first && line.rfind("\xEF\xBB\xBF", 0) == 0) line.erase(0, 3);
    text += ' ';
    text.append(line, 0, line.find('#'));
  }
  return text;
}

/// Relative paths of a command file resolve against its own folder.
void enter_folder_of(const std::string& path) {
  const std::size_t slash = path.find_last_of("/\\");
  if (slash == std::string::npos) return;
  std::error_code failed;
  std::filesystem::current_path(slash == 0 ? path.substr(0, 1) : path.substr(0, slash), failed);
  if (failed) unable_to_open(path);
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
                                  {"correlations", InputFile::corrsPath}});
}

}  // namespace

InputFile::InputFile(const std::string& path) : savePaths(initial_paths()), data_file(dataPath) {
  const std::string text = read_without_comments(path);
  std::error_code none;
  command_file_ = std::filesystem::absolute(path, none).string();
  enter_folder_of(path);
  readStatements(text);
  if (seed != not_set) rng = std::make_shared<Random>(seed, 0u);
  check();
}

void InputFile::readStatements(const std::string& text) {
  reader at;
  for (std::string& statement : split(text, ";", true)) parseStatement(std::move(statement), at);
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
  if (const int code = parseTovikCommand(tokens.front())) {
    tokens.erase(tokens.begin());
    at.command = code;
    at.opened = true;
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
