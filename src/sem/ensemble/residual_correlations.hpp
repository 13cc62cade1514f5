#pragma once

#include <armadillo>
#include <memory>
#include <vector>

#include "sem/wiring/outcome.hpp"
#include "sem/wiring/working_data.hpp"

namespace tovik {
class ModelList;
}

namespace tovik::sem {

/// The correlations among what the equations of a chain leave unexplained, level by level from the lowest.
///
/// At the lowest level these are the residuals of its outcomes, at a higher level the random effects of lower
/// outcomes there and the residuals of the level's own outcomes; a residual holds what phantoms carry. The
/// value is Pearson's correlation over the units of the level, NaN where a column is constant. Pairs are
/// those of two different equations with normal residuals, in the order of ModelList::rcorr_names.
class residual_correlations {
 public:
  using outcomes = std::vector<std::shared_ptr<estimator::Outcome>>;

  residual_correlations() = default;
  /// `models` has the outcome of each equation of the list; it and `working` must outlive the object. Throws
  /// error_debug when an outcome has not the columns that the list names.
  residual_correlations(const ModelList& list, const outcomes& models, const working_data& working);

  /// The number of pairs.
  arma::uword size() const { return n_pairs_; }
  /// One value for each pair, in the current state. `data` is the working matrix.
  arma::Col<double> values(const arma::Mat<double>& data) const;

 private:
  /// Columns of one equation at a level: its residual, or its random effects there.
  struct source {
    std::size_t model;
    arma::uword first;      ///< of these columns in what the model gives out
    arma::uword n_columns;  ///< 1 for a residual
    bool is_residual;
  };
  struct pair {
    arma::uword left, right;  ///< columns of the level's matrix
  };
  struct level_pairs {
    std::vector<source> sources;
    std::vector<pair> pairs;
  };

  void add_level(const ModelList& list, unsigned level);
  void gather(const arma::Mat<double>& data, unsigned level, arma::Mat<double>& out) const;

  const outcomes* models_ = nullptr;
  const working_data* working_ = nullptr;
  std::vector<level_pairs> levels_;
  arma::uword n_pairs_ = 0;
};

}  // namespace tovik::sem
