#pragma once

#include <string>

#include "support/error.hpp"

/// What the language knows and the program does not sample or write yet. Each use stops the run with a clear
/// text instead of passing over the request; a use is deleted when its feature arrives.
namespace tovik::not_available {

/// Stands in the report where several outcomes would have a table of correlations among residuals.
inline const char* const correlations_note =
    "  NOTE: Correlations among the residuals of several outcomes are not\n"
    "        available in this version.\n\n\n";

[[noreturn]] inline void refuse(const std::string& what) {
  throw error("ERROR: " + what + " is not available in this version.");
}

}  // namespace tovik::not_available
