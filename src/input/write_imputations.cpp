// The imputed data sets: a file for each, written while the chains run, and files that hold all of them.

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "data/read_data.hpp"
#include "data/save_matrix.hpp"
#include "input/input_file.hpp"
#include "input/variable_order.hpp"
#include "results/run_stat.hpp"
#include "support/file_writer.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

const std::string number_column = "imp#";

std::vector<std::string> with_number(std::vector<std::string> names) {
  names.insert(names.begin(), number_column);
  return names;
}

/// Appends a data set under its number, and the marks of its cells. Columns that it lacks stay missing.
void append_set(arma::Mat<double>& all, read_cells& marks, arma::uword& row, std::size_t number,
                const arma::Mat<double>& set, const read_cells& read) {
  for (arma::uword i = 0; i < set.n_rows; ++i) all(row + i, 0) = static_cast<double>(number);
  for (arma::uword j = 0; j < set.n_cols; ++j) {
    std::copy_n(set.colptr(j), set.n_rows, all.colptr(j + 1) + row);
    if (!read.empty()) std::copy_n(read.colptr(j), set.n_rows, marks.colptr(j + 1) + row);
  }
  row += set.n_rows;
}

std::string base_name(const std::string& path) {
  const std::size_t slash = path.find_last_of("/\\");
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string numbered(const std::string& path, std::size_t number) {
  return replace_all(path, "*", std::to_string(number));
}

}  // namespace

bool InputFile::savesImputations(const std::string& key) const {
  return nimps != not_set && nimps > 0 && isWrite(key);
}

bool InputFile::savesDataSets() const {
  return savesImputations("separate") || savesImputations("stacked") || savesImputations("stacked0");
}

bool InputFile::savesData() const {
  return isWrite("avgimp") || savesDataSets();
}

file_writer InputFile::writtenCells(const arma::Mat<double>& data, const std::string& path,
                                    const std::vector<std::string>& names, const read_cells& read) const {
  return written_matrix(data, path, delimeter(path), saveVarNames ? names : std::vector<std::string>(),
                        missingCode, missingValue, scientific, read);
}

/// Columns behind those of the data file are computed.
read_cells InputFile::readCells(const arma::Mat<double>& set) const {
  if (observed_cells.n_rows != set.n_rows || observed_cells.n_cols > set.n_cols) return {};
  read_cells out(arma::size(set), arma::fill::zeros);
  if (!observed_cells.empty()) out.head_cols(observed_cells.n_cols) = observed_cells;
  return out;
}

file_writer InputFile::separateFile(const arma::Mat<double>& data, std::size_t number) const {
  return writtenCells(data, numbered(writePath("separate"), number), dataNames, readCells(data));
}

void InputFile::saveDataFunction(const arma::Mat<double>& data, const int& imputation) {
  const auto number = static_cast<std::size_t>(imputation);
  const bool separate = isWrite("separate");
  const bool grouped = !byGroup.empty();
  if (separate && !grouped) {
    separate_files_.by_number.at(number).emplace(separateFile(data, number));
  }
  if (isWrite("stacked") || isWrite("stacked0") || (separate && grouped)) imputations.at(number) = data;
}

void InputFile::writeStacked(const std::string& key) const {
  const std::size_t first = key == "stacked0" ? 0 : 1;
  arma::uword rows = 0;
  arma::uword columns = dataNames.size();  // an interrupted run may have drawn no set
  for (std::size_t m = first; m < imputations.size(); ++m) {
    rows += imputations[m].n_rows;
    columns = std::max(columns, imputations[m].n_cols);
  }
  arma::Mat<double> all(rows, columns + 1);
  all.fill(arma::datum::nan);
  read_cells marks(rows, columns + 1, arma::fill::zeros);
  arma::uword row = 0;
  for (std::size_t m = first; m < imputations.size(); ++m) {
    const arma::Mat<double>& set = imputations[m];
    const read_cells read = m == 0 ? read_cells(arma::size(set), arma::fill::ones) : readCells(set);
    append_set(all, marks, row, m, set, read);
  }
  file_set::store(writtenCells(all, writePath(key), with_number(dataNames), marks));
}

/// The files that the chains have written, and the list of their names. When a run was interrupted, the list
/// has the sets that were drawn, and files of an earlier run under the other numbers go: together with the
/// new ones they would pass for one analysis.
void InputFile::writeSeparate() {
  const std::string& path = writePath("separate");
  std::string names;
  for (std::size_t m = 1; m < separate_files_.by_number.size(); ++m) {
    const std::string file = numbered(path, m);
    if (!separate_files_.by_number[m]) {
      std::error_code ignored;
      if (std::filesystem::is_regular_file(file, ignored)) std::filesystem::remove(file, ignored);
      continue;
    }
    names += (names.empty() ? "" : "\n") + base_name(file);
    file_set::store(std::move(*separate_files_.by_number[m]));
  }
  separate_files_.reset(0);
  file_writer list(replace_all(path, "*", "list"));
  list.write(names);
  file_set::store(std::move(list));
}

void InputFile::writeData() {
  for (const char* key : {"stacked", "stacked0"}) {
    if (savesImputations(key)) writeStacked(key);
  }
  if (nimps != not_set && isWrite("separate")) writeSeparate();
}

void InputFile::printVariableOrder() const {
  std::string text;
  for (const char* key : {"separate", "stacked", "stacked0"}) {
    if (!savesImputations(key)) continue;
    const bool with_numbers = std::string(key) != "separate";
    text += variable_order(key, writePath(key), with_numbers ? with_number(dataNames) : dataNames);
  }
  for (const char* key : {"avgimp", "varimp"}) {
    if (isWrite(key)) text += variable_order(key, writePath(key), dataNames);
  }
  if (!text.empty()) print_everywhere("\nVARIABLE ORDER IN IMPUTED DATA:\n\n" + text);
}

void InputFile::writeAvgImp(const RunStat<arma::Mat<double>>& imputations_seen) const {
  if (!isWrite("avgimp") || imputations_seen.count == 0) return;
  const arma::Mat<double>& mean = imputations_seen.mean;
  file_set::store(writtenCells(mean, writePath("avgimp"), dataNames, readCells(mean)));
}

void InputFile::writeVarImp(const RunStat<arma::Mat<double>>& imputations_seen) const {
  if (!isWrite("varimp") || imputations_seen.count == 0) return;
  arma::Mat<double> variance(arma::size(imputations_seen.mean));
  if (imputations_seen.count > 1) {
    variance = imputations_seen.M2 / (static_cast<double>(imputations_seen.count) - 1.0);
  } else {
    variance.fill(arma::datum::nan);
  }
  file_set::store(writtenCells(variance, writePath("varimp"), dataNames, {}));
}

}  // namespace tovik
