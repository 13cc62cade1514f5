#include <cstring>
#include <stdexcept>
#include <string>

#include "app/application.hpp"
#include "app/flags.hpp"
#include "app/progress.hpp"
#include "app/report_file.hpp"
#include "data/variable_list.hpp"
#include "input/input_file.hpp"
#include "results/summary.hpp"
#include "support/error.hpp"
#include "support/text.hpp"
#include "support/warning.hpp"

namespace tovik {

namespace {

/// An option that overrides a path of the command file. The table's order is the order of comparison.
struct path_option {
  const char* word;
  std::string* target;
  const char* overridden;
};

const path_option path_options[] = {
    {"--stacked", &InputFile::impPathStacked, "'stacked' in SAVE"},
    {"--stacked0", &InputFile::impPathStacked0, "'stacked0' in SAVE"},
    {"--dataset", &InputFile::impPathDataSet, "'dataset' in SAVE"},
    {"--separate", &InputFile::impPathSeparate, "'separate' in SAVE"},
    {"--iterations", &InputFile::iterationsPath, "'iterations' in SAVE"},
    {"--estimates", &InputFile::estimatesPath, "'estimates' in SAVE"},
    {"--psr", &InputFile::psrPath, "'psr' in SAVE"},
    {"--burn", &InputFile::burnPath, "'burn' in SAVE"},
    {"--waldtest", &InputFile::waldtestPath, "'waldtest' in SAVE"},
    {"--correlations", &InputFile::corrsPath, "'correlations' in SAVE"},
};

void warn_override(const std::string& what) {
  warning::buffer.push("WARNING: Overriding " + what + " command in input.");
}

std::uint32_t number(const std::string& value, const char* message) {
  try {
    return toUint(value);
  } catch (const error&) {
    throw error(message);
  }
}

bool apply_path_option(const std::string& option, const std::string& value) {
  if (iequals(option, "-o") || iequals(option, "--outfile")) {
    const bool separate = value.find('*') != std::string::npos;
    (separate ? InputFile::impPathSeparate : InputFile::impPathStacked) = value;
    warn_override("OUTFILE");
    return true;
  }
  for (const path_option& entry : path_options) {
    if (!iequals(option, entry.word)) continue;
    *entry.target = value;
    warn_override(entry.overridden);
    return true;
  }
  return false;
}

void apply_option(const std::string& option, const std::string& value) {
  if (apply_path_option(option, value)) return;
  if (iequals(option, "-s") || iequals(option, "--seed")) {
    InputFile::globalSeed = number(value, "ERROR: SEED is not a positive integer.");
    warn_override("SEED");
  } else if (iequals(option, "-d") || iequals(option, "--data")) {
    InputFile::dataPath = value;
    warn_override("DATA");
  } else if (option == "--traceplot") {
    Output::traceplotPath = value;
  } else if (option == "--output") {
    report_file::choose(value);
  } else if (option == "--truncate") {
    const char* message = "ERROR: Variable Truncation length is not a positive integer.";
    const std::uint32_t length = number(value, message);
    if (length == 0) throw error(message);
    VariableList::truncate = length;
  } else if (iequals(option, "-c") || iequals(option, "--col")) {
    Summary::add_column(value);
  } else {
    throw error("ERROR: Invalid command line argument: '" + option + "'");
  }
}

/// A word that stands alone. False for any other.
bool apply_flag(const std::string& option) {
  if (!is_flag(option)) return false;
  using progress::line_wish;
  progress::wish = option == "--quiet" ? line_wish::never : line_wish::always;
  return true;
}

}  // namespace

bool is_flag(const std::string& option) {
  return option == "--progress" || option == "--quiet";
}

Application::Application(int argc, const char* const* argv) {
  for (int i = 2; i < argc; i += 2) {
    if (apply_flag(argv[i])) {
      --i;
      continue;
    }
    if (argv[i + 1] == nullptr) {
      throw std::logic_error("The option '" + std::string(argv[i]) + "' has no value.");
    }
    apply_option(argv[i], argv[i + 1]);
  }
}

}  // namespace tovik
