// The report of an imputation with observed cluster means: a table for each incomplete variable.

#include <cstdio>
#include <string>
#include <vector>

#include "manifest/mi.hpp"
#include "results/label_lines.hpp"
#include "results/numbered_rows.hpp"
#include "results/parameter_names.hpp"
#include "results/report_info.hpp"
#include "results/summary.hpp"
#include "results/table.hpp"
#include "sem/wiring/settings.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

using manifest::parameter_row;
using manifest::Var;
using row_kind = manifest::parameter_row::kind;

/// "Intercept", "Intercept: g.2", "x ~ z.mean[school]", "L2 : Var(Intercept)", "Residual Var.", "Var(g.2)",
/// "Cov(g.2, g.3)", "Tau 1".
std::string label_of(const parameter_row& row, bool several) {
  switch (row.what) {
    case row_kind::coefficient:
      if (row.other.empty()) return several ? "Intercept: " + row.name : "Intercept";
      return row.name + " ~ " + row.other;
    case row_kind::effect_variance:
      return "L" + std::to_string(row.level) + " : Var(" + row.name + ")";
    case row_kind::residual_variance:
      return "Residual Var.";
    case row_kind::variance:
      return "Var(" + row.name + ")";
    case row_kind::covariance:
      return "Cov(" + row.name + ", " + row.other + ")";
    case row_kind::threshold:
      return "Tau " + std::to_string(row.number);
  }
  throw error_debug("Unknown kind of row of an imputation model.");
}

const char* section_of(const parameter_row& row) {
  if (row.what == row_kind::coefficient) return "Coefficients:";
  return row.what == row_kind::threshold ? "Thresholds:" : "Variances:";
}

/// Of the label file.
const char* kind_of(const parameter_row& row) {
  if (row.what == row_kind::coefficient) return "Beta";
  return row.what == row_kind::threshold ? "Threshold" : "Variance";
}

bool has_several(const Var& v) {
  return !v.variable().variable->dummies.empty();
}

/// The level of an effect is part of its label.
parameter_name name_of(const parameter_row& row, const Var& v) {
  const std::string& outcome = v.variable().variable->name;
  parameter_name out;
  out.label = label_of(row, has_several(v));
  out.text = "'" + outcome + "': " + out.label;
  out.fixed = row.fixed;
  out.block = "predictors";
  out.outcome = outcome;
  if (has_several(v)) out.dummy = row.name;
  out.section = section_of(row);
  out.section.pop_back();  // the colon
  out.level = row.level;
  if (row.what == row_kind::coefficient) {
    out.column =
        (has_several(v) ? row.name : outcome) + " ~ " + (row.other.empty() ? "Intercept" : row.other);
  } else if (row.what == row_kind::effect_variance) {
    out.column = outcome + " L" + std::to_string(row.level) + " | Var(" + row.name + ")";
  } else {
    out.column = outcome + " | " + out.label;
  }
  return out;
}

std::string title_of(const Var& v) {
  return format("Missing variable:   %-11s", v.variable().variable->name.c_str());
}

std::vector<parameter_row> rows_of(const Var& v) {
  std::vector<parameter_row> rows = v.layout();
  if (rows.size() != v.numParams())
    throw error_debug("The rows of the imputation model of '" + v.variable().variable->name +
                      "' do not match its parameters.");
  return rows;
}

}  // namespace

namespace manifest {

void MI::printVarInfo(std::FILE* stream, const Var& v) {
  std::fprintf(stream, "\n\n%s\n\n", title_of(v).c_str());
}

void MI::printOutcome(std::FILE* stream, const Var& v, const arma::Mat<double>& values,
                      const std::vector<std::string>& labels, arma::uword first) {
  const Table table(stream, labels);
  table.heading();
  const arma::Col<double> now = v.params();
  std::string section;
  arma::uword at = 0;
  for (const parameter_row& row : rows_of(v)) {
    arma::uword const place = at++;
    if (first + place >= values.n_rows) continue;
    if (section != section_of(row)) {
      table.section((section.empty() ? "" : "\n") + std::string(section_of(row)));
      section = section_of(row);
    }
    const std::string label = label_of(row, has_several(v));
    const bool test = row.what == row_kind::coefficient;
    const auto show = test ? Table::tests::shown : Table::tests::blank;
    if (row.fixed && !sem::sampler_settings::print_fixed_values)
      table.fixed_row(label, values.row(first + place), fixed_text(now[place]), show);
    else
      table.row(label, values.row(first + place), show);
  }
  table.blank_row("", "");
  table.close("\n\n");
}

void MI::printCovariates(std::FILE* stream, const Summary& iterations) const {
  print_summaries_based_on(stream, iterations.n_iterations(), iterations.n_chains(), "\n");
  const arma::Mat<double> values = iterations.summary();
  arma::uword first = 0;
  for (const Var* v : variables()) {
    printVarInfo(stream, *v);
    printOutcome(stream, *v, values, iterations.colNames(), first);
    first += v->numParams();
  }
}

void MI::printInfo(std::FILE* stream, const VariableList& variables) const {
  std::vector<arma::uword> units;
  for (unsigned l = 0; l < n_levels(); ++l) units.push_back(n_units(l));
  print_data_information(stream, variables, units, missing_);
  print_imputation_model(stream, variables, missing_, n_estimated());
  printWarn();
}

void MI::printWarn() const {
  warn_of_excluded(data_->excluded(), "\n");
}

void MI::printParameterLabels(std::FILE* stream, const Summary& burn) const {
  const numbered_rows rows(stream, burn);
  arma::uword number = 0;
  for (const Var* v : variables()) {
    std::fprintf(stream, "\n%s\n\n", title_of(*v).c_str());
    std::string section;
    for (const parameter_row& row : rows_of(*v)) {
      if (section != section_of(row)) rows.section(section.empty() ? "" : "\n", section_of(row));
      section = section_of(row);
      rows.row(label_of(row, has_several(*v)), number++);
    }
  }
  std::fputs("\n", stream);
  std::fflush(stream);
}

void MI::printParameterLabelsFile(std::FILE* stream) const {
  label_lines lines(stream);
  arma::uword number = 1;
  for (const Var* v : variables())
    for (const parameter_row& row : rows_of(*v))
      lines.write(v->variable().variable->name, kind_of(row), label_of(row, has_several(*v)), number++);
}

std::vector<parameter_name> MI::parameterNames() const {
  std::vector<parameter_name> out;
  for (const Var* v : variables())
    for (const parameter_row& row : rows_of(*v)) out.push_back(name_of(row, *v));
  make_unique(out);
  return out;
}

}  // namespace manifest

}  // namespace tovik
