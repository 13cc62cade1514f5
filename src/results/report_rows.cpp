#include "results/report_rows.hpp"

#include "data/variable.hpp"
#include "model/model_list.hpp"
#include "support/block.hpp"
#include "support/error.hpp"
#include "support/text.hpp"
#include "support/wrapped.hpp"

namespace tovik {

namespace {

constexpr std::size_t tag_length = 11;

bool is_kind(const Model& model, data::type kind) {
  return model.kind() == static_cast<int>(kind);
}

/// A probit fixes the scale of its latent variable by a residual variance of 1.
bool has_unit_variance(const Model& model) {
  constexpr int missing_indicator = 6;
  return model.kind() == missing_indicator || is_kind(model, data::type::ordinal);
}

bool has_many_variances(const Model& model) {
  return model.link == model::link::hev || model.link == model::link::scale ||
         model.link == model::link::yjt_scale;
}

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
    } else if (row.label == "Residual Var." && has_unit_variance(model)) {
      row.is_fixed = true;
      row.value = 1.0;
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

standardized_class standardized_kind(const Model& model) {
  if (model.outcomes.size() > 1 || model.is_multi()) return standardized_class::correlations;
  if (is_kind(model, data::type::count)) return standardized_class::exponentiated;
  if (model.link == model::link::logit || is_kind(model, data::type::nominal))
    return standardized_class::odds_ratios;
  return standardized_class::coefficients;
}

const char* section_title(standardized_class kind) {
  switch (kind) {
    case standardized_class::coefficients:
      return "Standardized Coefficients:";
    case standardized_class::odds_ratios:
      return "Odds Ratio:";
    case standardized_class::exponentiated:
      return "Exponentiated Coefficients:";
    case standardized_class::correlations:
      return "Correlations:";
  }
  throw error_debug("Unknown class of rows.");
}

const char* variance_title(const Model& model, const ModelList& models) {
  if (!model.is_multi()) return section_title(row_class::variance);
  for (unsigned member : models.find_multi(model)) {
    if (has_many_variances(models[member])) return "Average Covariances:";
  }
  return "Covariances:";
}

namespace {

/// Members of a block in lines of 70 characters; each line repeats what stands in front.
std::string block_title(const Model& model) {
  constexpr std::size_t width = 70;
  const std::string head = "Covariance Matrix:";
  std::string out = head;
  std::string line;
  for (const model::anyVariable& member : model.fixed) {
    const std::string piece = " " + member.name();
    if (!line.empty() && line.size() + piece.size() > width) {
      out += line + "\n" + head;
      line.clear();
    }
    line += piece;
  }
  return out + format("%-12s", line.c_str());
}

}  // namespace

std::string model_title(const Model& model) {
  if (model.is_multi()) return block_title(model);
  const bool latent = is_kind(model, data::type::latent);
  return format(latent ? "Latent Variable:   %-11s" : "Outcome Variable:  %-11s", model.name().c_str());
}

bool is_phantom(const Model& model) {
  return is_kind(model, data::type::phantom);
}

bool is_parameter(const Model& model) {
  return is_kind(model, data::type::parameter);
}

bool is_computation(const Model& model) {
  return is_kind(model, data::type::computation);
}

bool is_reserved_block(const std::string& name) {
  namespace reserved = block::predef;
  return name == reserved::none || name == reserved::model || name == reserved::hidden ||
         name == reserved::imputation || name == reserved::parameter || name == reserved::computation;
}

}  // namespace tovik
