#pragma once

#include <armadillo>
#include <string>
#include <vector>

#include "support/file_writer.hpp"

namespace tovik {

/// Marks the cells of a table that were read, not computed: 1 where they were, of the table's size.
using read_cells = arma::Mat<unsigned char>;

/// Writes a matrix as text, one line per row. `delimiter` is "csv" for cells between commas; anything else
/// gives columns of 12 characters between blanks (delimeter() tells it from a path's ending).
///
/// `names`: the header line, none when empty; a name with a comma or a quote stands in quotes between commas.
/// Throws error_debug "Variable names do not match output matrix size!" for another number of names than
/// columns; a matrix without columns leaves an empty file. `missing`: the text of a NaN, or empty to write
/// the number `value` in its place. `read`: marks the cells that were read; empty, all are computed.
///
/// With `scientific` every number has 10 decimals in scientific notation. Otherwise
///   - whole numbers below 2^53 show their digits (between blanks with the 4 decimals of their column),
///   - cells that were read have 4 decimals when these give the same number again, else the fewest digits
///   that
///     do,
///   - computed cells have 4 decimals, but 10 in scientific notation in a column with a cell above 10000000
///   or
///     with a standard deviation below 0.05, in which 4 decimals would leave little.
///
/// The file takes its place as file_set::store() puts it; a failure is kept there.
void save_matrix(const arma::Mat<double>& m, const std::string& path, const std::string& delimiter,
                 const std::vector<std::string>& names, const std::string& missing, const double& value,
                 bool scientific, const read_cells& read = {});

/// The same without a header.
void save_matrix(const arma::Mat<double>& m, const std::string& path, const std::string& delimiter,
                 const std::string& missing, const double& value, bool scientific);

/// The same as a file that is written and not in its place yet: for threads, which may not use the set of
/// files.
file_writer written_matrix(const arma::Mat<double>& m, const std::string& path, const std::string& delimiter,
                           const std::vector<std::string>& names, const std::string& missing,
                           const double& value, bool scientific, const read_cells& read = {});

}  // namespace tovik
