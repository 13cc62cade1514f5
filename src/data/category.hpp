#pragma once

#include <armadillo>
#include <string>
#include <vector>

namespace tovik {

/// The sorted distinct values of the column; `missing` tells that it may hold NaN, which is no value.
std::vector<double> dummyvalues(const arma::Col<double>& column, bool missing);

/// The same with `reference` moved to the front. Throws tovik::error_debug if the column does not hold it;
/// ask has_value first.
std::vector<double> dummyvalues(const arma::Col<double>& column, bool missing, double reference);

bool has_value(const std::vector<double>& values, double value);

/// One 0/1 column for each value but the first (the reference), in order; missing rows are NaN.
arma::Mat<double> dummycode(const arma::Col<double>& column, const std::vector<double>& values, bool missing);

}  // namespace tovik
