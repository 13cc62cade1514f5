// The estimates of the outcome models, one table per model.

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "model/model_list.hpp"
#include "results/report_rows.hpp"
#include "results/summary.hpp"
#include "results/table.hpp"
#include "sem/mcmc.hpp"
#include "support/block.hpp"
#include "support/not_available.hpp"
#include "support/text.hpp"
#include "support/wrapped.hpp"

namespace tovik {

namespace {

/// The rows of the summary table, read from top to bottom.
class estimates {
 public:
  explicit estimates(arma::Mat<double> table) : table_(std::move(table)) {}
  bool empty() const { return table_.n_rows == 0; }
  arma::Row<double> next() { return table_.row(row_++); }
  void skip(arma::uword rows) { row_ += rows; }

 private:
  arma::Mat<double> table_;
  arma::uword row_ = 0;
};

void print_parameters(const Table& table, const Model& model, estimates& values) {
  bool first = true;
  row_class current = row_class::variance;
  for (const parameter_row& row : parameter_rows(model)) {
    if (first || row.kind != current) {
      const char* break_line = row.kind == row_class::variance ? "" : "\n";
      table.section(std::string(break_line) + section_title(row.kind));
      current = row.kind;
      first = false;
    }
    const auto show = row.kind == row_class::fixed ? Table::tests::shown : Table::tests::blank;
    if (row.is_fixed && !sem::Mcmc::print_fixed_values) {
      table.fixed_row(row.label, values.next(), fixed_text(row.value), show);
    } else {
      table.row(row.label, values.next(), show);
    }
  }
}

void print_standardized(const Table& table, const Model& model, estimates& values) {
  const std::vector<std::string> labels = model.standardized();
  if (labels.empty()) return;
  table.section("\nStandardized Coefficients:");
  for (const std::string& label : labels) table.row(label, values.next(), Table::tests::shown);
}

void print_rsquare(const Table& table, const Model& model, estimates& values) {
  const std::vector<std::string> labels = model.rsquare();
  if (labels.empty()) return;
  table.section("\nProportion Variance Explained");
  for (const std::string& label : labels) table.by_row(label.substr(4), values.next(), Table::tests::blank);
}

/// All terms of the right side, those inside computed terms too.
std::vector<model::anyVariable> predictors(const Model& model) {
  std::vector<model::anyVariable> out = model.fixed;
  out.insert(out.end(), model.random.begin(), model.random.end());
  for (const auto* terms : {&model.fixed_compute, &model.random_compute}) {
    for (const model::combinationOfAnyVariable& term : *terms) {
      out.insert(out.end(), term.variables.begin(), term.variables.end());
    }
  }
  return out;
}

/// The predictors that are centred in this way, each once.
std::vector<std::string> centered_names(const Model& model, data::center kind) {
  std::vector<std::string> names;
  for (const model::anyVariable& term : predictors(model)) {
    const bool mean = term.type == model::type::mean;
    if ((mean ? term.variable->centeredMeans() : term.variable->centered()) != kind) continue;
    const std::string name = term.name();
    if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
  }
  return names;
}

void print_centering(std::FILE* stream, const Model& model) {
  constexpr std::size_t width = 65;
  const std::vector<std::string> grand = centered_names(model, data::center::grand);
  const std::vector<std::string> group = centered_names(model, data::center::cluster);
  if (!grand.empty()) std::fprintf(stream, "Grand Mean Centered:%s\n", wrapped(grand, 20, width).c_str());
  if (!group.empty()) std::fprintf(stream, "Group Mean Centered:%s\n", wrapped(group, 20, width).c_str());
  if (!grand.empty() || !group.empty()) std::fputs("\n", stream);
}

void print_model(std::FILE* stream, const Model& model, const std::vector<std::string>& columns,
                 estimates& values) {
  std::fprintf(stream, "\n%s\n\n", model_title(model).c_str());
  print_centering(stream, model);
  const Table table(stream, columns);
  table.heading();
  if (!values.empty()) {
    print_parameters(table, model, values);
    print_standardized(table, model, values);
    print_rsquare(table, model, values);
  }
  table.close("\n");
  std::fputs("\n\n", stream);
}

}  // namespace

bool sem::Mcmc::printOutcomes(std::FILE* stream, const VariableList&, const ModelList& models,
                              const Summary& iterations) const {
  print_summaries_based_on(stream, iterations.n_iterations(), iterations.n_chains(), "\n\n");
  const auto hidden = std::count_if(models.begin(), models.end(),
                                    [](const Model& m) { return m.block == block::predef::hidden; });
  if (hidden > 0) {
    std::fprintf(stream, "  WARNING: %i models were suppressed from printing.\n\n", static_cast<int>(hidden));
  }

  const std::vector<std::string> columns = iterations.colNames();
  estimates values(iterations.summary());
  std::string block = block::predef::none;
  bool printed = false;
  for (const Model& model : models) {
    if (model.block == block::predef::hidden) {
      values.skip(model.n_rows());
      continue;
    }
    if (model.block != block) {
      block = model.block;
      if (!is_reserved_block(block)) std::fprintf(stream, "  %s block:\n", to_lower(block).c_str());
    }
    print_model(stream, model, columns, values);
    printed = true;
  }
  return printed;
}

void sem::Mcmc::printCorrelations(std::FILE* stream, const ModelList& models, const Summary&) const {
  std::fputs(models.size() > 1 ? not_available::correlations_note : "  No residual correlations.\n\n\n", stream);
}

}  // namespace tovik
