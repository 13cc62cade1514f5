#pragma once

#include <armadillo>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "sem/outcomes/equation_setup.hpp"
#include "sem/outcomes/regression.hpp"
#include "sem/scan/design.hpp"
#include "sem/scan/log_variance.hpp"
#include "sem/scan/log_variance_shear.hpp"
#include "sem/wiring/settings.hpp"
#include "sem/wiring/value_node.hpp"

namespace tovik::sem {

/// A linear model of the logarithm of the residual variance of another equation, its owner (Harvey, 1976,
/// Econometrica 44, 461-465; Aitkin, 1987, Applied Statistics 36, 332-339):
///
///   e_i ~ N(0, v_i),   log v_i = max(V_i'g, trunc_point),   g flat.
///
/// The bound keeps the likelihood finite where a residual can become 0; below it the variance does not
/// change. The owner draws g in its scan, when its residuals are known: each coefficient by a random walk of
/// its own, then all of them from the normal approximation to their full conditional (Gamerman, 1997,
/// Statistics and Computing 7, 57-68), which moves freely where the columns of V are far from orthogonal.
/// Random effects of the variance are a latent variable among these columns.
///
/// Where a likelihood is asked of this model, it is the owner's.
class LogScale : public virtual estimator::Outcome, public value_node {
 public:
  static inline double& trunc_point = sampler_settings::logvar_trunc_point;
  /// The quantiles of the variances of the rows that a report shows.
  static inline arma::Col<double> proportions = {0.25, 0.5, 0.75};

  /// `names`: of the coefficients, for messages; may be empty.
  LogScale(const Estimator* estimator, const equation_setup& setup, std::vector<std::string> names = {});

  /// The equation whose variances these are. Before the first draw.
  void belong_to(const Regression& owner) { owner_ = &owner; }

  /// V: units x coefficients.
  arma::Mat<double> Vmat(const arma::Mat<double>& data) const;
  /// v of every unit.
  arma::Col<double> variances(const arma::Mat<double>& data) const;
  /// out[k] := V_i'g, not truncated, of the k-th of `n` units, or of all for null.
  void log_variances(const arma::Mat<double>& data, const arma::uword* units, arma::uword n,
                     double* out) const;
  /// No cell of V can change, and no parameter stands in it.
  bool is_static() const { return columns_.all_static(); }

  /// Draws g given the residuals of the owner, one for each unit; a matrix holds several with the same
  /// variance in each row. Nothing without coefficients that are drawn here.
  void _draw_log_scale(const arma::Col<double>& resid, const arma::Mat<double>& data);
  void _draw_log_scale(const arma::Mat<double>& resid, const arma::Mat<double>& data);
  /// The same given what residuals tell.
  void draw_given(const scan::log_variance_terms& terms, const arma::Mat<double>& data);

  /// Makes the coefficients that are drawn here ready to go along with a scale of the owner's response, which
  /// grows by exp(x_i) in unit i.
  void begin_shear(const double* x, const arma::Mat<double>& data, scan::log_variance_shear& shear);

  // The owner draws.
  void draw(arma::Mat<double>&) override {}
  arma::Col<double> params() const override { return betas_.as_col(); }
  arma::Col<double> params(const arma::Mat<double>&) const override { return params(); }
  arma::uword n_params() const override { return betas_.n_elem; }
  arma::Col<double> logLiklihood(const arma::Mat<double>& data, const int& level) const override;
  double logLiklihood(const arma::Mat<double>& data) const override;
  estimator::likelihood_function likelihoodFunc(const likelihood_type& kind) const override;
  void addStarts(const arma::Col<double>& v) override;
  void tune() override;
  /// Of the coefficients that are drawn here.
  estimator::tune_results tuneResults() const override;
  void addProposals(std::vector<estimator::tune_obj*>& to) override;
  /// 1 x 1: 2 / V_i'V_i, from the expected information of a log variance, 1/2 in each unit.
  arma::Mat<double> betaCovB(const arma::Mat<double>& data, const unsigned& index) const override;
  const arma::Mat<double>& betas() const override { return betas_; }
  double coefficient_variance(arma::uword j) const override;
  /// A coefficient, which is from then on not drawn here; its term is the likelihood of the owner.
  std::shared_ptr<estimator::constraint> constraint(const parameter_type& kind, const unsigned& index,
                                                    const unsigned& level) override;
  void check_design(const arma::Mat<double>& data, const equation_names& names) const override;
  arma::uword n_estimated() const override { return free.n_elem; }
  /// Coefficients that are drawn, or follow a parameter that is.
  arma::uword n_unknown() const { return free.n_elem + n_held_; }

  estimator::cluster cluster;
  arma::uword n_units;
  arma::Mat<double> betas_;
  arma::Col<arma::uword> free;             ///< coefficients drawn here
  std::vector<estimator::tune_obj> tune_;  ///< one for each coefficient
  /// Proposals of all coefficients at once; there is nothing to tune.
  std::uint64_t joint_accepted = 0, joint_total = 0;

 private:
  const Regression& owner() const;
  const arma::Col<arma::uword>* unit_rows() const;
  void start_proposals();

  scan::columns columns_;
  scan::coefficient_prior prior_;
  bool has_intercept_;
  bool started_ = false;  ///< the proposals have their scale
  arma::uword n_held_ = 0;
  const Regression* owner_ = nullptr;
  scan::log_variance_step step_;
  arma::Col<double> squares_;
  mutable arma::Col<double> scratch_;  ///< a chain is one thread
  mutable std::vector<double> at_units_;
};

}  // namespace tovik::sem
