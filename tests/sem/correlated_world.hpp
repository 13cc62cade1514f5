#pragma once

#include <armadillo>
#include <cstdint>
#include <memory>
#include <vector>

#include "sem/phantom_world.hpp"
#include "sem/yjt_world.hpp"

namespace tovik::tests {

/// One correlation: the phantom's column and level, and where it stands: (model, place, effect) twice; the
/// second carries the sign.
struct tie {
  arma::uword column;
  unsigned level;
  struct end {
    std::size_t model;
    unsigned place;
    arma::uword effect;
  } ends[2];
};

/// Outcomes with known coefficients and correlations among them.
struct CorrelatedWorld {
  World world;
  std::vector<sem::equation_setup> setups;
  std::vector<tie> ties;
  std::vector<lambda_bounds> lambda;  ///< of each outcome, for those that are transformed; may be shorter
  bool pairs = true;                  ///< variances are drawn with their correlations, too
  LoneEstimator estimator;
  Random rng;
  std::vector<std::unique_ptr<sem::Normal>> models;
  std::vector<std::unique_ptr<sem::Phantom>> phantoms;

  CorrelatedWorld(unsigned levels, const nesting& sizes, std::uint32_t seed);

  sem::equation_setup& add(unsigned level, arma::uword y, arma::Col<arma::uword> x);

  /// Terms of a place, in the order of the ties.
  void finish();

  void build();

  std::vector<double> rhos_of(std::size_t model, unsigned place, const std::vector<double>& all) const;

  /// Variances, correlations, scores, effects and outcomes from their joint distribution.
  void draw_joint();

  /// Rows of `place` given the phantoms: Lambda P + noise with what is left.
  arma::Mat<double> draw_place(std::size_t m, unsigned place, const arma::Mat<double>& S,
                               const std::vector<double>& rhos);

  void draw_outcome(std::size_t m, const std::vector<arma::Mat<double>>& S, const std::vector<double>& rhos);

  void scan();

  std::vector<double> functions() const;

 private:
  bool is_transformed(std::size_t m) const { return m < lambda.size() && lambda[m].is_set(); }
  std::unique_ptr<sem::Normal> make(std::size_t m);
};

}  // namespace tovik::tests
