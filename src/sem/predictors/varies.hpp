#pragma once

#include <armadillo>
#include <optional>
#include <vector>

namespace tovik::data {
class variable;
}

namespace tovik::sem {

class working_data;

/// The intraclass correlations of the observed values of a column by analysis-of-variance estimators for
/// unbalanced data (Searle, Casella & McCulloch, 1992, Variance Components, ch. 3): entry d is the share of
/// the level d + 1 above the column's own `level`. Negative components count as 0. Nothing if
/// the values do not vary within clusters.
std::optional<std::vector<double>> intraclass_correlations(const working_data& working,
                                                           const arma::Mat<double>& data, arma::uword column,
                                                           unsigned level);

/// For every distance above its own level (entry 0: true), whether the variable varies there: the correlation
/// is at least `cutoff`. Of a nominal variable the dummy code with the largest correlation counts.
/// Throws tovik::error for a variable that does not vary within its clusters.
std::vector<bool> varies(const working_data& working, const arma::Mat<double>& data, const data::variable& v,
                         unsigned level, double cutoff);

}  // namespace tovik::sem
