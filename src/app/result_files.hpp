#pragma once

#include "app/analysis.hpp"

namespace tovik {

/// Writes the files that the command file and --traceplot ask for; they appear together when all have been
/// written. For groups that have run.
void write_result_files(InputFile& input, const chain_group<sem::Mcmc>& group, const VariableList& vars,
                        const ModelList& models);

}  // namespace tovik
