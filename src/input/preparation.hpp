#pragma once

#include <armadillo>
#include <vector>

#include "data/variable_list.hpp"
#include "input/input_file.hpp"
#include "model/model_list.hpp"

/// The steps of InputFile::update, each in a file of its own. They run in the order in which they stand here,
/// and throw tovik::error at the first fault.
namespace tovik::preparation {

using variable_ptr = VariableList::variable_ptr;

/// What the steps work on. Rows of `data` are observations, columns stand where the catalogue says.
struct run {
  InputFile& input;
  arma::Mat<double>& data;
  VariableList& vars;
  const ModelList& models;
};

/// Gives every variable of the equations its role, and auxiliary variables that of a predictor. A variable
/// without a role is set aside.
void set_roles(const run& r);

/// The data columns whose missing cells count: outcomes, predictors (also inside computed terms and
/// definitions) and auxiliary variables. A variable that stands in the equations only as an indicator of its
/// missing cells is always observed and does not count. In catalogue order.
std::vector<variable_ptr> counted_columns(const run& r);

/// Deletes rows: listwise on demand, rows without any observed cell, clusters of rows without counts. Records
/// the deleted rows and brings the missing flags up to date.
void drop_rows(const run& r);

/// Every counted column needs an observed cell.
void check_observed(const run& r);
/// Every pair of counted columns of one level needs a row where both are observed.
void check_covariances(const run& r);

/// Category values of ordinal and nominal variables, at least two.
void set_categories(const run& r);

/// CENTER: marks variables and latent means; nothing is subtracted yet.
void set_centering(const run& r);

/// Fixes complete predictors that nobody has named and whose latent means or scores are not used.
void fix_complete(const run& r);
/// Variables named in FIXED whose latent mean is used cannot stay fixed.
void release_for_means(const run& r);
/// A propensity as a predictor needs a probit equation of its variable.
void check_propensities(const run& r);
/// Each named random effect needs the equation in which it is estimated.
void connect_random_effects(const run& r);

/// Subtracts the observed means of variables that are fixed and centred, and keeps the columns as they were.
void center_fixed(const run& r);

/// Appends the columns that derive from variables, for what the equations use, and tells the variables where
/// they are.
void append_derived_columns(const run& r);

/// The data column that a variable stands for: a dummy code belongs to its nominal variable.
variable_ptr data_variable(const variable_ptr& v);

/// Continuous, ordinal, count or nominal.
bool is_data_column(const data::variable& v);

/// A line of a warning for each name.
std::string name_lines(const std::vector<variable_ptr>& list);

}  // namespace tovik::preparation
