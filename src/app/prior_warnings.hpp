#pragma once

#include "app/analysis.hpp"

namespace tovik {

class InputFile;

/// Warns, before sampling, of default priors that the data do not suit: a prior of predictor variances of one
/// unit where the variances are far from one, and a prior under which variances of random effects near zero
/// have no proper posterior. And of variance models whose outcomes have two categories, under flat priors,
/// and of those whose outcomes have variances near or below the one at which these are truncated.
void warn_of_priors(const InputFile& input, const analysis& run);

}  // namespace tovik
