// The names of all parameters for programs that read the trace files.

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "data/variable.hpp"
#include "model/model_list.hpp"
#include "model/row_layout.hpp"
#include "model/row_table.hpp"
#include "results/label_lines.hpp"
#include "results/report_predictors.hpp"
#include "sem/chain/mcmc.hpp"

namespace tovik {

namespace {

/// What the standardized rows of a model are called.
const char* kind_name(model::standardized_rows standardized) {
  switch (standardized) {
    case model::standardized_rows::odds_ratios:
      return "Odds Ratio";
    case model::standardized_rows::exponentiated:
      return "Exponentiated Coefficients";
    case model::standardized_rows::correlations:
      return "Correlations";
    case model::standardized_rows::coefficients:
    case model::standardized_rows::none:
      break;
  }
  return "Standardized Beta";
}

const char* kind_name(model::row_section section, model::standardized_rows standardized) {
  switch (section) {
    case model::row_section::threshold:
      return "Threshold";
    case model::row_section::variance:
      return "Variance";
    case model::row_section::transform:
      return "Transform";
    case model::row_section::standardized:
      return kind_name(standardized);
    case model::row_section::share:
      return "R2";
    case model::row_section::fixed:
      break;
  }
  return "Beta";
}

/// As the report prints it, but in variances and covariances an intercept is written "(i)", with a blank
/// before it unless a comma follows.
std::string short_text(model::row row) {
  const auto is_intercept = [](const std::string& name) { return name == "Intercept"; };
  if (std::none_of(row.of.begin(), row.of.end(), is_intercept)) return row.text();
  const std::string last = is_intercept(row.of.back()) ? " (i)" : row.of.back();
  if (row.of.size() == 1) {
    row.label = "Var(" + last + ")";
  } else {
    row.label = "Cov(" + (is_intercept(row.of.front()) ? "(i)" : row.of.front()) + "," + last + ")";
  }
  return row.text();
}

/// What the row of a predictor model belongs to.
std::string kind_name(const reported_row& one) {
  if (one.row.what == sem::predictor_row::kind::threshold) return "Threshold";
  if (one.row.what != sem::predictor_row::kind::grand_mean) return "Level-" + std::to_string(one.row.level);
  return one.row.name.empty() ? "Grand Mean" : "Grand Mean#" + one.row.name;
}

/// As in the table, but variables inside "Var(" and "Cov(" are marked.
std::string marked_label(const reported_row& one) {
  switch (one.row.what) {
    case sem::predictor_row::kind::variance:
      return "Var(#" + one.row.name + ")";
    case sem::predictor_row::kind::covariance:
      return "Cov(#" + one.row.name + "," + one.row.other + ")";
    default:
      return one.label();
  }
}

void write(label_lines& lines, const sem::Variable& model, const std::vector<std::string>& names,
           arma::uword first) {
  for (const reported_row& one : reported_rows(model, names)) {
    lines.write(model.variable().name, kind_name(one), marked_label(one), first + one.place);
  }
}

/// The rows of one equation; a nominal outcome has them once for each dummy code.
void write(label_lines& lines, const Model& model, const std::vector<model::row>& rows, arma::uword number) {
  const unsigned codes = model.n_codes();
  const model::standardized_rows standardized = model.layout().standardized;
  for (unsigned code = 0; code < codes; ++code) {
    const std::string name =
        codes > 1 ? model.outcomes.front().variable->dummies.at(code)->name : model.name();
    for (const model::row& row : rows)
      lines.write(name, kind_name(row.section, standardized), short_text(row), number++);
  }
}

}  // namespace

void sem::Mcmc::printParameterLabelsFile(std::FILE* stream, const VariableList&,
                                         const ModelList& models) const {
  label_lines lines(stream);
  const model::row_table table(models);
  for (std::size_t i = 0; i < models.size(); ++i) {
    if (models[i].kind() != model::kind::phantom) continue;
    const std::string label = Model::correlationParse(models[i]);
    lines.write(label, label, label, table.first(i) + 1);
  }
  arma::uword first_row = table.total() + 1;
  for (const auto& model : predictors()) {
    write(lines, *model, predictor_column_names(), first_row);
    first_row += model->numParams();
  }
  for (std::size_t i = 0; i < models.size(); ++i) {
    if (models[i].kind() != model::kind::phantom) write(lines, models[i], table.rows(i), table.first(i) + 1);
  }
}

}  // namespace tovik
