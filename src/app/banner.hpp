#pragma once

#include <string>

namespace tovik {

/// The head of every report, down to the line of the program's name.
std::string banner_start();
/// The whole head.
std::string banner_text(const std::string& version);

}  // namespace tovik
