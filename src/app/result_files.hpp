#pragma once

#include "app/analysis.hpp"

namespace tovik {

/// Writes the files that the command file and --traceplot ask for; they appear together when all have been
/// written. For groups that have run. Of a group of the data the imputed data sets are left to be written
/// with those of all groups, and the traces stand in a folder of its own.
template <class T>
void write_result_files(InputFile& input, const chain_group<T>& group, const analysis& run);

extern template void write_result_files(InputFile&, const chain_group<sem::Mcmc>&, const analysis&);
extern template void write_result_files(InputFile&, const chain_group<manifest::wrapper>&, const analysis&);

}  // namespace tovik
