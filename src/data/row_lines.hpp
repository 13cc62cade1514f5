#pragma once

#include <armadillo>
#include <cstddef>
#include <string>
#include <vector>

namespace tovik {

/// The lines of a data file, counted from 1 with blank ones as an editor counts, that hold the rows with
/// these numbers (ascending, from 0) of its `n_rows` observations. The file is read again: empty when it is
/// no regular file, or not the one any more that had so many observations.
std::vector<std::size_t> lines_of_rows(const std::string& path, std::size_t n_rows,
                                       const std::vector<arma::uword>& rows);

}  // namespace tovik
