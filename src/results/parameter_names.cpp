#include "results/parameter_names.hpp"

#include <unordered_set>

#include "data/variable.hpp"
#include "model/model_list.hpp"
#include "model/row_layout.hpp"
#include "results/report_rows.hpp"
#include "sem/predictors/variable.hpp"
#include "support/block.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

std::string of_outcome(const std::string& outcome, const std::string& label) {
  return "'" + outcome + "': " + label;
}

/// Rows that follow from parameters share their labels with them: "x" is a coefficient and a standardized
/// one.
std::string label_of(const model::row& row, const std::string& title) {
  if (model::is_parameter(row.section)) return row.text();
  if (row.section == model::row_section::share) return title + " by " + row.text();
  return title + " " + trim(row.text());
}

std::string without_colon(std::string title) {
  if (!title.empty() && title.back() == ':') title.pop_back();
  return title;
}

/// "y | ", "y L2 | "
std::string in_front(const std::string& outcome, unsigned level) {
  return outcome + (level > 0 ? " L" + std::to_string(level) : "") + " | ";
}

/// What stands behind a coefficient that has been transformed; empty for rows of another shape.
std::string kind_of_standardized(const Model& model) {
  switch (model.layout().standardized) {
    case model::standardized_rows::odds_ratios:
      return "Odds Ratio";
    case model::standardized_rows::exponentiated:
      return "Exponentiated";
    case model::standardized_rows::coefficients:
      return "Standardized";
    case model::standardized_rows::correlations:
    case model::standardized_rows::none:
      break;
  }
  return "";
}

std::string column_of(const model::row& row, const Model& model, const std::string& outcome) {
  const std::string label = trim(row.label);
  if (row.section == model::row_section::fixed) return outcome + " ~ " + label;
  if (row.section == model::row_section::share) return in_front(outcome, row.level) + "R2: " + label;
  if (row.section == model::row_section::standardized) {
    const std::string kind = kind_of_standardized(model);
    if (!kind.empty()) return outcome + " ~ " + label + " | " + kind;
  }
  return in_front(outcome, row.level) + label;
}

/// Names that the program reserves are put into words.
std::string block_of(const Model& model) {
  namespace reserved = block::predef;
  if (model.block == reserved::hidden) return "hidden";
  if (model.kind() == model::kind::parameter) return "parameters";
  if (model.kind() == model::kind::computation) return "generated";
  if (model.block == reserved::imputation) return "imputation";
  return is_reserved_block(model.block) ? "model" : to_lower(model.block);
}

/// A variance model stands beside the equation of the same outcome, which may have the same predictors.
std::string outcome_of(const Model& model) {
  return model.kind() == model::kind::log_variance ? "var(" + model.name() + ")" : model.name();
}

/// A nominal outcome has its rows once for each dummy code.
void add_rows(std::vector<parameter_name>& out, const Model& model, const ModelList& models) {
  const std::vector<model::row> rows = model.rows();
  const bool nominal = model.kind() == model::kind::nominal;
  const unsigned codes = model.n_codes();
  for (unsigned code = 0; code < codes; ++code) {
    const std::string dummy = nominal ? model.outcomes.front().variable->dummies.at(code)->name : "";
    const std::string outcome = nominal ? dummy : outcome_of(model);
    for (const model::row& row : rows) {
      const std::string title = section_title(row.section, model, models);
      parameter_name one;
      one.text = of_outcome(outcome, label_of(row, title));
      one.fixed = row.fixed;
      one.column = column_of(row, model, row.outcome.empty() ? outcome : row.outcome);
      one.block = block_of(model);
      one.outcome = outcome_of(model);
      one.dummy = dummy;
      one.section = without_colon(title);
      one.level = row.level;
      one.label = trim(row.text());
      out.push_back(std::move(one));
    }
  }
}

/// A correlation with a phantom, a parameter with a prior, a computed one: a single row with a name of its
/// own.
void add_row(std::vector<parameter_name>& out, const Model& model, const std::string& name, bool fixed,
             const char* section) {
  parameter_name one;
  one.text = one.column = one.label = name;
  one.fixed = fixed;
  one.block = block_of(model);
  one.section = section;
  out.push_back(std::move(one));
}

/// "x ~ z" stands at each level of x, and may stand among the equations.
std::string column_of(const reported_row& one, const std::string& outcome) {
  if (one.row.what != sem::predictor_row::kind::coefficient)
    return in_front(outcome, one.row.level) + one.label();
  return one.row.name + " L" + std::to_string(one.row.level) + " ~ " + one.row.other;
}

void add_rows(std::vector<parameter_name>& out, const sem::Variable& model,
              const std::vector<std::string>& columns) {
  const std::size_t first = out.size();
  const std::string& outcome = model.variable().name;
  out.resize(first + model.numParams());
  for (const reported_row& row : reported_rows(model, columns)) {
    const bool level = row.row.level > 0;
    parameter_name& one = out[first + row.place];
    one.text = of_outcome(outcome, (level ? row.section() + " " : "") + row.label());
    one.fixed = row.row.fixed;
    one.column = column_of(row, outcome);
    one.block = "predictors";
    one.outcome = outcome;
    if (model.variable().type == data::type::nominal) one.dummy = row.row.name;
    one.section = without_colon(row.section());
    one.level = row.row.level;
    one.label = row.label();
  }
}

}  // namespace

void make_unique(std::vector<parameter_name>& names) {
  std::unordered_set<std::string> seen;
  for (parameter_name& name : names) {
    const std::string plain = name.column;
    for (unsigned k = 2; !seen.insert(name.column).second; ++k) {
      name.column = plain + " (" + std::to_string(k) + ")";
    }
  }
}

std::vector<parameter_name> parameter_names(const ModelList& models, const predictor_models& predictors,
                                            const std::vector<std::string>& columns) {
  std::vector<parameter_name> out;
  for (const Model& model : models) {
    const model::kind kind = model.kind();
    if (kind == model::kind::phantom) {
      add_row(out, model, Model::correlationParse(model), model.variance.is_fixed(),
              "Phantom Variable Correlations");
    } else if (kind == model::kind::parameter) {
      add_row(out, model, model.name(), false, "Additional Parameters");
    } else if (kind == model::kind::computation) {
      add_row(out, model, model.name(), false, "Generated Parameters");
    } else {
      add_rows(out, model, models);
    }
  }
  for (const auto& model : predictors) add_rows(out, *model, columns);
  make_unique(out);
  return out;
}

}  // namespace tovik
