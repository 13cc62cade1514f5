#pragma once

#include <armadillo>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tovik {

/// Reads a delimited text file: one observation a line, numbers separated by blanks and tabs or by commas.
///
/// Returns a matrix with one row for each observation and one column for each name; missing cells are NaN. A
/// file with a header and nothing below it gives 0 rows. `names`: the column names; when empty they are read
/// from the header, else the file must have no header. `delimiter`: a single character, or empty to find out;
/// holds the delimiter in force afterwards (" " stands for blanks and tabs). `missingCode`: the text of a
/// missing cell; with an empty code every cell must be a number (readData_fast). `reserveRows`: rows to make
/// room for at the start. Throws tovik::error at the first offence.
arma::Mat<double> readData(const std::string& path, std::vector<std::string>& names, std::string& delimiter,
                           const std::string& missingCode, std::size_t reserveRows);

/// readData without a missing code; its messages for mistaken headers say more.
arma::Mat<double> readData_fast(const std::string& path, std::vector<std::string>& names,
                                std::string& delimiter, std::size_t reserveRows);

/// readData on text in memory, taken in blocks of `block` bytes; `path` is what messages call it.
arma::Mat<double> readData_memory(std::string_view text, const std::string& path,
                                  std::vector<std::string>& names, std::string& delimiter,
                                  const std::string& missingCode, std::size_t reserveRows,
                                  std::size_t block = std::size_t{1} << 20);

/// The kind of file by its extension: "csv", or "dat" for all else.
std::string delimeter(const std::string& path);

}  // namespace tovik
