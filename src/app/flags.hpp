#pragma once

#include <string>

namespace tovik {

/// True for a word of the command line that stands alone; all other options are followed by their values.
bool is_flag(const std::string& option);

}  // namespace tovik
