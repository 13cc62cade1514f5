// The imputed data sets: a file for each, written while the chains run, and files that hold all of them.

#include <algorithm>

#include "data/read_data.hpp"
#include "data/save_matrix.hpp"
#include "input/input_file.hpp"
#include "input/variable_order.hpp"
#include "results/run_stat.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

const std::string number_column = "imp#";

std::vector<std::string> with_number(std::vector<std::string> names) {
  names.insert(names.begin(), number_column);
  return names;
}

/// Appends a data set under its number. Columns that it lacks stay missing.
void append_set(arma::Mat<double>& all, arma::uword& row, std::size_t number, const arma::Mat<double>& set) {
  for (arma::uword i = 0; i < set.n_rows; ++i) all(row + i, 0) = static_cast<double>(number);
  for (arma::uword j = 0; j < set.n_cols; ++j) {
    std::copy_n(set.colptr(j), set.n_rows, all.colptr(j + 1) + row);
  }
  row += set.n_rows;
}

}  // namespace

bool InputFile::savesImputations(const std::string& key) const {
  return nimps != not_set && nimps > 0 && isWrite(key);
}

void InputFile::saveCells(const arma::Mat<double>& data, const std::string& path,
                          const std::vector<std::string>& names) const {
  save_matrix(data, path, delimeter(path), saveVarNames ? names : std::vector<std::string>(), missingCode,
              missingValue, scientific);
}

void InputFile::saveDataFunction(const arma::Mat<double>& data, const int& imputation) {
  const bool separate = isWrite("separate");
  const bool grouped = !byGroup.empty();
  if (separate && !grouped) {
    saveCells(data, replace_all(writePath("separate"), "*", std::to_string(imputation)), dataNames);
  }
  if (isWrite("stacked") || isWrite("stacked0") || (separate && grouped)) {
    imputations.at(static_cast<std::size_t>(imputation)) = data;
  }
}

void InputFile::writeStacked(const std::string& key) const {
  const std::size_t first = key == "stacked0" ? 0 : 1;
  arma::uword rows = 0;
  arma::uword columns = 0;
  for (std::size_t m = first; m < imputations.size(); ++m) {
    rows += imputations[m].n_rows;
    columns = std::max(columns, imputations[m].n_cols);
  }
  arma::Mat<double> all(rows, columns + 1);
  all.fill(arma::datum::nan);
  arma::uword row = 0;
  for (std::size_t m = first; m < imputations.size(); ++m) append_set(all, row, m, imputations[m]);
  saveCells(all, writePath(key), with_number(dataNames));
}

void InputFile::writeData() const {
  std::string text;
  for (const char* key : {"separate", "stacked", "stacked0"}) {
    if (!savesImputations(key)) continue;
    const bool numbered = std::string(key) != "separate";
    text += variable_order(key, writePath(key), numbered ? with_number(dataNames) : dataNames);
  }
  for (const char* key : {"avgimp", "varimp"}) {
    if (isWrite(key)) text += variable_order(key, writePath(key), dataNames);
  }
  if (text.empty()) return;
  print_everywhere("\nVARIABLE ORDER IN IMPUTED DATA:\n\n" + text);
  for (const char* key : {"stacked", "stacked0"}) {
    if (savesImputations(key)) writeStacked(key);
  }
}

void InputFile::writeAvgImp(const RunStat<arma::Mat<double>>& imputations_seen) const {
  if (!isWrite("avgimp") || imputations_seen.count == 0) return;
  saveCells(imputations_seen.mean, writePath("avgimp"), dataNames);
}

void InputFile::writeVarImp(const RunStat<arma::Mat<double>>& imputations_seen) const {
  if (!isWrite("varimp") || imputations_seen.count == 0) return;
  arma::Mat<double> variance(arma::size(imputations_seen.mean));
  if (imputations_seen.count > 1) {
    variance = imputations_seen.M2 / (static_cast<double>(imputations_seen.count) - 1.0);
  } else {
    variance.fill(arma::datum::nan);
  }
  saveCells(variance, writePath("varimp"), dataNames);
}

}  // namespace tovik
