#include "sem/wiring/working_data.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "data/levels.hpp"
#include "data/variable.hpp"
#include "data/variable_list.hpp"
#include "support/error.hpp"

namespace tovik::sem {

namespace {

bool any_missing(const arma::Mat<double>& data, arma::uword column) {
  for (arma::uword i = 0; i < data.n_rows; ++i) {
    if (std::isnan(data(i, column))) return true;
  }
  return false;
}

}  // namespace

working_data::working_data(const arma::Mat<double>& file, const std::vector<arma::uword>& identifiers) {
  for (arma::uword column : identifiers) {
    if (column >= file.n_cols || any_missing(file, column)) {
      throw error_debug("An identifier of the working data is missing.");
    }
  }
  sort_rows(file, identifiers);
  units_.reserve(identifiers.size() + 1);
  first_rows_.reserve(identifiers.size() + 1);
  add_row_level();
  for (std::size_t k = 0; k < identifiers.size(); ++k) add_cluster_level(identifiers, k);
}

void working_data::sort_rows(const arma::Mat<double>& file, const std::vector<arma::uword>& identifiers) {
  file_rows_.set_size(file.n_rows);
  std::iota(file_rows_.begin(), file_rows_.end(), arma::uword{0});
  std::stable_sort(file_rows_.begin(), file_rows_.end(), [&](arma::uword a, arma::uword b) {
    for (auto column = identifiers.rbegin(); column != identifiers.rend(); ++column) {
      if (file(a, *column) != file(b, *column)) return file(a, *column) < file(b, *column);
    }
    return false;
  });
  data = file.rows(file_rows_);
}

void working_data::add_row_level() {
  arma::Col<arma::uword> rows(data.n_rows);
  std::iota(rows.begin(), rows.end(), arma::uword{0});
  units_.push_back(std::move(rows));
  first_rows_.push_back(units_.back());
}

/// A cluster begins where its identifier or a coarser one changes.
void working_data::add_cluster_level(const std::vector<arma::uword>& identifiers, std::size_t finest) {
  arma::Col<arma::uword> unit(data.n_rows);
  std::vector<arma::uword> first;
  for (arma::uword i = 0; i < data.n_rows; ++i) {
    const bool begins =
        i == 0 || std::any_of(identifiers.begin() + static_cast<std::ptrdiff_t>(finest), identifiers.end(),
                              [&](arma::uword column) { return data(i, column) != data(i - 1, column); });
    if (begins) first.push_back(i);
    unit[i] = first.size() - 1;
  }
  units_.push_back(std::move(unit));
  first_rows_.emplace_back(first);
}

std::vector<const arma::Col<arma::uword>*> working_data::units() const {
  std::vector<const arma::Col<arma::uword>*> out;
  for (const arma::Col<arma::uword>& level : units_) out.push_back(&level);
  return out;
}

arma::Mat<double> working_data::in_file_order(const arma::Mat<double>& working) const {
  if (working.n_rows != file_rows_.n_elem) throw error_debug("Rows do not match the working data.");
  arma::Mat<double> out(working.n_rows, working.n_cols);
  for (arma::uword j = 0; j < working.n_cols; ++j) {
    const double* from = working.colptr(j);
    double* to = out.colptr(j);
    for (arma::uword i = 0; i < working.n_rows; ++i) to[file_rows_[i]] = from[i];
  }
  return out;
}

estimator::cluster working_data::clusters(unsigned level) const {
  std::vector<const arma::Col<arma::uword>*> units;
  std::vector<const arma::Col<arma::uword>*> first;
  for (std::size_t l = 0; l < units_.size(); ++l) {
    units.push_back(&units_[l]);
    first.push_back(&first_rows_[l]);
  }
  return {level, units, first};
}

arma::Col<arma::uword> working_data::missing_units(const arma::Mat<double>& data, arma::uword column,
                                                   unsigned level) const {
  const arma::Col<arma::uword>& first = first_rows(level);
  std::vector<arma::uword> missing;
  for (arma::uword k = 0; k < first.n_elem; ++k) {
    if (std::isnan(data(first[k], column))) missing.push_back(k);
  }
  return arma::Col<arma::uword>(missing);
}

void working_data::write(arma::Mat<double>& data, arma::uword column, unsigned level,
                         const arma::Col<arma::uword>& which, const arma::Col<double>& values) const {
  if (which.n_elem != values.n_elem) throw error_debug("One value is needed for each unit.");
  const arma::Col<arma::uword>& first = first_rows(level);
  for (arma::uword m = 0; m < which.n_elem; ++m) {
    const arma::uword k = which[m];
    const arma::uword end = k + 1 < first.n_elem ? first[k + 1] : data.n_rows;
    for (arma::uword i = first[k]; i < end; ++i) data(i, column) = values[m];
  }
}

/// The finest has the most levels above it.
std::vector<arma::uword> identifier_columns(const VariableList& variables) {
  auto ids = variables.subset(data::type::id);
  std::stable_sort(ids.begin(), ids.end(), [](const auto& a, const auto& b) { return a->level > b->level; });
  std::vector<arma::uword> columns;
  for (const auto& id : ids) columns.push_back(id->column);
  return columns;
}

unsigned level_of(const data::variable& variable, const VariableList& variables) {
  return sampler_level(variables.subset(data::type::id).size(), variable.level);
}

}  // namespace tovik::sem
