#pragma once

#include <armadillo>
#include <memory>
#include <vector>

#include "sem/outcome.hpp"
#include "sem/outcomes/priors.hpp"
#include "sem/scan/scan.hpp"
#include "sem/wiring/transform.hpp"

namespace tovik::sem {

/// What the ensemble passes to a regression of one continuous variable. Columns are columns of the working
/// matrix; vectors "per level" have one entry for each level above the outcome's own, the nearest first.
struct normal_setup {
  arma::uword y = 0;
  arma::Col<arma::uword> x;                                ///< plain predictors, the intercept's column first
  std::vector<estimator::compute> x_compute;               ///< computed predictors
  std::vector<arma::Col<arma::uword>> z;                   ///< per level, plain random-effect covariates
  std::vector<std::vector<estimator::compute>> z_compute;  ///< per level; may be empty when there are none
  std::vector<bool> mutable_columns;     ///< per data column: written after set-up; empty: none
  estimator::cluster cluster;            ///< made for the outcome's level
  unsigned n_levels = 0;                 ///< levels above the outcome, with effects or not
  unsigned level = 0;                    ///< 0: rows
  arma::Col<arma::uword> missing_units;  ///< units of the outcome without an observed value
  arma::Col<arma::uword> fixed;          ///< coefficients that are not drawn
  arma::Col<double> fixed_values;        ///< one each
  bool estimate_resid = true;            ///< the residual variance is drawn
  double resid_value = 1.0;              ///< its value otherwise, and before starts are given
  bool has_intercept = true;             ///< coefficient 0 is the intercept
  std::vector<int> icept;                ///< per level, 1 if its first term is an intercept
  priors prior;
};

/// Regression of a continuous variable with normal errors and random effects at up to two levels above it:
///
///   y_i = x_i' b + sum over levels L of z_Li' u_L,c(i) + e_i,   e_i ~ N(0, s2),   u_L,c ~ N(0, Sigma_L).
///
/// Flat prior for b; s2 and Sigma_L have the (improper) inverse gamma and inverse Wishart priors of `priors`.
/// A scan draws b, each u_L, s2, each Sigma_L from their full conditionals, then missing y from the equation
/// (Gelfand & Smith, 1990, JASA 85, 398-409; Gelman et al., Bayesian Data Analysis, ch. 14-15).
class Normal : public virtual estimator::Outcome {
 public:
  Normal(Estimator const* estimator, normal_setup const& setup);

  void draw(arma::Mat<double>& data) override;
  arma::Col<double> params() const override;
  arma::Col<double> postDraw(arma::Mat<double> const& data) const override;
  arma::Col<double> params(arma::Mat<double> const& data) const override;
  arma::Col<double> logLiklihood(arma::Mat<double> const& data, int const& level) const override;
  void addLogLiklihood(arma::Mat<double> const& data, int const& level, arma::Col<arma::uword> const& units,
                       double* out) const override;
  arma::Col<double> marginal_logLiklihood(arma::Mat<double> const& data) const override;
  double logLiklihood(arma::Mat<double> const& data) const override;
  void addIndicator(arma::Col<arma::uword> const& cols, indicator_type const& kind) override;
  void addLL(estimator::likelihood* l, likelihood_type const& kind) override;
  void addDist(std::shared_ptr<autosolver::solver<autosolver::normal>> const& solver,
               distribution_type const& kind) override;
  void addStarts(arma::Col<double> const& v) override;
  void tune() override;
  estimator::tune_results tuneResults() const override;
  /// 1 x 1: s2 / x_i'x_i for the column x_i of the coefficient.
  arma::Mat<double> betaCovB(arma::Mat<double> const& data, unsigned const& index) const override;
  arma::Mat<double> const& betas() const override { return betas_; }
  /// Read-only handles (variance shares, residual variance); a driven parameter is not available yet.
  std::shared_ptr<estimator::constraint> constraint(parameter_type const& kind, unsigned const& index,
                                                    unsigned const& level) override;
  estimator::likelihood_function likelihoodFunc(likelihood_type const& kind) const override;
  autosolver::contribution<autosolver::normal> distributionFunc(distribution_type const& kind,
                                                                autosolver::solution const& solution,
                                                                int const& level) const override;
  autosolver::contribution<autosolver::normal_1D> distributionFunc(
      distribution_type const& kind, autosolver::solution const& solution) const override;
  autosolver::contribution<autosolver::inv_gamma> distributionFunc(
      distribution_type const& kind) const override;
  void addTransform(evaluate::pair const& pair) override;
  void setCentering(estimator::covariate_link* link) override;
  double getMissingPercent() const override;
  std::vector<double> getMissingPercents() const override;
  /// The random effects of each level, the nearest level first, at every row of `data`.
  arma::Mat<double> latent(arma::Mat<double> const& data) const override;
  arma::Mat<double> residual(arma::Mat<double> const& data) const override;
  arma::Mat<double> predicted(arma::Mat<double> const& data) const override;
  arma::Mat<double> compute_residual(arma::Mat<double> const& data) const override;
  arma::Mat<double> compute_predicted(arma::Mat<double> const& data) const override;
  /// Coefficients that are drawn, the residual variance if it is, the elements of the covariance matrices.
  arma::uword n_estimated() const override;
  void addMulti(std::shared_ptr<Multi> const& block) override;

