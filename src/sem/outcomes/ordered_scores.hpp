#pragma once

#include <armadillo>
#include <functional>
#include <memory>

#include "sem/outcomes/outcome_scale.hpp"
#include "sem/scan/category_sets.hpp"
#include "sem/scan/thresholds.hpp"
#include "sem/wiring/cluster.hpp"

namespace tovik::sem {

/// What was observed of an ordered outcome.
struct ordered_values {
  arma::Col<double> values;        ///< of the categories, ascending
  arma::Col<arma::uword> of_unit;  ///< the category of each unit; of a unit without a value any
  arma::uword n_reported = 0;      ///< the last so many thresholds are parameters
};

/// The latent scores Y* of the units of an ordered outcome, with the thresholds and the categories in which
/// they fall, and the cells of the data where others read categories and scores.
class ordered_scores {
 public:
  /// `column`: that of the categories; `structure`: of the outcome's `level`. Throws error_debug for
  /// categories that do not match.
  ordered_scores(const ordered_values& observed, const arma::Col<arma::uword>& missing_units,
                 arma::uword column, unsigned level, const estimator::cluster& structure);

  arma::Col<double> values;  ///< Y*, one per unit
  scan::thresholds cuts;
  scan::category_sets sets;

  const arma::Col<arma::uword>& complete() const { return complete_; }
  const arma::Col<arma::uword>& missing() const { return missing_; }

  /// Others read Y* in this column of the data.
  void publish_in(arma::uword column);
  bool is_published() const { return score_cells_ != nullptr; }
  /// That column, or none.
  const arma::Col<arma::uword>& published() const { return published_; }
  /// Called with the data after values were written: refreshes what follows from the columns.
  void set_refresh(std::function<void(arma::Mat<double>&)> refresh) { refresh_ = std::move(refresh); }

  /// Gives a unit this score, in the data too where it is published.
  void write(arma::Mat<double>& data, arma::uword unit, double score);
  /// All scores as they stand, into the data.
  void write_all(arma::Mat<double>& data);
  /// A unit without an observation takes the category in which its score falls.
  void impute(arma::Mat<double>& data, arma::uword unit);
  void refresh(arma::Mat<double>& data) const {
    if (refresh_) refresh_(data);
  }

  /// Draws Y* of the members of each category within it, around `mean`. `sd`: null for 1.
  void draw_within(const std::vector<arma::Col<arma::uword>>& members, const double* mean, const double* sd,
                   Random& rng) {
    cuts.draw(members, mean, values.memptr(), rng, sd);
  }
  /// Carries every score along to the thresholds t, stretched to the new width of its category; returns the
  /// log of the Jacobian, to which each unit adds its part as often as its weight says; null for once.
  double stretch(const arma::Col<double>& t, const double* weights = nullptr);

 private:
  arma::Col<double> codes_;
  arma::Col<arma::uword> complete_, missing_, published_;
  unsigned level_;
  const estimator::cluster* structure_;
  outcome_scale cells_;                         ///< of the category
  std::unique_ptr<outcome_scale> score_cells_;  ///< of Y*
  std::function<void(arma::Mat<double>&)> refresh_;
};

}  // namespace tovik::sem
