#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "sem/wiring/tune.hpp"

namespace tovik {

/// What a row of the table names.
struct tuning_label {
  std::string type;  ///< in the place of the kind of proposal; empty: the kind itself
  std::string variable;
};

/// The acceptance rates of one chain. `labels` has one entry for each of `results`. Entries without proposals
/// are left out; unless `all`, so are those whose rate is in order.
void print_tuning_table(std::FILE* stream, const std::vector<sem::estimator::tune_results>& results,
                        const std::vector<tuning_label>& labels, bool all);

}  // namespace tovik
