#pragma once

#include "app/analysis.hpp"

namespace tovik {

/// Samples, reports and writes the files of a prepared analysis. Of a group of the data it leaves to the
/// caller what all groups share: the warnings, which stay in the buffer, and the imputed data sets. Returns
/// whether a signal has cut the sampling short.
bool run_analysis(InputFile& input, const analysis& prepared);

}  // namespace tovik
