// The names of all parameters for programs that read the trace files.

#include <cstdio>
#include <string>
#include <vector>

#include "data/variable.hpp"
#include "model/model_list.hpp"
#include "results/report_predictors.hpp"
#include "results/report_rows.hpp"
#include "sem/chain/mcmc.hpp"

namespace tovik {

namespace {

const char* kind_name(row_class kind) {
  switch (kind) {
    case row_class::threshold:
      return "Threshold";
    case row_class::variance:
      return "Variance";
    case row_class::transform:
      return "Transform";
    case row_class::fixed:
      break;
  }
  return "Beta";
}

/// What the standardized rows of a model are called.
const char* kind_name(standardized_class kind) {
  switch (kind) {
    case standardized_class::odds_ratios:
      return "Odds Ratio";
    case standardized_class::exponentiated:
      return "Exponentiated Coefficients";
    case standardized_class::correlations:
      return "Correlations";
    case standardized_class::coefficients:
      break;
  }
  return "Standardized Beta";
}

/// Inside "Var(" and "Cov(" an intercept is written "(i)", with a blank before it unless a comma follows.
std::string shorten_intercepts(const std::string& label) {
  const std::string word = "Intercept";
  const std::size_t open = std::min(label.find("Var("), label.find("Cov("));
  if (open == std::string::npos) return label;
  std::string out = label;
  for (std::size_t at = out.find(word, open); at != std::string::npos; at = out.find(word, at + 1)) {
    const char before = out[at - 1];
    const char after = at + word.size() < out.size() ? out[at + word.size()] : ')';
    if ((before != '(' && before != ',') || (after != ')' && after != ',')) continue;
    out.replace(at, word.size(), after == ',' ? "(i)" : " (i)");
  }
  return out;
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

/// Writes lines under running numbers, which count rows of the draws.
class label_lines {
 public:
  explicit label_lines(std::FILE* stream) : stream_(stream) {
    std::fputs("\"latent\" \"latent\" \"latent\" 0\n", stream_);
  }

  void write(const std::string& model, const std::string& kind, const std::string& label, unsigned number) {
    std::fprintf(stream_, "\"%s\" \"%s\" \"%s\" %i\n", model.c_str(), kind.c_str(), label.c_str(),
                 static_cast<int>(number));
  }

  void write(const sem::Variable& model, const std::vector<std::string>& names, arma::uword first) {
    for (const reported_row& one : reported_rows(model, names)) {
      write(model.variable().name, kind_name(one), marked_label(one),
            static_cast<unsigned>(first + one.place));
    }
  }

  /// The rows of one equation; a nominal outcome has them once for each dummy code.
  void write(const Model& model, unsigned number) {
    const unsigned codes = model.n_codes();
    for (unsigned code = 0; code < codes; ++code) {
      const std::string name =
          codes > 1 ? model.outcomes.front().variable->dummies.at(code)->name : model.name();
      for (const parameter_row& row : parameter_rows(model)) {
        const bool variance = row.kind == row_class::variance;
        write(name, kind_name(row.kind), variance ? shorten_intercepts(row.label) : row.label, number++);
      }
      for (const std::string& label : model.standardized()) {
        write(name, kind_name(standardized_kind(model)), label, number++);
      }
      for (const std::string& label : model.rsquare()) write(name, "R2", label.substr(4), number++);
    }
  }

 private:
  std::FILE* stream_;
};

}  // namespace

void sem::Mcmc::printParameterLabelsFile(std::FILE* stream, const VariableList&,
                                         const ModelList& models) const {
  label_lines lines(stream);
  const std::vector<unsigned> starts = models.row_starts();
  std::size_t place = 0;
  for (const Model& model : models) {
    const unsigned first = starts[place++] + 1;
    if (!is_phantom(model)) continue;
    for (const parameter_row& row : parameter_rows(model)) {
      lines.write(row.label, row.label, row.label, first);
    }
  }
  arma::uword first_row = starts.back() + 1;
  for (const auto& model : predictors()) {
    lines.write(*model, predictor_column_names(), first_row);
    first_row += model->numParams();
  }
  place = 0;
  for (const Model& model : models) {
    const unsigned first = starts[place++] + 1;
    if (!is_phantom(model)) lines.write(model, first);
  }
}

}  // namespace tovik
