#pragma once

#include "app/chain_group.hpp"
#include "sem/chain/mcmc.hpp"

namespace tovik {

class InputFile;

/// Pushes the warnings about chains that have not mixed, after they have run: about the burn-in, unless the
/// user wants no PSR or has ended the run early, and about the draws behind the estimates,
/// `draws`.
void warn_of_convergence(const InputFile& input, const chain_group<sem::Mcmc>& group, const ModelList& models,
                         const Summary& draws);

}  // namespace tovik
