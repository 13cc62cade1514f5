#pragma once

#include <armadillo>
#include <vector>

#include "sem/outcomes/priors.hpp"
#include "sem/phantoms/phantom_loadings.hpp"
#include "sem/scan/coefficient_prior.hpp"
#include "sem/wiring/cluster.hpp"
#include "sem/wiring/compute.hpp"

namespace tovik::sem {

/// What the ensemble passes to a regression of one variable. Columns are columns of the working matrix;
/// vectors "per level" have one entry for each level above the outcome's own, the nearest first.
struct equation_setup {
  arma::uword y = 0;
  arma::Col<arma::uword> x;                                ///< plain predictors, the intercept's column first
  std::vector<estimator::compute> x_compute;               ///< computed predictors
  std::vector<arma::Col<arma::uword>> z;                   ///< per level, plain random-effect covariates
  std::vector<std::vector<estimator::compute>> z_compute;  ///< per level; may be empty when there are none
  std::vector<bool> mutable_columns;     ///< per data column: written after set-up; empty: none
  estimator::cluster cluster;            ///< made for the outcome's level
  unsigned n_levels = 0;                 ///< levels above the outcome, with effects or not
  unsigned level = 0;                    ///< 0: rows
  arma::Col<arma::uword> missing_units;  ///< units of the outcome without an observed value
  bool response_moves = false;           ///< it is drawn, whether or not the outcome is observed
  bool imputes = true;                   ///< their values are drawn here, and not by another equation
  arma::Col<arma::uword> fixed;          ///< coefficients that are not drawn
  arma::Col<double> fixed_values;        ///< one each
  bool estimate_resid = true;            ///< the residual variance is drawn
  double resid_value = 1.0;              ///< its value otherwise, and before starts are given
  bool has_intercept = true;             ///< coefficient 0 is the intercept
  std::vector<int> icept;                ///< per level, 1 if its first term is an intercept
  /// Phantoms of the residual, then those of the random effects of each level; empty: none.
  std::vector<std::vector<phantom_term>> phantoms;
  priors prior;
  scan::coefficient_prior coefficients;  ///< flat unless said
};

}  // namespace tovik::sem
