#pragma once

#include <armadillo>
#include <memory>
#include <string>
#include <vector>

namespace tovik {

class VariableList;

namespace sem {

class working_data;

/// The columns of the data file as they are saved, missing cells NaN: every chain fills a copy. Columns that
/// were centred are in the metric of the file.
struct saved_columns {
  arma::Mat<double> values;          ///< rows in file order
  std::vector<arma::uword> columns;  ///< the column of the prepared data behind each of them
  std::vector<std::string> names;
};

/// Taken from prepared data (rows in file order, columns the variables of the catalogue), once for all
/// chains. The columns of the data file end where the constant stands; throws error_debug if there is none.
std::shared_ptr<const saved_columns> keep_saved_columns(const VariableList& variables,
                                                        const arma::Mat<double>& data);

/// Fills the missing cells of the saved column behind `column`, if there is one. `out`: a copy of the values;
/// `values`: one for each row of the working data.
void fill_missing(const saved_columns& saved, const working_data& working, arma::uword column,
                  const arma::Col<double>& values, arma::Mat<double>& out);

}  // namespace sem
}  // namespace tovik
