#pragma once

#include <cstdio>
#include <string>

#include "app/version.hpp"
#include "support/output.hpp"

namespace tovik {

class InputFile;

/// The whole program: command line, banner, the order of a run, and the one place where errors become words.
class Application {
 public:
  /// Reads the options from argv[2] on, two words each. Throws tovik::error for an unknown option or a value
  /// that is no number, std::logic_error for an option without its value.
  Application(int argc, const char* const* argv);

  /// Runs the command file at `path`. Returns the exit status: 0 for a completed run, 1 for every reported
  /// error, 128 and the number of the signal when a signal has cut the run short.
  int exec(const std::string& path) const;

  std::string version = version_number;

  /// The stream of all report output, and the settings that belong to it (held in support, where all floors
  /// see them).
  inline static std::FILE*& fp = Output::fp;
  inline static bool& print_iterations = Output::print_iterations;
  inline static bool& print_debug = Output::print_debug;
  inline static std::string& traceplotPath = Output::traceplotPath;

 private:
  // Each tells whether a signal has cut the sampling short.
  bool run_stages(const std::string& path) const;
  bool run(InputFile& input) const;
  bool runGroup(InputFile& input) const;
};

}  // namespace tovik
