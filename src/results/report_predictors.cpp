#include "results/report_predictors.hpp"

#include <algorithm>
#include <limits>

#include "data/variable.hpp"
#include "results/summary.hpp"
#include "results/table.hpp"
#include "sem/chain/mcmc.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

using kind = sem::predictor_row::kind;

/// Grand means come first, thresholds last, the levels rise in between.
unsigned rank(const reported_row& one) {
  if (one.row.what == kind::grand_mean) return 0;
  if (one.row.what == kind::threshold) return std::numeric_limits<unsigned>::max();
  return one.row.level;
}

const char* means_note =
    "\n    NOTE: This model is used to estimate the grand mean and latent group means needed \n"
    "          to center outcome variables that appear as predictors in other models.\n";

void print_row(const Table& table, const sem::Variable& model, const reported_row& one,
               const arma::Row<double>& values) {
  const auto blank = Table::tests::blank;
  if (one.row.what == kind::grand_mean) {
    table.margin_row(one.label(), values, blank);
  } else if (one.row.fixed && !sem::Mcmc::print_fixed_values) {
    table.fixed_row(one.label(), values, fixed_text(model.params()[one.place]), blank);
  } else {
    table.row(one.label(), values, blank);
  }
}

}  // namespace

std::string reported_row::label() const {
  switch (row.what) {
    case kind::grand_mean:
      return row.name.empty() ? "Grand Mean" : "Grand Mean: " + row.name;
    case kind::coefficient:
      return row.name + " ~ " + row.other;
    case kind::residual_variance:
      return "Residual Var.";
    case kind::variance:
      return "Var(" + row.name + ")";
    case kind::covariance:
      return "Cov(" + row.name + ", " + row.other + ")";
    case kind::threshold:
      return "Tau " + std::to_string(row.number);
  }
  throw error_debug("Unknown kind of predictor row.");
}

std::string reported_row::section() const {
  if (row.what == kind::grand_mean) return "";
  if (row.what == kind::threshold) return "Thresholds:";
  return "Level " + std::to_string(row.level) + ":";
}

std::vector<reported_row> reported_rows(const sem::Variable& model, const std::vector<std::string>& names) {
  std::vector<reported_row> rows;
  const bool nominal = model.variable().type == data::type::nominal;
  for (sem::predictor_row& row : model.layout(names)) {
    if (row.what == kind::grand_mean && !nominal) row.name.clear();
    rows.push_back({std::move(row), rows.size()});
  }
  if (rows.size() != model.numParams())
    throw error_debug("The rows of the predictor model of '" + model.variable().name +
                      "' do not match its parameters.");
  std::stable_sort(rows.begin(), rows.end(),
                   [](const reported_row& a, const reported_row& b) { return rank(a) < rank(b); });
  return rows;
}

std::string predictor_title(const sem::Variable& model, bool has_outcomes) {
  const char* name = model.variable().name.c_str();
  if (model.means_only()) return format("Means Model:        %-11s", name);
  if (!has_outcomes)
    return format(model.missing ? "Missing variable:   %-11s" : "Complete variable:  %-11s", name);
  return format(model.missing ? "Missing predictor:  %-11s" : "Complete predictor: %-11s", name);
}

void print_predictors(std::FILE* stream, const predictor_models& models,
                      const std::vector<std::string>& names, bool has_outcomes, const Summary& estimates) {
  print_summaries_based_on(stream, estimates.n_iterations(), estimates.n_chains(), "\n");
  const arma::Mat<double> values = estimates.summary();
  arma::uword first = 0;
  for (const auto& model : models) {
    std::fprintf(stream, "\n\n%s\n%s\n", predictor_title(*model, has_outcomes).c_str(),
                 model->means_only() ? means_note : "");
    const Table table(stream, estimates.colNames());
    table.heading();
    std::string section;
    for (const reported_row& one : reported_rows(*model, names)) {
      const arma::uword at = first + one.place;
      if (at >= values.n_rows) continue;
      if (one.section() != section) table.blank_row("\n" + (section = one.section()));
      print_row(table, *model, one, values.row(at));
    }
    table.blank_row("", "");
    table.close("\n\n");
    first += model->numParams();
  }
}

void sem::Mcmc::printCovariates(std::FILE* stream, const VariableList&, const Summary& iterations) const {
  print_predictors(stream, predictors(), predictor_column_names(), outcomes() != nullptr, iterations);
}

}  // namespace tovik
