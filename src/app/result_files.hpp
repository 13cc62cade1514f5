#pragma once

#include "app/analysis.hpp"

namespace tovik {

/// Writes the files that the command file asks for, in a fixed order; prints the order of the variables in
/// imputed data. For groups that have run.
void write_result_files(const InputFile& input, const chain_group<sem::Mcmc>& group, const VariableList& vars,
                        const ModelList& models);

}  // namespace tovik
