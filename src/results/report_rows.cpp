#include "results/report_rows.hpp"

#include "model/model_list.hpp"
#include "model/row_layout.hpp"
#include "support/block.hpp"
#include "support/error.hpp"
#include "support/text.hpp"
#include "support/wrapped.hpp"

namespace tovik {

namespace {

const char* standardized_title(const Model& model) {
  switch (model.layout().standardized) {
    case model::standardized_rows::odds_ratios:
      return "Odds Ratio:";
    case model::standardized_rows::exponentiated:
      return "Exponentiated Coefficients:";
    case model::standardized_rows::correlations:
      return "Correlations:";
    case model::standardized_rows::coefficients:
    case model::standardized_rows::none:
      break;
  }
  return "Standardized Coefficients:";
}

/// Of a block that of its covariance matrix, which is an average where a member's variance is not the same
/// everywhere.
const char* variance_title(const Model& model, const ModelList& models) {
  if (!model.is_multi()) return "Variances:";
  for (unsigned member : models.find_multi(model)) {
    if (model::has_many_variances(models[member].link)) return "Average Covariances:";
  }
  return "Covariances:";
}

}  // namespace

const char* section_title(model::row_section section, const Model& model, const ModelList& models) {
  switch (section) {
    case model::row_section::variance:
      return variance_title(model, models);
    case model::row_section::fixed:
      return "Coefficients:";
    case model::row_section::threshold:
      return "Thresholds:";
    case model::row_section::transform:
      return "Transformation:";
    case model::row_section::standardized:
      return standardized_title(model);
    case model::row_section::share:
      return "Proportion Variance Explained";
  }
  throw error_debug("Unknown class of rows.");
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
  const bool latent = model.kind() == model::kind::latent;
  return format(latent ? "Latent Variable:   %-11s" : "Outcome Variable:  %-11s", model.name().c_str());
}

bool is_reserved_block(const std::string& name) {
  namespace reserved = block::predef;
  return name == reserved::none || name == reserved::model || name == reserved::hidden ||
         name == reserved::imputation || name == reserved::parameter || name == reserved::computation;
}

}  // namespace tovik
