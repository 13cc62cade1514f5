#pragma once

#include <armadillo>
#include <cstdint>
#include <memory>
#include <vector>

#include "sem/autosolver/solver.hpp"
#include "sem/outcomes/ordinal.hpp"
#include "sem/scan_world.hpp"

namespace tovik::tests {

/// An ordinal outcome with known coefficients, of which some units are missing, and a second outcome
/// z = a + b Y* + c o + e that reads its propensity, its category, both or neither. Given the data, the
/// posterior of the one free threshold is a density on a line, and Y* is a normal within bounds given it:
/// states can be drawn directly.
class OrdinalWorld {
 public:
  static constexpr arma::uword z_column = 3, score_column = 9;

  World world;
  double b = 0.0, c = 0.0;  ///< what z reads of Y* and of the category

  OrdinalWorld(unsigned level, arma::uword n_categories, std::uint32_t seed);

  Random rng;

  void build(bool solved = false);

  /// Thresholds, Y* and missing categories from their distribution given the observed data.
  void draw_state();

  std::vector<double> functions() const;

  std::shared_ptr<sem::Ordinal> model;

 private:
  using units = arma::Col<arma::uword>;
  struct normal {
    double mean, sd;
  };

  static void fix(sem::equation_setup& setup, const arma::vec& values);
  double mu(arma::uword unit) const {
    return 0.3 + 0.5 * world.data(world.first_rows[level_](unit), x_column_);
  }
  double z(arma::uword unit) const { return world.data(world.first_rows[level_](unit), z_column); }
  double rest(arma::uword unit, arma::uword k) const {
    return z(unit) - a_ - c * (static_cast<double>(k) + 2.0);
  }
  /// Y* given z when the category is k, its bounds left out.
  normal score(arma::uword unit, arma::uword k) const;
  /// The density of z and of category k.
  double mass(arma::uword unit, arma::uword k, const arma::vec& tau) const;
  void draw_z();
  double draw_threshold();
  std::shared_ptr<sem::autosolver::solver<sem::autosolver::normal>> solver();

  unsigned level_;
  arma::uword n_, units_ = 0, x_column_ = 2;
  double a_ = 0.2, variance_ = 0.7;
  LoneEstimator estimator_;
  std::vector<arma::uword> categories_;
  units missing_;
  arma::vec weights_;
  std::shared_ptr<sem::Normal> z_;
};

}  // namespace tovik::tests
