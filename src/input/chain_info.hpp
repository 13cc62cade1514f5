#pragma once

#include <armadillo>
#include <cstdint>
#include <functional>
#include <vector>

namespace tovik {

/// One chain's share of the run.
struct chain_info {
  std::uint32_t tunecheck = 100;  ///< iterations between tuning steps
  bool savelatent = false;        ///< what the saved data include beside the variables
  bool savepred = false;
  bool saveresid = false;
  bool averaging = false;                  ///< keep the running mean and variance of the completed data
  bool likelihoods = true;                 ///< keep the log likelihood of each model, not their sum alone
  std::uint32_t burn = 0;                  ///< burn-in iterations of this chain
  std::uint32_t iterations = 0;            ///< iterations of this chain after burn-in
  std::uint32_t id = 0;                    ///< chain number, from 1; also the stream of its random numbers
  std::vector<std::uint32_t> imputations;  ///< numbers of the imputations that this chain saves
  /// Offset of the starting values, 0 for the first chain. Random::disperse turns it into a scale and a
  /// shift.
  double dispersion = 0.0;
  /// One for each entry of `imputations`; takes the completed data (rows are observations in file order).
  std::vector<std::function<void(const arma::Mat<double>&)>> saves;

  inline static bool compute_corrs = true;       ///< correlations among residuals
  inline static bool compute_DIC = true;         ///< information criteria
  inline static bool crash_on_tune_fail = true;  ///< stop when tuning has failed
};

}  // namespace tovik
