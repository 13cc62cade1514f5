#pragma once

#include <armadillo>
#include <string>
#include <vector>

#include "data/patterns.hpp"

namespace tovik {

class VariableList;

namespace sem {

class working_data;

/// What the report says of missing cells before anything is drawn.
struct missing_summary {
  patterns table;                  ///< of the model variables
  std::vector<std::string> names;  ///< theirs, in the shown form
  std::vector<double> percents;    ///< of each variable's units, at its own level, that are missing
};

/// `data`: rows in file order. `working`: the same data, missing cells not filled yet.
missing_summary summarise_missing(const VariableList& variables, const arma::Mat<double>& data,
                                  const working_data& working);

}  // namespace sem
}  // namespace tovik
