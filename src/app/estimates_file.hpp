#pragma once

#include "app/analysis.hpp"

namespace tovik {

/// Writes the estimates as a table for other programs, where SAVE wants it: comma-separated text, or, for a
/// path that ends in ".json", an object with the settings of the run, its warnings so far, and the rows of
/// the table. `draws`: those of the report.
template <class T>
void write_estimates_table(const InputFile& input, const chain_group<T>& group, const analysis& run,
                           const Summary& draws);

extern template void write_estimates_table(const InputFile&, const chain_group<sem::Mcmc>&, const analysis&,
                                           const Summary&);
extern template void write_estimates_table(const InputFile&, const chain_group<manifest::wrapper>&,
                                           const analysis&, const Summary&);

}  // namespace tovik
