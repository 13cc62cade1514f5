// The SAVE command: which result goes to which file.

#include <algorithm>

#include "input/input_file.hpp"
#include "input/language_words.hpp"
#include "results/summary.hpp"
#include "support/error.hpp"
#include "support/text.hpp"
#include "support/warning.hpp"

namespace tovik {

namespace {

/// A SAVE keyword and the key whose path it sets; the command line's path wins where `if_empty` is set.
struct save_key {
  const char* word;
  const char* key;
  bool if_empty;
};

constexpr save_key save_keys[] = {
    {"accepts", "accepts", false},
    {"labelfile", "labelfile", false},
    {"simple", "simple", false},
    {"starts", "starts", false},
    {"avgimp", "avgimp", false},
    {"varimp", "varimp", false},
    {"psr", "psr", true},
    {"burn", "burn", true},
    {"estimates", "estimates", true},
    {"iterations", "iterations", true},
    {"waldtest", "waldtest", true},
    {"correlations", "correlations", true},
    {"stacked0", "stacked0", true},
    {"stack0", "stacked0", true},
    {"stacked", "stacked", true},
    {"stack", "stacked", true},
    {"separate", "separate", true},
    {"sep", "separate", true},
    {"dataset", "dataset", true},
    {"data", "dataset", true},
    {"likelihood", "likelihood", false},
    {"draws", "draws", false},
    {"table", "table", false},
};

/// A second "=" tells that a comma between two files was forgotten: the second would become part of the name
/// of the first.
void refuse_equals(const std::string& key, const std::string& text) {
  const std::size_t path = std::min(text.find_first_not_of("= ", text.find('=')), text.size());
  if (text.find('=', path) == std::string::npos) return;
  throw error("ERROR: The path '" + join(words(text.substr(path)), " ") + "' of the SAVE command (" + key +
              ") holds \"=\".\n       Please separate the files of the SAVE command by commas.");
}

}  // namespace

std::string InputFile::unquoted(const std::string& path) {
  const bool quoted =
      path.size() > 1 && (path.front() == '"' || path.front() == '\'') && path.back() == path.front();
  return quoted ? path.substr(1, path.size() - 2) : path;
}

void InputFile::parseSaveLine(const std::string& text) {
  std::vector<std::string> tokens = split(text, " =", true);
  if (tokens.front().size() < 2) tokens.erase(tokens.begin());
  if (!tokens.empty() && iequals(tokens.front(), "save:")) tokens.erase(tokens.begin());
  if (!tokens.empty() && tokens.back().empty()) tokens.pop_back();
  if (tokens.empty()) return;
  const std::string key = tokens.front();
  if (in({"latent", "latentStacked", "latentStack", "latentSeparate", "latentSep"}, key)) {
    savelatent = true;
    warning::buffer.push(
        "WARNING: Imputations of Latent variables are now saved with other imputations.\n"
        "         Use SaveLatent on OPTIONS line to save latent.");
    return;
  }
  refuse_equals(key, text);
  savePath(key, unquoted(join({tokens.begin() + 1, tokens.end()}, " ")));
}

void InputFile::savePath(const std::string& key, const std::string& path) {
  if (iequals(key, "imp") || iequals(key, "imputations")) {
    const bool separate = savePaths["separate"].empty() && path.find('*') != std::string::npos;
    return takePath(separate ? "separate" : "stacked", path, true);
  }
  const auto at = std::find_if(std::begin(save_keys), std::end(save_keys),
                               [&](const save_key& k) { return iequals(k.word, key); });
  if (at == std::end(save_keys)) throw error("ERROR: Do not recognize save command \"" + key + "\"");
  takePath(at->key, path, at->if_empty);
}

/// A result has one file: of two paths in the command file one would be lost.
void InputFile::takePath(const std::string& key, const std::string& path, bool if_empty) {
  if (path.empty()) {
    warning::buffer.push("WARNING: The keyword '" + key +
                         "' of the SAVE command has no path.\n         Nothing is saved under it.");
    return;
  }
  std::string& given = saved_by_command_[key];
  if (!given.empty() && given != path) {
    throw error("ERROR: The SAVE command (" + key + ") matches the SAVE command (" + key +
                ").\n       It cannot be written to both '" + given + "' and '" + path + "'.");
  }
  given = path;
  std::string& target = savePaths[key];
  if (!if_empty || target.empty()) target = path;
}

namespace {

void warn_nothing(const char* key, const std::string& why) {
  warning::buffer.push("WARNING: Nothing is saved under '" + std::string(key) +
                       "' of the SAVE command:\n         " + why);
}

}  // namespace

void InputFile::warnUnusedPaths() const {
  if (nimps == not_set) {
    for (const char* key : {"stacked", "stacked0", "separate"}) {
      if (isWrite(key)) warn_nothing(key, "the number of data sets is missing (NIMPS command).");
    }
  }
  if (isWrite("likelihood") && !chain_info::compute_DIC) {
    warn_nothing("likelihood", "'disable_dic' is in the OPTIONS command.");
  }
  if (isWrite("correlations") && !chain_info::compute_corrs) {
    warn_nothing("correlations", "correlations among residuals are not computed.");
  }
  if (isWrite("simple") && simples.empty()) warn_nothing("simple", "there is no SIMPLE command.");
  if (isWrite("waldtest") && hypotheses.empty()) {
    warn_nothing("waldtest", "there is no WALDTEST command.");
  }
  if (isWrite("accepts")) warn_nothing("accepts", "acceptance rates are not written to a file.");
}

std::vector<std::string> save_words() {
  std::vector<std::string> out = {"imp", "imputations"};
  for (const save_key& entry : save_keys) out.emplace_back(entry.word);
  std::sort(out.begin(), out.end());
  return out;
}

std::vector<std::string> output_words() {
  std::vector<std::string> out = Summary::column_words();
  std::sort(out.begin(), out.end());
  return out;
}

}  // namespace tovik
