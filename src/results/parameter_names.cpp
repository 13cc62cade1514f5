#include "results/parameter_names.hpp"

#include "data/variable.hpp"
#include "model/model_list.hpp"
#include "results/report_rows.hpp"
#include "sem/predictors/variable.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

std::string of_outcome(const std::string& outcome, const std::string& label) {
  return "'" + outcome + "': " + label;
}

/// Rows that follow from parameters share their labels with them: "x" is a coefficient and a standardized
/// one.
std::string label_of(const model::row& row, const Model& model, const ModelList& models) {
  if (model::is_parameter(row.section)) return row.text();
  std::string section = section_title(row.section, model, models);
  if (row.section == model::row_section::share) return section + " by " + row.text();
  return section + " " + trim(row.text());
}

/// A nominal outcome has its rows once for each dummy code.
void add_rows(std::vector<parameter_name>& out, const Model& model, const ModelList& models) {
  const std::vector<model::row> rows = model.rows();
  const bool nominal = model.kind() == model::kind::nominal;
  const unsigned codes = model.n_codes();
  for (unsigned code = 0; code < codes; ++code) {
    const std::string outcome =
        nominal ? model.outcomes.front().variable->dummies.at(code)->name : model.name();
    for (const model::row& row : rows) {
      out.push_back({of_outcome(outcome, label_of(row, model, models)), row.fixed});
    }
  }
}

void add_rows(std::vector<parameter_name>& out, const sem::Variable& model,
              const std::vector<std::string>& columns) {
  const std::size_t first = out.size();
  out.resize(first + model.numParams());
  for (const reported_row& one : reported_rows(model, columns)) {
    const bool level = one.row.level > 0;
    const std::string label = (level ? one.section() + " " : "") + one.label();
    out[first + one.place] = {of_outcome(model.variable().name, label), one.row.fixed};
  }
}

}  // namespace

std::vector<parameter_name> parameter_names(const ModelList& models, const predictor_models& predictors,
                                            const std::vector<std::string>& columns) {
  std::vector<parameter_name> out;
  for (const Model& model : models) {
    const model::kind kind = model.kind();
    if (kind == model::kind::phantom) {
      out.push_back({Model::correlationParse(model), model.variance.is_fixed()});
    } else if (kind == model::kind::parameter || kind == model::kind::computation) {
      out.push_back({model.name(), false});
    } else {
      add_rows(out, model, models);
    }
  }
  for (const auto& model : predictors) add_rows(out, *model, columns);
  return out;
}

}  // namespace tovik
