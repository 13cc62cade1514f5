#pragma once

#include <cstdio>
#include <string>

namespace tovik {

/// Where the report goes, and what is printed on the way. Set from the command line and the command file,
/// before chains start.
struct Output {
  /// The stream of all report text.
  inline static std::FILE* fp = stdout;
  /// Progress lines go to `fp` too, and the model information is printed before sampling instead of after it.
  inline static bool print_iterations = true;
  /// Print internal dumps of the model list and of the first chain's sampler.
  inline static bool print_debug = false;
  /// The file of the report, from the root; empty for standard output.
  inline static std::string report_path;
  /// Set when the report is known to be none of the files that the command file names.
  inline static bool report_checked = false;
  /// Folder for trace data; empty for none.
  inline static std::string traceplotPath;
};

}  // namespace tovik
