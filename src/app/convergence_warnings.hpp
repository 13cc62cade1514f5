#pragma once

#include "app/chain_group.hpp"
#include "manifest/wrapper.hpp"
#include "sem/chain/mcmc.hpp"

namespace tovik {

class InputFile;

/// Pushes the warnings about chains that have not mixed, after they have run: about the burn-in, unless the
/// user wants no PSR or has ended the run early, and about the draws behind the estimates,
/// `draws`.
template <class T>
void warn_of_convergence(const InputFile& input, const chain_group<T>& group, const ModelList& models,
                         const Summary& draws);

extern template void warn_of_convergence(const InputFile&, const chain_group<sem::Mcmc>&, const ModelList&,
                                         const Summary&);
extern template void warn_of_convergence(const InputFile&, const chain_group<manifest::wrapper>&,
                                         const ModelList&, const Summary&);

}  // namespace tovik
