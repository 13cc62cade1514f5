#pragma once

#include <string>

namespace tovik::sem {

/// A variable that does not vary at a level, and so predicts nothing there.
struct excluded_level {
  std::string name;    ///< as reports show it
  unsigned level = 0;  ///< counted from 1, the rows
};

}  // namespace tovik::sem
