// The numbered list of all parameters with their last potential scale reductions.

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "model/model_list.hpp"
#include "model/row_table.hpp"
#include "results/numbered_rows.hpp"
#include "results/report_predictors.hpp"
#include "results/report_rows.hpp"
#include "results/summary.hpp"
#include "sem/chain/mcmc.hpp"

namespace tovik {

namespace {

/// Walks through the equations as the tables of estimates do.
class label_report {
 public:
  label_report(std::FILE* stream, const ModelList& models, const model::row_table& table,
               const numbered_rows& rows)
      : stream_(stream), models_(models), table_(table), rows_(rows) {}

  void print() {
    std::string block = block::predef::none;
    for (unsigned i = 0; i < models_.size(); ++i) {
      const Model& model = models_[i];
      if (model.block == block::predef::hidden) continue;
      if (model.block != block) flush(phantoms_, "Phantom Variable Correlations:");
      block = model.block;
      if (model.kind() == model::kind::phantom) {
        phantoms_.emplace_back(Model::correlationParse(model), table_.first(i));
      } else if (model.kind() == model::kind::parameter) {
        parameters_.emplace_back(model.name(), table_.first(i));
      } else if (model.kind() == model::kind::computation) {
        computations_.emplace_back(model.name(), table_.first(i));
      } else {
        print_model(i);
      }
    }
    flush(phantoms_, "Phantom Variable Correlations:");
    flush(parameters_, "Additional Parameters:");
    flush(computations_, "Generated Parameters:");
  }

 private:
  using numbered = std::vector<std::pair<std::string, arma::uword>>;

  void flush(numbered& rows, const char* title) const {
    if (rows.empty()) return;
    std::fprintf(stream_, "\n%s\n\n", title);
    for (const auto& [label, number] : rows) rows_.row(label, number);
    rows.clear();
  }

  void print_model(unsigned i) const {
    const Model& model = models_[i];
    arma::uword number = table_.first(i);
    std::fprintf(stream_, "\n%s\n\n", model_title(model).c_str());
    const bool nominal = model.kind() == model::kind::nominal;
    for (unsigned code = 0; code < model.n_codes(); ++code) {
      if (nominal) rows_.section("", model.outcomes.front().variable->dummies.at(code)->name);
      print_rows(model, table_.rows(i), number);
    }
  }

  void print_rows(const Model& model, const std::vector<model::row>& all, arma::uword& number) const {
    const model::row* last = nullptr;
    for (const model::row& row : all) {
      if (last == nullptr || last->section != row.section)
        rows_.section(last == nullptr ? "" : "\n", section_title(row.section, model, models_));
      const bool share = row.section == model::row_section::share;
      rows_.row(share ? "by " + row.text() : row.text(), number++);
      last = &row;
    }
  }

  std::FILE* stream_;
  const ModelList& models_;
  const model::row_table& table_;
  const numbered_rows& rows_;
  numbered phantoms_;
  numbered parameters_;
  numbered computations_;
};

/// The predictor models as their tables of estimates have them. `number` is the row of the first.
void print_predictor_labels(std::FILE* stream, const sem::Mcmc& mcmc, const numbered_rows& rows,
                            arma::uword number) {
  for (const auto& model : mcmc.predictors()) {
    std::fprintf(stream, "\n%s\n\n", predictor_title(*model, mcmc.outcomes() != nullptr).c_str());
    std::string section;
    for (const reported_row& one : reported_rows(*model, mcmc.predictor_column_names())) {
      if (one.section() != section) rows.section("\n", section = one.section());
      const sem::predictor_row::kind what = one.row.what;
      const bool inner =
          what != sem::predictor_row::kind::grand_mean && what != sem::predictor_row::kind::coefficient;
      if (inner) {
        rows.inner_row(one.label(), number + one.place);
      } else {
        rows.row(one.label(), number + one.place);
      }
    }
    number += model->numParams();
  }
}

}  // namespace

void sem::Mcmc::printParameterLabels(std::FILE* stream, const VariableList&, const ModelList& models,
                                     const Summary& burn) const {
  const numbered_rows rows(stream, burn);
  const model::row_table table(models);
  label_report(stream, models, table, rows).print();
  print_predictor_labels(stream, *this, rows, table.total());
  std::fputs("\n", stream);
  std::fflush(stream);
}

}  // namespace tovik
