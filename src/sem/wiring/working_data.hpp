#pragma once

#include <armadillo>
#include <memory>
#include <vector>

#include "sem/wiring/cluster.hpp"

namespace tovik {
class VariableList;
namespace data {
class variable;
}
}  // namespace tovik

namespace tovik::sem::estimator {
class weights;
}

namespace tovik::sem {

/// The data of a chain with the rows of a cluster side by side, and the units of every level.
///
/// Rows are sorted by the coarsest identifier, then by the finer one, and stay in file order within a
/// cluster; clusters are numbered from 0 in that order. A cluster of any level is thus a range of rows.
/// Levels count from 0, the rows, upwards.
class working_data {
 public:
  /// `identifiers`: columns of `data` (rows are observations, columns variables) that hold the cluster
  /// identifiers, the finest first. Throws tovik::error_debug if an identifier is missing in some row.
  working_data(const arma::Mat<double>& data, const std::vector<arma::uword>& identifiers);

  working_data(const working_data&) = delete;
  working_data& operator=(const working_data&) = delete;

  arma::Mat<double> data;  ///< the working matrix; only its cells change, never its size

  /// The matrix before any missing cell was filled, for what must not depend on the chain; null where nothing
  /// asks.
  std::shared_ptr<const arma::Mat<double>> observed;

  /// Of the outcomes of each level, where the run has sampling weights; see estimator::sampling_weights.
  std::vector<std::shared_ptr<const estimator::weights>> weights;

  /// 1 for data without clusters, 2 or 3.
  unsigned n_levels() const { return static_cast<unsigned>(units_.size()); }
  /// Rows at level 0, clusters above.
  arma::uword n_units(unsigned level) const { return first_rows_.at(level).n_elem; }
  /// The unit of `level` to which each row belongs; the row itself at level 0.
  const arma::Col<arma::uword>& units(unsigned level) const { return units_.at(level); }
  /// The same for every level, from the rows up.
  std::vector<const arma::Col<arma::uword>*> units() const;
  /// The first row of each unit of `level`.
  const arma::Col<arma::uword>& first_rows(unsigned level) const { return first_rows_.at(level); }
  /// The row of the file that stands at each row of the working matrix.
  const arma::Col<arma::uword>& file_rows() const { return file_rows_; }

  /// The rows of a matrix as tall as the working matrix, put back into the order of the file.
  arma::Mat<double> in_file_order(const arma::Mat<double>& working) const;

  /// The structure above an outcome at `level`: which of its units lie in which cluster of each higher level.
  /// The working data must outlive it.
  estimator::cluster clusters(unsigned level) const;

  /// The units of `level` whose cell in `column` of `data` is missing. `data` has the rows of the working
  /// matrix, here and below.
  arma::Col<arma::uword> missing_units(const arma::Mat<double>& data, arma::uword column,
                                       unsigned level) const;
  /// Writes `values`, one for each of the units `which` of `level`, into all rows of those units.
  void write(arma::Mat<double>& data, arma::uword column, unsigned level, const arma::Col<arma::uword>& which,
             const arma::Col<double>& values) const;

 private:
  void sort_rows(const arma::Mat<double>& file, const std::vector<arma::uword>& identifiers);
  void add_row_level();
  void add_cluster_level(const std::vector<arma::uword>& identifiers, std::size_t finest);

  arma::Col<arma::uword> file_rows_;
  std::vector<arma::Col<arma::uword>> units_;  ///< one entry per level; no entry is added after construction
  std::vector<arma::Col<arma::uword>> first_rows_;
};

/// The columns of the identifiers of the catalogue, the finest first.
std::vector<arma::uword> identifier_columns(const VariableList& variables);

/// The sampler's level of a variable of the catalogue.
unsigned level_of(const data::variable& variable, const VariableList& variables);

}  // namespace tovik::sem
