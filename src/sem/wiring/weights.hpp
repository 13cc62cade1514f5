#pragma once

#include <armadillo>
#include <cstddef>
#include <limits>
#include <memory>
#include <vector>

#include "sem/wiring/cluster.hpp"

namespace tovik {
class VariableList;
}

namespace tovik::sem {
class working_data;
}

namespace tovik::sem::estimator {

/// The sampling weights of the units of one level, brought to a scale of their own: weights that count the
/// units of a population would count its units for the data's, and leave the posterior no width. With w the
/// weights as they are given, n units i of which n_c are in cluster c of the level above, and J clusters,
///
///   g_i = w_i n_c / (sum of w in the cluster of i),   h_c = w_c J / (sum of w over the clusters),
///   W_i = g_i h_c(i) n / sum(g h),
///
/// the g over all units where no level is above (Pfeffermann et al., 1998, JRSS B 60, 23-40, their second
/// scaling). A level without weights of its own has 1 everywhere.
///
/// The parameters of an equation have the unit's likelihood to the power W, random effects to the power g,
/// and the covariance matrix of these counts their clusters h: a cluster's h would multiply likelihood and
/// prior of its effects alike. The W sum to n, so that n stays the number of units.
class weights {
 public:
  static constexpr arma::uword none = std::numeric_limits<arma::uword>::max();

  /// `columns`: of the working matrix, for the own level and each above, those that hold the weights, or
  /// none. All are greater than zero. Throws error_debug for more than one level above.
  weights(const cluster& structure, const arma::Mat<double>& data, const std::vector<arma::uword>& columns);

  arma::Col<double> rows;    ///< W
  arma::Col<double> within;  ///< g
  /// h, per level above; empty for a level without weights.
  std::vector<arma::Col<double>> clusters;

  /// Clusters have weights: the draws of effects, of their covariance matrix and of all else are then not
  /// those of one density.
  bool of_clusters() const;
  /// The cluster weights of the L-th level above, or null.
  const arma::Col<double>* of_level(unsigned L) const {
    return L < clusters.size() && !clusters[L].is_empty() ? &clusters[L] : nullptr;
  }
};

/// For each level of the data, from the rows up, the weights of the outcomes there; null where all are 1, and
/// empty where the catalogue has none. Throws tovik::error for weights that are not greater than zero.
std::vector<std::shared_ptr<const weights>> sampling_weights(const VariableList& variables,
                                                             const working_data& working);

/// Models of variables that no equation has for its outcome have no form with weights. Throws tovik::error
/// when the catalogue has any.
void refuse_predictor_models(const VariableList& variables);

}  // namespace tovik::sem::estimator
