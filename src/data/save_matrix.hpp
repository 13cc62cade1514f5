#pragma once

#include <armadillo>
#include <string>
#include <vector>

namespace tovik {

/// Writes a matrix as text, one line per row. `delimiter` is "csv" for cells between commas; anything else
/// gives columns of 12 characters between blanks (delimeter() tells it from a path's ending).
///
/// `names`: the header line, none when empty; throws error_debug "Variable names do not match output matrix
/// size!" for another number of names than columns; a matrix without columns leaves an empty file. `missing`:
/// the text of a NaN, or empty to write the number `value` in its place. Columns with a cell above 10000000,
/// and all columns when `scientific`, have 10 decimals in scientific notation; otherwise 4 decimals, and csv
/// files show whole numbers without any. A path that cannot be opened loses the write: paths are checked
/// before the run.
void save_matrix(const arma::Mat<double>& m, const std::string& path, const std::string& delimiter,
                 const std::vector<std::string>& names, const std::string& missing, const double& value,
                 bool scientific);

/// The same without a header.
void save_matrix(const arma::Mat<double>& m, const std::string& path, const std::string& delimiter,
                 const std::string& missing, const double& value, bool scientific);

}  // namespace tovik
