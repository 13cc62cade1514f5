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

  /// "y ~ x", "y | Residual Var.", "y L2 | Var(Intercept)": for files with a column, or a row, for each. No
  /// two rows of the draws have the same.
  std::string column = {};
  /// The name of a block of MODEL, else "model"; "hidden", "parameters", "generated", "predictors" and so on.
  std::string block = {};
  std::string outcome = {};  ///< as the report names it, or "var(y)"; empty for a parameter of its own
  std::string dummy = {};    ///< the dummy code of a nominal outcome
  std::string section = {};  ///< the title above the row in its table, without the colon
  unsigned level = 0;        ///< as the report counts, 0 for none
  std::string label = {};    ///< in its table: "L2 : Var(Intercept)"
};

/// Numbers the columns that are there already: "y ~ x", "y ~ x (2)".
void make_unique(std::vector<parameter_name>& names);

/// The name of every row of the draws, in their order: the rows of the equations, then those of the models of
/// predictors. Outcome and label are those of the tables, with the title of the section where the label alone
/// is not enough. The names of their columns are unique. `columns`: the names of the level scores, as for
/// reported_rows.
std::vector<parameter_name> parameter_names(const ModelList& models, const predictor_models& predictors,
                                            const std::vector<std::string>& columns);

}  // namespace tovik
