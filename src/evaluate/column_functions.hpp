#pragma once

#include <armadillo>

#include "evaluate/grouping.hpp"

/// The functions whose value in one row depends on other rows: statistics of a column or of its clusters, and
/// lags. All return one value per row and are pure. A cluster is the rows with one value of the identifier; a
/// row whose identifier is missing belongs to none and gets NaN. Columns of different lengths raise
/// error_debug "Elements do not match.".
namespace tovik::evaluate {

/// The arithmetic mean in every row; NaN in every row when one entry is NaN.
arma::Col<double> mean(const arma::Col<double>& x);
/// The sample standard deviation (divisor n - 1) in every row; NaN when one entry is NaN or n = 1.
arma::Col<double> sd(const arma::Col<double>& x);
/// x - mean(x).
arma::Col<double> center(const arma::Col<double>& x);
/// (x - mean) / sd, without a guard against sd = 0.
arma::Col<double> scale(const arma::Col<double>& x);
/// The largest and the smallest known element in every row; NaN when none is known.
arma::Col<double> compute_max(const arma::Col<double>& x);
arma::Col<double> compute_min(const arma::Col<double>& x);

/// The mean of x within each cluster of `id`, in the rows of that cluster; NaN there when one entry is NaN.
arma::Col<double> aggregate_mn(const arma::Col<double>& x, const arma::Col<double>& id);
/// The standard deviation of x within each cluster (divisor n_j - 1); NaN in a cluster of one row.
arma::Col<double> aggregate_sd(const arma::Col<double>& x, const arma::Col<double>& id);
/// x less its cluster mean, and that divided by the standard deviation of the cluster.
arma::Col<double> center(const arma::Col<double>& x, const arma::Col<double>& id);
arma::Col<double> scale(const arma::Col<double>& x, const arma::Col<double>& id);

/// The same over clusters that are known already.
arma::Col<double> aggregate_mn(const arma::Col<double>& x, const grouping& clusters);
arma::Col<double> aggregate_sd(const arma::Col<double>& x, const grouping& clusters);
arma::Col<double> center(const arma::Col<double>& x, const grouping& clusters);
arma::Col<double> scale(const arma::Col<double>& x, const grouping& clusters);

/// The x of the row before in the order of `time`; NaN in the earliest row and in rows without a time. Throws
/// error "ERROR: Non unique time elements in lag1 function." when two rows have one time.
arma::Col<double> compute_lag1(const arma::Col<double>& x, const arma::Col<double>& time);
/// The same inside each cluster of `id`.
arma::Col<double> aggregate_lag1(const arma::Col<double>& x, const arma::Col<double>& time,
                                 const arma::Col<double>& id);

}  // namespace tovik::evaluate
