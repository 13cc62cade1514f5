#pragma once

#include <armadillo>
#include <string>
#include <vector>

#include "input/input_file.hpp"
#include "support/warning.hpp"

namespace tovik {

/// One group of a run with BYGROUP: its rows, and a copy of the command file whose results go to files of its
/// own. It runs like a command file with these rows alone, whatever other groups there are.
class by_group {
 public:
  arma::Mat<double> data;  ///< rows of the group in file order
  std::string name;        ///< the group's value as text
  InputFile input;
  std::vector<warning::message> messages;  ///< what the group has warned of

  /// Samples, reports, and writes the files of the group. The warnings stay in the buffer. Returns whether a
  /// signal has cut the sampling short.
  bool run();
};

}  // namespace tovik
