#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "sem/wiring/tune.hpp"

namespace tovik {

/// The acceptance rates of one chain. `names` holds the variable of each entry of `results`, or the parameter.
/// Entries without proposals are left out; unless `all`, so are those whose rate is in order.
void print_tuning_table(std::FILE* stream, const std::vector<sem::estimator::tune_results>& results,
                        const std::vector<std::string>& names, bool all);

}  // namespace tovik
