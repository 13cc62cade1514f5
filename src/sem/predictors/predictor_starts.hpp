#pragma once

#include <armadillo>

#include "sem/predictors/predictor_state.hpp"

namespace tovik::data {
class variable;
}

namespace tovik::sem {

/// The values of the units of a level, from their first rows; NaN where they are missing.
arma::Col<double> unit_values(const working_data& working, const arma::Mat<double>& data, arma::uword column,
                              unsigned level);

/// Fills missing values (NaN) by m + s z with the observed mean and standard deviation, not outside the
/// observed range. Throws error_debug when there is no observed value.
void fill_values(arma::Col<double>& values, Random& rng);

/// The position of each value among the variable's `values`; missing ones are drawn by the observed shares.
/// Throws error_debug for a value that is none of them, and when there is no observed value.
arma::Col<arma::uword> fill_categories(const arma::Col<double>& values, const data::variable& variable,
                                       Random& rng);

/// Starts the places above the own level: S_q are the means of the units below, variances are those of the
/// deviations, not below 1e-6 of `total`, the variance of the own scores. With `flat` the grand mean
/// becomes the mean of the highest scores.
void start_means(predictor_state& state, bool flat, double total);

}  // namespace tovik::sem
