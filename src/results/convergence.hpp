#pragma once

#include <armadillo>
#include <string>
#include <vector>

#include "results/parameter_names.hpp"

namespace tovik {

class Summary;

/// When draws are too dependent to be summarised: where the chains still differ (Gelman et al., 2013,
/// Bayesian Data Analysis, ch. 11, with the bound that is usual for the split chain), or where an interval
/// would rest on too few draws that count.
namespace convergence {

inline constexpr double most_psr = 1.05;
inline constexpr double least_effective = 100.0;
inline constexpr std::size_t most_named = 10;

/// A parameter whose draws fall short, with what the columns PSR and N_Eff say of it.
struct slow_parameter {
  arma::uword row;
  double psr;  ///< NaN where every chain stays at a value of its own
  double ess;
};

/// Those of the draws, the fewest effective draws first. Without what is fixed, what does not vary and what
/// has a NaN.
std::vector<slow_parameter> slow_parameters(const Summary& draws, const std::vector<parameter_name>& names);

/// The warning about the draws behind the estimates; empty when there is nothing to say. `saves_data`:
/// imputed data sets come from the same chains.
std::string warning_of_draws(const Summary& draws, const std::vector<parameter_name>& names, bool saves_data);

/// The warning about the last line of the burn-in's PSR table, which gives numbers and no names; or that
/// there is no such line. Empty when there is nothing to say.
std::string warning_of_burn_in(const Summary& burn, const std::vector<parameter_name>& names);

}  // namespace convergence

}  // namespace tovik
