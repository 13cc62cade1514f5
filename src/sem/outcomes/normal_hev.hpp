#pragma once

#include <armadillo>
#include <memory>

#include "sem/outcomes/normal.hpp"
#include "sem/scan/cluster_variances.hpp"

namespace tovik::sem {

/// Regression of a continuous variable whose errors have a variance of their own in each cluster of the
/// nearest level above it:
///
///   g(y_i) = eta_i + e_i,   e_i ~ N(0, v_c(i)),   1 / v_c ~ Gamma(shape 1 / t, rate s0 / t),
///
/// flat priors for the coefficients, s0 and t (see scan::cluster_variances): heterogeneity as in Kasim &
/// Raudenbush (1998), Journal of Educational and Behavioral Statistics 23, 93-116. After the effects a scan
/// draws each v_c, in cluster order, then s0 and t, and moves all of them together along two orbits. With
/// phantoms P of the residual
///
///   e_i ~ N(sqrt(v_c) l'P_i, v_c (1 - l'l)),   l_k = +-sqrt(|rho_k|),
///
/// e_i / sqrt(v_c) has one variance, and each v_c is proposed from its conditional without phantoms and
/// accepted by Metropolis-Hastings. `sigma2` is the mean of the variances over the clusters: what the shares
/// of variance, and readers of "the" residual variance, take.
class NormalHev : public Normal {
 public:
  /// Throws error_debug for a setup without a level above the outcome, or with a known residual variance.
  NormalHev(const Estimator* estimator, const equation_setup& setup);

  /// Of the quantiles that a report shows, rising.
  static inline const arma::Col<double> proportions = {0.25, 0.5, 0.75};

  /// Given the phantoms of the residual, if there are any.
  double residVar(const int& cluster) const;
  const arma::Col<double>& residVar() const;

  /// Also the two parameters that the variances share, of which the second is drawn from three clusters on.
  arma::uword n_estimated() const override;
  bool is_normal() const override { return false; }

  /// The variances by cluster, and what they share. Who writes them calls variances_changed().
  scan::cluster_variances shared;
  arma::Col<double>& sigma2s = shared.v;
  arma::Col<double> cond_sigma2s;  ///< what phantoms of the residual leave of them
  void variances_changed();

 protected:
  bool residual_variance_moves() const override { return false; }
  void set_residual_variance(double v) override;
  double correlated_variance() const override { return 1.0; }
  scan::row_scale phantom_scale() const override;
  void phantoms_changed() override;
  scan::row_scale variances() const override;
  void check_units(const equation_names& names) const override;
  void draw_own(const arma::Mat<double>& data) override;
  arma::Col<double> own_rows() const override;
  void take_own_rows(const double* v) override;
  /// The mean, to read.
  std::shared_ptr<estimator::constraint> own_constraint(const parameter_type& kind,
                                                        const unsigned& index) override;

 private:
  void draw_with_phantoms(const arma::Mat<double>& data);
  void move_together();
  const arma::Col<arma::uword>& cluster_of() const { return *cluster.row_cluster[0]; }

  scan::cluster_variances::sums sums_;    ///< of the residuals of a draw
  arma::Col<double> precisions_, inner_;  ///< 1 / v_c; 1 / cond_sigma2s
  arma::Col<double> old_, whole_, gain_;  ///< with phantoms: variances before, sums of squares, change of r
};

}  // namespace tovik::sem