  /// The variance that conditions the draws.
  double residVar() const { return sigma2; }
  arma::Mat<double> const& Sigma_s(int const& L) const { return Sigma[static_cast<std::size_t>(L)]; }
  arma::Mat<double> const& iSigma_s(int const& L) const { return iSigma[static_cast<std::size_t>(L)]; }

  arma::Col<double> compute_logLiklihood(arma::Mat<double> const& data, int const& level) const;
  arma::Col<double> compute_marginal_logLiklihood(arma::Mat<double> const& data) const;
  arma::Mat<double> compute_latent(arma::Mat<double> const& data) const;
  /// Keeps the residual of every unit in each scan, also where cross-products would do: for comparison,
  /// before the first draw.
  void keep_rows();

  /// Log density of the random effects of the L-th level above, one value per cluster.
  arma::Col<double> compute_Us_LL(arma::Mat<double> const& data, int const& L) const;

  estimator::cluster cluster;
  arma::uword n_units;                    ///< rows, or clusters of the outcome's level
  arma::Col<arma::uword> missing_rows;    ///< units whose outcome is missing
  std::vector<arma::Mat<double>> u;       ///< per level, clusters x terms
  std::vector<arma::Mat<double>> iSigma;  ///< per level, precision of the random effects
  std::vector<arma::Mat<double>> Sigma;   ///< per level, their covariance
  arma::Mat<double> betas_;               ///< coefficients, plain columns first
  arma::Mat<double> std_betas;            ///< standardised coefficients of the last draw
  double sigma2;                          ///< residual variance
  arma::Col<arma::uword> free;            ///< coefficients drawn here
  arma::Col<arma::uword> fixed;           ///< coefficients that are not
  bool estimate_resid;
  int raneff_prior;
  int resid_prior;
  bool has_intercept;
  std::vector<int> icept;
  std::vector<estimator::tune_obj> re_tune;
  estimator::tune_obj imp_tune;

 private:
  void make_scan(std::vector<bool> const& mutable_columns);
  void impute(arma::Mat<double>& data);
  void update_shares();
  arma::Col<arma::uword> const* unit_rows() const;
  arma::Col<double> outcome_values(arma::Mat<double> const& data) const;
  void subtract_fixed(arma::Mat<double> const& data, arma::Col<double>& r) const;
  void subtract_random(arma::Mat<double> const& data, arma::Col<double>& r) const;
  arma::Col<double> cluster_log_likelihood() const;
  void residuals_at(arma::Mat<double> const& data, arma::Col<arma::uword> const& units,
                    arma::Col<double>& r) const;
  arma::Mat<double> at_rows(arma::Mat<double> const& units) const;

  std::unique_ptr<estimator::likelihood> ll;
  std::unique_ptr<estimator::likelihood> us_ll;
  std::unique_ptr<estimator::covariate_link> centering;
  std::unique_ptr<scan::scan> scan_;
  std::vector<scan::covariance_step> covariance_;  ///< per level
  scan::shares shares_;
  struct part_scratch {
    arma::Col<arma::uword> units;
    arma::Col<double> r, column;
  };
  mutable part_scratch part_;  ///< of addLogLiklihood; a chain is one thread
};

}  // namespace tovik::sem
