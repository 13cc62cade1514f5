#pragma once

#include <string>
#include <vector>

#include "results/report_predictors.hpp"

namespace tovik {

class ModelList;

/// What a row of the draws is called where no table stands around it.
struct parameter_name {
  std::string text;    ///< "'y': L2 : Var(Intercept)"
  bool fixed = false;  ///< held at a value by the model
};

/// The name of every row of the draws, in their order: the rows of the equations, then those of the models of
/// predictors. Outcome and label are those of the tables, with the title of the section where the label alone
/// is not enough. `columns`: the names of the level scores, as for reported_rows.
std::vector<parameter_name> parameter_names(const ModelList& models, const predictor_models& predictors,
                                            const std::vector<std::string>& columns);

}  // namespace tovik
