#pragma once

#include <armadillo>
#include <memory>
#include <string>
#include <vector>

#include "manifest/data.hpp"
#include "manifest/intercepts.hpp"
#include "random/random.hpp"
#include "sem/predictors/component.hpp"
#include "sem/scan/cluster_variances.hpp"
#include "sem/scan/matrix_coefficients.hpp"

namespace tovik::manifest {

/// What all models of a run are built from.
struct options {
  method how = method::means;
  bool mice = false;  ///< parameters are drawn from the units that are observed, not from all
  bool hev = false;   ///< a residual variance for each cluster, in two-level data
  int prior_resvar = 2;
  int prior_raneff = 2;
  double ICCcutoff = 0.01;
  bool scaled = false;     ///< the 1 of the first prior is the observed variance of each variable
  std::uint32_t burn = 0;  ///< scans of the burn-in
};

/// A row of a model's parameters.
struct parameter_row {
  enum class kind { coefficient, effect_variance, residual_variance, variance, covariance, threshold };
  kind what = kind::coefficient;
  std::string name;     ///< the column that is explained, or the (first) column of a variance
  std::string other;    ///< the predictor, empty for the intercept; the second column of a covariance
  unsigned level = 0;   ///< of an effect's clusters, counted from 1, the rows
  unsigned number = 0;  ///< of a threshold, from 1
  bool fixed = false;   ///< held at its value
};

/// The model of an incomplete continuous variable given all others,
///
///   x_i = w_i b + u_j(i) + e_i,   u_j ~ N(0, t2),   e_i ~ N(0, sigma2),
///
/// with the predictors w of its level (Data), an intercept among them, and a random intercept for every level
/// of clusters at which x varies, which stands for the means of x itself. Flat on b; variances by their
/// codes. Categorical variables have the same regression for latent scores, with b ~ N(0, prior).
///
/// One scan, in this order: b; u, with the part of b that is constant in clusters; the variances of u;
/// sigma2; the latent scores; the missing values.
class Var {
 public:
  /// `k`: the member of `data`, whose missing values are set. Throws tovik::error when there are too few
  /// units for the regression.
  Var(Data& data, std::size_t k, const std::shared_ptr<Random>& rng, const options& how);
  virtual ~Var() = default;
  Var(const Var&) = delete;
  Var& operator=(const Var&) = delete;

  /// One update of all parameters, then of the missing values, which are written into the data.
  void oneRep();

  const member& variable() const { return data_.at(k_); }
  std::size_t index() const { return k_; }
  /// Of every unit, in the metric of the data file: values, or category codes.
  virtual arma::Col<double> values() const;

  /// Coefficients, the intercept first, one column after the other; variances of random intercepts, levels
  /// rising; the residual variance (of several their mean), or the elements of the covariance matrix of the
  /// scores with row >= column, column by column; the thresholds that move. The intercept belongs to
  /// predictors in the metric of the data.
  arma::Col<double> params() const;
  std::vector<parameter_row> layout() const;
  arma::uword numParams() const;
  virtual arma::uword n_estimated() const;
  /// Percentage of the units that is missing.
  double getMissingPercent() const;

  /// The threshold step; nothing for other kinds.
  virtual void tune() {}
  virtual sem::estimator::tune_results tuneResults() const { return {}; }

  /// The residuals' distribution.
  class VarE {
   public:
    arma::Mat<double> Sigma;  ///< of scores; 1 x 1 for values
    bool drawn = true;        ///< otherwise held, as for latent scores

    /// One variance, or one for each of `n_clusters`.
    VarE(double start, arma::uword n_clusters);
    explicit VarE(arma::Mat<double> held);

    bool by_cluster() const { return !clusters_.v.is_empty(); }
    /// Of a residual with weight 1; the weights of units by their clusters, or null.
    const arma::Mat<double>& precision() const { return precision_; }
    const double* weights() const { return by_cluster() ? weight_.memptr() : nullptr; }
    /// Given the residuals of `rows`. `cluster`: of each unit, read for several variances.
    void draw(const arma::Mat<double>& e, const arma::Col<arma::uword>& rows,
              const arma::Col<arma::uword>* cluster, Random& rng);
    /// z, standard normal, becomes a residual of these units.
    void scale(const arma::Col<arma::uword>& units, arma::Mat<double>& z) const;
    const sem::scan::cluster_variances& clusters() const { return clusters_; }
    /// For several variances: before the first draw.
    void spread(const arma::Col<arma::uword>& cluster);

    int prior = 2;
    double unit = 1.0;
    double floor = 0.0;

   private:
    void follow();

    arma::Mat<double> precision_, root_;
    sem::scan::cluster_variances clusters_;
    arma::Col<double> weight_, n_, ss_;
  };

  const arma::Mat<double>& coefficients() const { return gamma_; }
  const std::vector<intercepts>& effects() const { return effects_; }
  const VarE& residual() const { return residual_; }
  const arma::Mat<double>& scores() const { return score_; }

 protected:
  /// Of any kind: `prior` is the prior variance of each coefficient; of a categorical variable `held` is the
  /// covariance of its scores.
  Var(Data& data, std::size_t k, const std::shared_ptr<Random>& rng, const options& how, double prior,
      const arma::Mat<double>& held);

  /// Latent scores given their means.
  virtual void drawLatent(const arma::Mat<double>&) {}
  /// Takes drawn scores of the missing units, one row for each, and sets their values in the data.
  virtual void take(const arma::Mat<double>& drawn);
  virtual arma::Col<double> thresholds() const { return {}; }

  /// What a component of latent scores is built from.
  sem::component_setup component() const;
  const arma::Col<arma::uword>& missing() const { return variable().missing; }
  Random& rng() { return *rng_; }

  Data& data_;
  std::size_t k_;
  std::shared_ptr<Random> rng_;
  options how_;
  arma::Mat<double> score_;  ///< units x columns: values, or latent scores
  arma::Mat<double> gamma_;  ///< predictors x columns

 private:
  void add_effects(double prior, double total);
  void drawCoefficients();
  void drawEffects();
  void impute();

  arma::Col<arma::uword> predictors_;  ///< columns of the level
  arma::Col<arma::uword> rows_;        ///< units that tell about the parameters
  sem::scan::matrix_coefficient_step coefficient_step_;
  std::vector<intercepts> effects_;
  VarE residual_;
  arma::Mat<double> mean_;   ///< units x columns: w b + u
  arma::Col<double> whole_;  ///< one number for each column of the level
  arma::Mat<double> e_, G_, H_, X_, response_, one_, drawn_;
};

}  // namespace tovik::manifest
