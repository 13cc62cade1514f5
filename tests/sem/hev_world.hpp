#pragma once

#include <armadillo>
#include <cstdint>
#include <memory>
#include <vector>

#include "sem/outcomes/normal_hev.hpp"
#include "sem/phantoms/phantom.hpp"
#include "sem/scan_world.hpp"

namespace tovik::tests {

/// One equation, or two, whose residual variances differ between clusters and share a known distribution:
/// what a scan draws of it is put back, so that with proper priors for the rest everything has a joint
/// distribution. Outcomes stand in the columns 1 and 9; a phantom that ties the residuals in column 11,
/// effects of the first equation that the second may read in column 12.
struct HevWorld {
  static constexpr double s0 = 1.3, t = 0.6;

  World world;
  std::vector<sem::equation_setup> setups;
  bool tied = false;
  bool published = false;  ///< the intercepts of the first equation
  enum class values { predictive, metropolis, slice, solved } missing = values::predictive;
  LoneEstimator estimator;
  Random rng;
  std::vector<std::unique_ptr<sem::NormalHev>> models;
  std::unique_ptr<sem::Phantom> phantom;

  HevWorld(unsigned levels, const nesting& sizes, std::uint32_t seed);

  /// An equation with known coefficients from -0.5 to 0.5.
  sem::equation_setup& add(unsigned level, arma::Col<arma::uword> x);
  /// The same with coefficients of the prior N(0, 1).
  sem::equation_setup& add_with_prior(unsigned level, arma::Col<arma::uword> x);

  void build();
  /// Variances, correlation, scores, effects, coefficients and outcomes from their joint distribution.
  void draw_joint();
  void scan();
  std::vector<double> functions() const;

 private:
  void connect_values();
  void connect_phantom();
  void draw_parameters(sem::NormalHev& model, const sem::equation_setup& setup);
  void draw_outcome(std::size_t m, double rho);
};

}  // namespace tovik::tests
