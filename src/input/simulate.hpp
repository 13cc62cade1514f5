#pragma once

#include <memory>
#include <string>
#include <vector>

#include "input/simulate_table.hpp"
#include "support/block.hpp"

namespace tovik::simulate {

/// Carries out the statements of SIMULATE, each with the section in which it stands: first the identifiers
/// (the empty section), then the constants (section "define"), then the variables of every identifier's
/// section, in the order of the statements. Draws come from `rng` in that order, one for each unit of the
/// section's level; without a generator nothing can be drawn. Throws tovik::error at the first fault.
table generate(const std::vector<block::one_model>& statements, const std::shared_ptr<Random>& rng);

}  // namespace tovik::simulate
