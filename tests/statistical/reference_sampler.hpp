#pragma once

#include <armadillo>
#include <cstdint>
#include <functional>
#include <random>
#include <vector>

namespace tovik::tests {

/// A slow and simple sampler of any density, to compare fast ones with.
///
/// Knows nothing of the model but its log density, up to a constant, at a vector of real numbers. A scan
/// proposes a normal step for one element after the other and then for all of them at once. Steps adapt
/// during warm-up only: each element's by Robbins-Monro to an acceptance rate of 0.44, the joint step to
/// 0.234 with the covariance matrix of the warm-up's second quarter (Haario, Saksman and Tamminen, 2001,
/// Bernoulli 7, 223-242). After warm-up it is an ordinary random-walk Metropolis chain.
class reference_sampler {
 public:
  using density = std::function<double(const std::vector<double>&)>;

  reference_sampler(density log_density, std::vector<double> start, std::uint64_t seed);

  /// One column per kept scan, one row per element of `report` of the state.
  arma::Mat<double> run(std::size_t warm_up, std::size_t scans,
                        const std::function<arma::Col<double>(const std::vector<double>&)>& report);

 private:
  void warm(std::size_t scans);

  /// The shape of the joint step.
  void learn(const arma::Mat<double>& seen);

  void scan(double gain);

  /// Metropolis' rule for the state that has been written; a density that is not a number is refused.
  bool decide();

  density log_density_;
  std::vector<double> at_;
  double value_ = 0;
  std::vector<double> log_steps_;
  double log_joint_ = 0;
  arma::Mat<double> root_;
  std::mt19937_64 engine_;
  std::normal_distribution<double> normal_;
};

}  // namespace tovik::tests
