#pragma once

#include <armadillo>
#include <vector>

#include "random/random.hpp"
#include "sem/autosolver/solver.hpp"
#include "sem/outcomes/missing_values.hpp"
#include "sem/scan/equation_scan.hpp"
#include "sem/scan/row_scale.hpp"
#include "sem/scan/values/slice_values.hpp"
#include "sem/wiring/tune.hpp"

namespace tovik::sem {

/// The missing values of a continuous outcome y* = g(y) whose equation gives y*_i ~ N(p_i, v_i), and the
/// steps that draw them. No Jacobian enters: all densities of the outcome are those of y*.
///
///   no other equation reads y:   y*_i = p_i + sqrt(v_i) z_i, within the range of g
///   a solved distribution:       y*_i from it, within the range of g
///   other equations read y:      random-walk Metropolis or an elliptical slice on the product of the
///   densities
///                                of all equations that hold y
class missing_outcomes final : public missing_values {
 public:
  missing_outcomes(arma::Col<arma::uword> units, unsigned level, outcome_scale& scale, const void* source);

  /// The steps. `equation` is in a scan with rows kept: its y() and r() give the predictions p = y - r and
  /// take the new values.
  void draw_predictive(scan::equation_scan& equation, const scan::row_scale& scale, Random& rng,
                       arma::Mat<double>& data);
  /// The solver is that of all units, or of the missing ones.
  void draw_solved(scan::equation_scan& equation, const autosolver::solver<autosolver::normal>& solver,
                   arma::Mat<double>& data);
  /// The same beside a scan.
  void draw_solved(const autosolver::solver<autosolver::normal>& solver, arma::Mat<double>& data);
  void draw_metropolis(scan::equation_scan& equation, const scan::row_scale& scale, Random& rng,
                       estimator::tune_obj& tune, arma::Mat<double>& data);
  void draw_slice(scan::equation_scan& equation, const scan::row_scale& scale, Random& rng,
                  unsigned max_passes, arma::Mat<double>& data);

  void log_density(const arma::Mat<double>& data, const arma::Col<arma::uword>& groups, double* out) override;

 private:
  void read_state(const scan::equation_scan& equation);
  void redraw(Random& rng, arma::Mat<double>& data);

  scan::slice_values slice_;
  std::vector<double> values_, mean_, sd_, z_;  ///< per value
  std::vector<arma::uword> outside_;            ///< values whose draw left the range
};

}  // namespace tovik::sem
