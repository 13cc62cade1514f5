#include "results/report_rows.hpp"

#include "data/variable.hpp"
#include "model/model.hpp"
#include "support/block.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

constexpr std::size_t tag_length = 11;

row_class class_of(const std::string& row) {
  const std::string tag = row.substr(0, tag_length);
  if (tag == "Variance : ") return row_class::variance;
  if (tag == "   Fixed : ") return row_class::fixed;
  if (tag == "Threshold: ") return row_class::threshold;
  if (tag == "Transform: ") return row_class::transform;
  throw error_debug("A row of estimates has no class: " + row);
}

}  // namespace

std::vector<parameter_row> parameter_rows(const Model& model) {
  const std::vector<model::parameter> coefficients = model.fixedParameters();
  std::size_t coefficient = 0;
  std::vector<parameter_row> rows;
  for (const std::string& text : model.parameters()) {
    parameter_row row{class_of(text), text.substr(tag_length), false};
    const model::parameter* param = nullptr;
    if (row.kind == row_class::fixed) {
      param = &coefficients.at(coefficient++);
    } else if (row.label == "Residual Var.") {
      param = &model.variance;
    }
    if (param != nullptr && param->is_fixed()) {
      row.is_fixed = true;
      row.value = param->value();
    }
    rows.push_back(std::move(row));
  }
  return rows;
}

const char* section_title(row_class kind) {
  switch (kind) {
    case row_class::variance:
      return "Variances:";
    case row_class::fixed:
      return "Coefficients:";
    case row_class::threshold:
      return "Thresholds:";
    case row_class::transform:
      return "Transformation:";
  }
  throw error_debug("Unknown class of rows.");
}

std::string model_title(const Model& model) {
  const bool latent = model.kind() == static_cast<int>(data::type::latent);
  return format(latent ? "Latent Variable:   %-11s" : "Outcome Variable:  %-11s", model.name().c_str());
}

bool is_reserved_block(const std::string& name) {
  namespace reserved = block::predef;
  return name == reserved::none || name == reserved::model || name == reserved::hidden ||
         name == reserved::imputation || name == reserved::parameter || name == reserved::computation;
}

}  // namespace tovik
