#include "results/report_outcomes.hpp"

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "model/model_list.hpp"
#include "model/row_layout.hpp"
#include "model/row_table.hpp"
#include "results/report_rows.hpp"
#include "results/simple_slopes.hpp"
#include "results/summary.hpp"
#include "results/table.hpp"
#include "sem/chain/mcmc.hpp"
#include "support/block.hpp"
#include "support/text.hpp"
#include "support/wrapped.hpp"

namespace tovik {

namespace {

/// The rows of a summary table, read from top to bottom.
class estimates {
 public:
  explicit estimates(arma::Mat<double> table) : table_(std::move(table)) {}
  bool empty() const { return table_.n_rows == 0; }
  arma::Row<double> next() { return table_.row(row_++); }
  void skip(arma::uword rows) { row_ += rows; }
  /// What has not been read.
  arma::Mat<double> rest() const {
    return row_ < table_.n_rows ? arma::Mat<double>(table_.tail_rows(table_.n_rows - row_))
                                : arma::Mat<double>(0, table_.n_cols);
  }

 private:
  arma::Mat<double> table_;
  arma::uword row_ = 0;
};

/// Tests against 0 say something of coefficients and correlations only.
Table::tests shown_tests(model::row_section section, model::standardized_rows standardized) {
  const bool tested = section == model::row_section::standardized
                          ? standardized == model::standardized_rows::coefficients ||
                                standardized == model::standardized_rows::correlations
                          : section == model::row_section::fixed;
  return tested ? Table::tests::shown : Table::tests::blank;
}

void print_row(const Table& table, const model::row& row, const arma::Row<double>& values,
               Table::tests show) {
  if (row.section == model::row_section::share) {
    table.by_row(row.text(), values, show);
  } else if (row.fixed && !sem::Mcmc::print_fixed_values) {
    const char* mark = model::is_parameter(row.section) ? "" : "@ ";
    table.fixed_row(row.text(), values, mark + fixed_text(row.value), show);
  } else {
    table.row(row.text(), values, show);
  }
}

void print_rows(const Table& table, const Model& model, const std::vector<model::row>& rows,
                const ModelList& models, estimates& values) {
  const model::standardized_rows standardized = model.layout().standardized;
  const model::row* last = nullptr;
  for (const model::row& row : rows) {
    if (last == nullptr || last->section != row.section) {
      const std::string title = section_title(row.section, model, models);
      table.section(row.section == model::row_section::variance ? title : "\n" + title);
    }
    print_row(table, row, values.next(), shown_tests(row.section, standardized));
    last = &row;
  }
}

/// All terms of the right side, those inside computed terms too.
std::vector<model::anyVariable> predictors(const Model& model) {
  if (model.is_multi()) return {};
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

/// Rows that belong to no equation, kept until their table is due.
class collected {
 public:
  /// `fixed`: the text of a value that the model fixes, else empty.
  void add(std::string label, arma::Row<double> values, std::string fixed = "") {
    labels_.push_back(std::move(label));
    values_.push_back(std::move(values));
    fixed_.push_back(std::move(fixed));
  }
  bool empty() const { return labels_.empty(); }
  void clear() {
    labels_.clear();
    values_.clear();
    fixed_.clear();
  }
  void print(const Table& table) const {
    for (std::size_t k = 0; k < labels_.size(); ++k) {
      if (fixed_[k].empty()) {
        table.row(labels_[k], values_[k], Table::tests::shown);
      } else {
        table.fixed_row(labels_[k], values_[k], fixed_[k], Table::tests::shown);
      }
    }
  }

 private:
  std::vector<std::string> labels_;
  std::vector<arma::Row<double>> values_;
  std::vector<std::string> fixed_;
};

/// What stands in place of the estimate of a correlation that the model fixes.
std::string fixed_correlation(const Model& phantom) {
  if (!phantom.variance.is_fixed() || sem::Mcmc::print_fixed_values) return "";
  return "@ " + fixed_text(phantom.variance.value());
}

/// Walks through the equations with the two tables of numbers.
class outcome_report {
 public:
  outcome_report(std::FILE* stream, const ModelList& models, const Summary& summary, const Summary& simple,
                 const sem::SimpleList& effects)
      : stream_(stream),
        models_(models),
        rows_(models),
        summary_(summary),
        effects_(effects),
        columns_(summary.colNames()),
        values_(summary.summary()),
        simple_(simple.summary()) {}

  bool print() {
    print_head();
    std::string block = block::predef::none;
    for (unsigned i = 0; i < models_.size(); ++i) {
      const Model& model = models_[i];
      const bool hidden = model.block == block::predef::hidden;
      if (model.block != block && !hidden) {
        block = model.block;
        flush_phantoms();
        if (!is_reserved_block(block)) std::fprintf(stream_, "  %s block:\n", to_lower(block).c_str());
      }
      if (hidden) {
        skip(i);
      } else if (model.kind() == model::kind::phantom) {
        collect(phantoms_, Model::correlationParse(model), fixed_correlation(model));
      } else if (model.kind() == model::kind::parameter) {
        collect(parameters_, model.name());
      } else if (model.kind() == model::kind::computation) {
        collect(computations_, model.name());
      } else {
        print_model(i);
      }
    }
    flush_phantoms();
    print_additional();
    print_generated();
    return printed_;
  }

 private:
  void print_head() const {
    print_summaries("\n\n");
    const auto hidden = std::count_if(models_.begin(), models_.end(),
                                      [](const Model& m) { return m.block == block::predef::hidden; });
    if (hidden == 0) return;
    std::fprintf(stream_, "  WARNING: %i %s suppressed from printing.\n\n", static_cast<int>(hidden),
                 hidden == 1 ? "model was" : "models were");
  }

  void print_summaries(const char* end) const {
    print_summaries_based_on(stream_, summary_.n_iterations(), summary_.n_chains(), end);
  }

  void skip(unsigned i) {
    values_.skip(rows_.count(i));
    if (effects_.find(i) != nullptr) simple_.skip(print_effects(nullptr, i));
  }

  unsigned print_effects(std::FILE* stream, unsigned i) const {
    return sem::print_simple_slopes(stream, effects_, i, simple_.rest(), columns_);
  }

  void collect(collected& to, const std::string& label, const std::string& fixed = "") {
    if (!values_.empty()) to.add(label, values_.next(), fixed);
    printed_ = true;
  }

  void print_model(unsigned i) {
    const Model& model = models_[i];
    std::fprintf(stream_, "\n%s\n\n", model_title(model).c_str());
    print_centering(stream_, model);
    const Table table(stream_, columns_);
    table.heading();
    const unsigned codes = model.n_codes();
    const bool nominal = model.kind() == model::kind::nominal;
    for (unsigned code = 0; code < codes; ++code) {
      if (nominal) table.section(model.outcomes.front().variable->dummies.at(code)->name);
      if (!values_.empty()) print_rows(table, model, rows_.rows(i), models_, values_);
    }
    table.close("\n");
    if (effects_.find(i) != nullptr) simple_.skip(print_effects(stream_, i));
    std::fputs("\n\n", stream_);
    printed_ = true;
  }

  void print_collected(const char* title, const collected& rows) const {
    std::fprintf(stream_, "\n%s\n\n", title);
    const Table table(stream_, columns_);
    table.heading();
    rows.print(table);
    table.close("\n\n\n");
  }

  void flush_phantoms() {
    if (phantoms_.empty()) return;
    print_collected("Phantom Variable Correlations:", phantoms_);
    phantoms_.clear();
  }

  void print_additional() const {
    if (!parameters_.empty()) print_collected("Additional Parameters:", parameters_);
  }

  void print_generated() const {
    if (computations_.empty()) return;
    std::fputs("\nGENERATED PARAMETERS:\n\n", stream_);
    print_summaries("\n");
    std::fputs("\n", stream_);
    const Table table(stream_, columns_);
    table.heading();
    computations_.print(table);
    table.close("\n");
  }

  std::FILE* stream_;
  const ModelList& models_;
  const model::row_table rows_;
  const Summary& summary_;
  const sem::SimpleList& effects_;
  std::vector<std::string> columns_;
  estimates values_;
  estimates simple_;
  collected phantoms_;
  collected parameters_;
  collected computations_;
  bool printed_ = false;
};

}  // namespace

bool print_outcomes(std::FILE* stream, const VariableList&, const ModelList& models, const Summary& estimates,
                    const Summary& simple, const sem::SimpleList& effects) {
  return outcome_report(stream, models, estimates, simple, effects).print();
}

bool sem::Mcmc::printOutcomes(std::FILE* stream, const VariableList& variables, const ModelList& models,
                              const Summary& iterations, const Summary& simple) const {
  const SimpleList* effects = simpleSlopes();
  return print_outcomes(stream, variables, models, iterations, simple,
                        effects != nullptr ? *effects : SimpleList());
}

}  // namespace tovik
