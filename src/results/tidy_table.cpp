#include "results/tidy_table.hpp"

#include <algorithm>
#include <utility>

#include "support/csv.hpp"
#include "support/error.hpp"
#include "support/file_writer.hpp"

namespace tovik {

namespace {

using column = Summary::column;

/// "q2.5" of "2.5%"; the names that the report spells otherwise.
std::string statistic_name(const std::string& label) {
  static const std::pair<const char*, const char*> spelled[] = {
      {"Mean", "mean"}, {"Median", "median"}, {"StdDev", "sd"},    {"VAR", "variance"}, {"MAD SD", "mad"},
      {"PSR", "psr"},   {"N_Eff", "n_eff"},   {"MCMC_SE", "mcse"}, {"ChiSq", "chisq"},  {"PValue", "pvalue"}};
  if (label.back() == '%') return "q" + label.substr(0, label.size() - 1);
  for (const auto& [report, name] : spelled) {
    if (label == report) return name;
  }
  throw error_debug("No name for column.");
}

/// What every table has, then what the report has besides.
std::vector<column> statistics() {
  if (Summary::cols.empty()) Summary::add_column("default");
  std::vector<column> out = {column::mean,    column::median, column::stddev, column::mad_sd,
                             column::quant95, column::psr,    column::n_eff,  column::mcmc_se};
  for (const column one : Summary::cols) {
    if (std::find(out.begin(), out.end(), one) == out.end()) out.push_back(one);
  }
  return out;
}

}  // namespace

tidy_table make_tidy_table(const Summary& draws, std::vector<parameter_name> names) {
  if (names.size() != draws.n_rows()) throw error_debug("The draws and their names differ in number.");
  tidy_table out;
  out.names = std::move(names);
  const std::vector<column> which = statistics();
  const arma::Mat<double> all = draws.summary(which);
  std::vector<arma::uword> places;
  arma::uword place = 0;
  for (const column one : which) {
    for (const std::string& label : Summary::column_strs(one)) {
      const std::string name = statistic_name(label);
      if (std::find(out.columns.begin(), out.columns.end(), name) == out.columns.end()) {
        out.columns.push_back(name);
        places.push_back(place);
      }
      ++place;
    }
  }
  out.values.set_size(out.names.size(), out.columns.size());
  out.values.fill(arma::datum::nan);
  if (all.n_rows > 0) out.values = all.cols(arma::Col<arma::uword>(places));
  return out;
}

const std::vector<std::string>& tidy_headings() {
  static const std::vector<std::string> words = {"block", "outcome",   "dummy", "section",
                                                 "level", "parameter", "label"};
  return words;
}

std::vector<std::string> tidy_words(const parameter_name& name) {
  return {
      name.block,  name.outcome, name.dummy, name.section, name.level > 0 ? std::to_string(name.level) : "",
      name.column, name.label};
}

void save_tidy_table(const std::string& path, const tidy_table& table) {
  file_writer file(path);
  std::string line;
  const auto end_line = [&] {
    line.back() = '\n';
    file.write(line);
    line.clear();
  };
  for (const auto* headings : {&tidy_headings(), &table.columns}) {
    for (const std::string& word : *headings) line += csv_cell(word) + ",";
  }
  end_line();
  for (std::size_t r = 0; r < table.names.size(); ++r) {
    for (const std::string& word : tidy_words(table.names[r])) line += csv_cell(word) + ",";
    for (arma::uword c = 0; c < table.values.n_cols; ++c) {
      append_number(line, table.values(r, c));
      line += ',';
    }
    end_line();
  }
  file_set::store(std::move(file));
}

}  // namespace tovik
