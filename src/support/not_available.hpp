#pragma once

#include <string>

#include "support/error.hpp"

/// What the language knows and the program does not sample or write yet. Each use stops the run with a clear
/// text instead of passing over the request; a use is deleted when its feature arrives.
namespace tovik::not_available {

[[noreturn]] inline void refuse(const std::string& what) {
  throw error("ERROR: " + what + " is not available in this version.");
}

}  // namespace tovik::not_available
