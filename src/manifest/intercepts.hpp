#pragma once

#include <armadillo>

#include "random/random.hpp"
#include "sem/scan/coefficients.hpp"
#include "sem/scan/random_effects.hpp"

namespace tovik::manifest {

/// What the random intercepts of one level of clusters are built from.
struct intercepts_setup {
  unsigned level = 0;  ///< of the clusters, rows are 0
  arma::uword n_clusters = 0;
  const arma::Col<arma::uword>* of_unit = nullptr;  ///< the cluster of each unit of the variable
  arma::Col<arma::uword> first_unit;                ///< a unit of each cluster
  arma::Col<arma::uword>
      between;          ///< positions of the coefficients whose predictors are constant in clusters
  arma::uword dim = 1;  ///< score columns
  int prior = 2;        ///< code of the prior of their variances
  double unit = 1.0;    ///< the 1 of the first
  double floor = 0.0;   ///< variances do not fall below it
  sem::scan::coefficient_prior coefficients;
};

/// The random intercepts u of a regression at one level of clusters, independent between score columns:
///
///   u_jk ~ N(0, t2_k),   1 / t2_k by the gamma of its prior code.
class intercepts {
 public:
  arma::Mat<double> u;   ///< clusters x columns; start at 0
  arma::Col<double> t2;  ///< one per column

  intercepts(intercepts_setup setup, double start);

  unsigned level() const { return setup_.level; }
  /// out += u of the cluster of each unit, times `sign`.
  void add(double sign, arma::Mat<double>& out) const;

  /// u given everything else: u_j ~ N(V_j P sum_i w_i e_i, V_j), inv(V_j) = sum_i w_i P + diag(1 / t2), over
  /// the units `rows` of cluster j; a cluster without any is drawn from its distribution. `e`: scores less
  /// all but these effects, units x columns; `P`: the precision of a residual with weight 1; `w`: the weight
  /// of each unit, null for 1.
  void draw(const arma::Mat<double>& e, const arma::Col<arma::uword>& rows, const arma::Mat<double>& P,
            const double* w, Random& rng);
  /// t2 given u.
  void draw_variances(Random& rng);
  /// Draws the coefficients b of the predictors that are constant in clusters given the sums z_j b + u_j, and
  /// u with them: the data hold these sums and say nothing more of either (Gelfand, Sahu and Carlin, 1995,
  /// Biometrika 82, 479-488). `X`: the predictors of the regression, one column for each of `columns`; `b`:
  /// their coefficients, one column per score.
  void recentre(const arma::Mat<double>& X, const arma::Col<arma::uword>& columns, Random& rng,
                arma::Mat<double>& b);

 private:
  intercepts_setup setup_;
  sem::scan::random_effects_step effects_;
  sem::scan::coefficient_step between_;
  arma::Mat<double> A_, h_, sums_, iSigma_, Z_, G_;
  arma::Col<double> weight_, part_, drawn_;
};

}  // namespace tovik::manifest
