#include "input/commands.hpp"
#include "input/expand.hpp"
#include "input/input_file.hpp"
#include "results/summary.hpp"
#include "support/error.hpp"
#include "support/source.hpp"
#include "support/text.hpp"
#include "support/warning.hpp"

namespace tovik {

namespace {

void append_names(std::vector<std::string> words, std::vector<std::string>& list) {
  expand(words, ':');
  list.insert(list.end(), words.begin(), words.end());
}

std::uint32_t positive(const std::string& word, const char* command) {
  try {
    return toUint(word);
  } catch (const error&) {
    throw error("ERROR: " + std::string(command) + " is not a positive integer.");
  }
}

/// Commands of one value take the first word.
void warn_surplus(const std::vector<std::string>& words, const char* command) {
  if (words.size() < 2 || words.front().back() == ':') return;  // a word that is no command is told already
  warning::buffer.push("WARNING: The " + std::string(command) + " command takes one value. Ignoring '" +
                       join({words.begin() + 1, words.end()}, " ") + "'.");
}

std::string expression(const std::vector<std::string>& words) {
  return eval_expand(trim(join(words, " ")), ':');
}

/// The words of one comma-separated piece of a statement, without the command word.
std::vector<std::string> piece_words(const std::string& piece, command own) {
  std::vector<std::string> all = words(replace_all(piece, "=", " "));
  if (!all.empty() && parseTovikCommand(all.front()) == static_cast<int>(own)) all.erase(all.begin());
  return all;
}

/// LATENT and PHANTOM: "level = names" or names without a level, between commas.
void append_levels(const std::string& raw, command own, keyed_list<std::vector<std::string>>& lists) {
  for (const std::string& piece : split(raw, ",", true)) {
    std::vector<std::string> all = piece_words(piece, own);
    if (all.empty()) continue;
    std::string level;
    if (piece.find('=') != std::string::npos) {
      level = to_lower(all.front());
      all.erase(all.begin());
    }
    append_names(all, lists[level]);
  }
}

/// A label that opens a block, "name:" or "name :", is taken off the words and becomes the current block.
bool take_label(std::vector<std::string>& words, std::string& block) {
  if (words.front().back() == ':') {
    block = to_lower(words.front().substr(0, words.front().size() - 1));
    words.erase(words.begin());
    return true;
  }
  if (words.size() > 1 && words[1] == ":") {
    block = to_lower(words.front());
    words.erase(words.begin(), words.begin() + 2);
    return true;
  }
  return false;
}

}  // namespace

void InputFile::dispatch(const std::string& raw, std::vector<std::string>& words, reader& at) {
  const std::string& first = words.front();
  switch (static_cast<command>(at.command)) {
    case command::data:
      return parseData(raw, words, at);
    case command::variables:
      return append_names(words, variableNames);
    case command::missing:
      return parseMissing(words);
    case command::bygroup:
      return parseByGroup(words);
    case command::seed:
      if (seed == not_set) seed = positive(first, "SEED");
      return warn_surplus(words, "SEED");
    case command::burn:
      parseBurn(first);
      return warn_surplus(words, "BURN");
    case command::thin:
      thin = positive(first, "THIN");
      return warn_surplus(words, "THIN");
    case command::iterations:
      iterations = positive(first, "ITERATIONS");
      return warn_surplus(words, "ITERATIONS");
    case command::nimps:
      nimps = positive(first, "NIMPS");
      return warn_surplus(words, "NIMPS");
    case command::clusterid:
      return append_names(words, clusterIds);
    case command::ordinal:
      return append_names(words, ordinals);
    case command::nominal:
      return parseNominal(words);
    case command::count:
      return append_names(words, counts);
    case command::fixed:
      // Only the new words can hold "(none)": it empties the list whenever it comes.
      append_names(words, fixed);
      if (in(words, "(none)")) fixed.clear();
      return;
    case command::fcs:
      return append_names(words, fcs);
    case command::weights:
      return append_names(words, weights);
    case command::chains:
      return parseChains(words);
    case command::options:
      return parseOptions(words);
    default:
      return dispatchText(raw, words, at);
  }
}

void InputFile::dispatchText(const std::string& raw, std::vector<std::string>& words, reader& at) {
  switch (static_cast<command>(at.command)) {
    case command::latent:
      return append_levels(raw, command::latent, latents);
    case command::phantom:
      return append_levels(raw, command::phantom, phantoms);
    case command::center:
      return parseCenter(raw);
    case command::compute:
      throw error("ERROR: COMPUTE command is currently not available.");
    case command::transform:
      transforms.push_back(" " + eval_expand(join(words, " "), ':'));
      source::rename(transforms.back());
      return;
    case command::save:
      for (const std::string& piece : split(raw, ",", true)) parseSaveLine(piece);
      return;
    case command::simple:
      simples.push_back(raw.substr(raw.find(':') + 1));  // the whole text when there is no ':'
      source::rename(simples.back());
      return;
    case command::waldtest:
      if (at.opened || hypotheses.empty()) hypotheses.emplace_back();
      hypotheses.back().push_back(expression(words));
      source::rename(hypotheses.back().back());
      return;
    case command::plot:
      warning::buffer.push(
          "WARNING: Plotting is only avaialble through GUI.\n         PLOTS command is being ignored.");
      return;
    case command::outfile: {
      const std::string path = unquoted(join(words, " "));
      savePaths[path.find('*') != std::string::npos ? "separate" : "stacked"] = path;
      return;
    }
    case command::debug:
      return parseDebug(raw);
    case command::parameters:
      parameters.push_back(expression(words));
      source::rename(parameters.back());
      return;
    case command::model:
      return parseModel(words, at);
    case command::randomeffect:
      randomEffects.push_back(expression(words));
      source::rename(randomEffects.back());
      return;
    case command::output:
      for (const std::string& word : split(raw, " ", true)) Summary::add_column(word);
      return;
    case command::simulate:
      return parseSimulate(words, at);
    case command::starts:
      return parseStarts(words);
    default:
      throw error_debug("A command has no reader.");
  }
}

void InputFile::parseData(const std::string& raw, const std::vector<std::string>& words, const reader& at) {
  if (data_file.empty()) {
    data_file = unquoted(join(words, " "));
  } else if (!at.opened) {
    throw error("ERROR: DATA command has already been specified.\n       Problem line: " + trim(raw));
  }
}

void InputFile::parseBurn(const std::string& word) {
  burn = positive(word, "BURN");
  if (burn > 100) Summary::interval = burn / 20;
}

void InputFile::parseNominal(std::vector<std::string> words) {
  expand(words, ':');
  for (const std::string& word : words) nominals.emplace_back(word);
}

void InputFile::parseCenter(const std::string& raw) {
  for (const std::string& piece : split(raw, ",", true)) {
    std::vector<std::string> all = piece_words(piece, command::center);
    if (all.empty()) continue;
    const std::string first = all.front();
    const bool grand = iequals(first, "CGM") || iequals(first, "grandmean");
    const bool group = iequals(first, "CWC") || iequals(first, "groupmean");
    if (grand || group) {
      all.erase(all.begin());
    } else if (clusterIds.empty()) {
      center_plain_.push_back(first);
    } else {
      throw error("ERROR: Do not recognize CENTERING command keyword \"" + first + "\".");
    }
    append_names(all, group ? centerGroup : centerGrand);
  }
}

void InputFile::parseChains(const std::vector<std::string>& words) {
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (in({"processors", "threads", "process"}, words[i])) {
      ++i;
      processors = positive(i < words.size() ? words[i] : "", "processors");
      if (processors == 0) throw error("ERROR: processors is not a positive integer.");
    } else {
      chains = positive(words[i], "CHAINS");
      if (chains == 0) throw error("ERROR: Number of chains requested are less than one.");
    }
  }
}

void InputFile::parseModel(std::vector<std::string> words, reader& at) {
  if (at.opened) at.model_block = block::predef::model;
  if (take_label(words, at.model_block)) blocks.insert(at.model_block);
  models.push_back({expression(words), at.model_block});
  source::rename(models.back().statement);
}

void InputFile::parseSimulate(std::vector<std::string> words, reader& at) {
  if (at.opened) at.simulate_block = block::predef::none;
  take_label(words, at.simulate_block);
  std::string text = trim(join(words, " "));
  std::string block = at.simulate_block;
  const std::size_t definition = text.find(":=");
  if (definition != std::string::npos) {
    text.replace(definition, 2, "=");
    block = "define";
  }
  simulates.push_back({eval_expand(text, ':'), block});
  source::rename(simulates.back().statement);
}

}  // namespace tovik
