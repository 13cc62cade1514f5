#pragma once

#include <armadillo>
#include <memory>
#include <vector>

#include "sem/outcomes/equation_setup.hpp"
#include "sem/outcomes/logistic.hpp"
#include "sem/outcomes/missing_categories.hpp"
#include "sem/outcomes/outcome_scale.hpp"
#include "sem/wiring/outcome.hpp"

namespace tovik::sem {

/// The categories of a nominal outcome, and where the working matrix holds them a second time.
struct nominal_codes {
  std::vector<double> values;      ///< the reference first
  arma::Col<arma::uword> columns;  ///< of the dummy codes, one for each of the other categories
};

/// Multinomial logistic regression of a variable with the categories 0 (the reference) .. D:
///
///   P(y_i = c) = exp(eta_ic) / (1 + sum over d of exp(eta_id)),   eta_ic = x_i' b_c + z_i' u_c, c = 1 .. D,
///
/// with coefficients, random effects and covariance matrices of its own for each category but the reference:
/// D logistic regressions of the dummy codes. Given the others, a code is a logistic regression on its own,
/// of category c against all others, with the log odds
///
///   eta_ic - o_ic,   o_ic = log(1 + sum over d other than c of exp(eta_id)),
///
/// and is drawn as one (Holmes & Held, 2006, Bayesian Analysis 1, 145-168; Polson, Scott & Windle, 2013,
/// JASA 108, 1339-1349, section S6.3). A scan draws the codes in their order, and last the missing y from
/// the equation, or, when other equations read y, by a Metropolis step with the equation as its proposal.
///
/// The prior of the coefficients, N(0, Logistic::priBeta), is one of contrasts with the reference. A linear
/// predictor that is not finite makes NaN of whatever is drawn here; values of the data stay.
///
/// Column y of the working matrix holds the category as the data have it, the columns of the codes 0 or 1.
/// Both are written together; other equations read the codes.
class Nominal : public virtual estimator::Outcome {
 public:
  /// `setup`: that of each code but for its column; `y` is the column of the categories. Throws error_debug
  /// unless there is a code for each category but the first of at least two.
  Nominal(const Estimator* estimator, const equation_setup& setup, const nominal_codes& codes);

  void draw(arma::Mat<double>& data) override;
  /// Code by code the parameters.
  arma::Col<double> params() const override;
  /// Code by code the odds ratios of all coefficients.
  arma::Col<double> postDraw(const arma::Mat<double>& data) const override;
  /// Code by code the parameters, then the odds ratios.
  arma::Col<double> params(const arma::Mat<double>& data) const override;
  arma::uword n_params() const override;
  arma::uword n_estimated() const override;
  void addStarts(const arma::Col<double>& v) override;
  void publish(arma::Mat<double>& data) override;
  arma::Col<arma::uword> published() const override { return codes_.columns; }
  /// Throws error_debug for codes that are no category.
  void categorize(arma::Mat<double>& raw, const arma::Mat<double>& data) const override;

  arma::Col<double> logLiklihood(const arma::Mat<double>& data, const int& level) const override;
  double logLiklihood(const arma::Mat<double>& data) const override;
  void addLogLiklihood(const arma::Mat<double>& data, const int& level, const arma::Col<arma::uword>& units,
                       double* out) const override;
  /// NaN with random effects, over which the likelihood has no closed integral.
  arma::Col<double> marginal_logLiklihood(const arma::Mat<double>& data) const override;
  arma::Col<double> observed_logLiklihood(const arma::Mat<double>& data, const int& level) const override;
  arma::Col<double> observed_marginal_logLiklihood(const arma::Mat<double>& data) const override;
  arma::Col<double> compute_logLiklihood(const arma::Mat<double>& data, const int& level) const;
  arma::uword n_unobserved() const override { return imputed_units().n_elem; }
  estimator::likelihood_function likelihoodFunc(const likelihood_type& kind) const override;
  void addLL(std::unique_ptr<estimator::likelihood> list, const likelihood_type& kind) override;

  /// The first three throw error_debug: scores and effects of the codes are no variables.
  void addIndicator(const arma::Col<arma::uword>& cols, const indicator_type& kind) override;
  void addDist(const std::shared_ptr<autosolver::solver<autosolver::normal>>& solver,
               const distribution_type& kind) override;
  void addMulti(const std::shared_ptr<Multi>& block) override;
  /// Throws error_debug: categories have no scale.
  void addTransform(const evaluate::pair& pair) override;
  void setCentering(std::unique_ptr<estimator::covariate_link> link) override;

  std::vector<arma::Col<double>> covariate_squares(const arma::Mat<double>& data) const override;
  void check_propriety(const arma::Mat<double>& data, const equation_names& names) const override;
  void check_design(const arma::Mat<double>& data, const equation_names& names) const override;
  void tune() override;
  estimator::tune_results tuneResults() const override;
  void addProposals(std::vector<estimator::tune_obj*>& to) override;

  arma::Mat<double> betaCovB(const arma::Mat<double>& data, const unsigned& index) const override;
  /// Those of the first code: a coefficient with a label is the same for all.
  const arma::Mat<double>& betas() const override { return members_.front()->betas(); }
  double coefficient_variance(arma::uword j) const override;
  /// Of a coefficient: that of all codes. Of what else a logistic regression has: with one code only, else
  /// throws error_debug.
  std::shared_ptr<estimator::constraint> constraint(const parameter_type& kind, const unsigned& index,
                                                    const unsigned& level) override;
  void refreshShares(const arma::Mat<double>& data) override;
  void connectDriven(const arma::Mat<double>& data) override;

  double getMissingPercent() const override { return members_.front()->getMissingPercent(); }
  std::vector<double> getMissingPercents() const override { return {getMissingPercent()}; }
  /// Code by code, as of a logistic regression.
  arma::Mat<double> latent(const arma::Mat<double>& data) const override;
  arma::Mat<double> residual(const arma::Mat<double>& data) const override;
  arma::Mat<double> compute_residual(const arma::Mat<double>& data) const override;
  /// The probabilities of all categories, the reference first.
  arma::Mat<double> predicted(const arma::Mat<double>& data) const override;
  arma::Mat<double> compute_predicted(const arma::Mat<double>& data) const override;

  arma::uword n_codes() const { return members_.size(); }
  Logistic& member(arma::uword c) { return *members_[c]; }
  const Logistic& member(arma::uword c) const { return *members_[c]; }

  estimator::tune_obj impute_tune;  ///< counts; there is nothing to tune

 private:
  const estimator::cluster& structure() const { return members_.front()->cluster; }
  arma::uword n_units() const { return members_.front()->n_units; }
  const arma::Col<arma::uword>& imputed_units() const { return members_.front()->missing_rows; }
  arma::uword row(arma::uword unit) const { return level == 0 ? unit : (*structure().own_rows[0])(unit); }
  bool has_effects() const;
  unsigned levels_above(int at_level) const;

  void read_tails(const arma::Mat<double>& data);
  const arma::Col<double>* offset(arma::uword c);
  void draw_values(arma::Mat<double>& data);
  void write_code(arma::Mat<double>& data, arma::uword unit) const;
  void write_codes(arma::Mat<double>& data) const;
  void refresh(arma::Mat<double>& data) const;

  void begin_densities(arma::uword n) const;
  void add_code(const arma::Mat<double>& data, arma::uword c, const arma::uword* units, arma::uword n,
                const double* eta) const;
  void densities(const arma::Mat<double>& data, arma::Col<double>& out) const;
  const double* densities_at(const arma::Mat<double>& data, const arma::Col<arma::uword>& units) const;

  nominal_codes codes_;
  std::vector<std::shared_ptr<Logistic>> members_;  ///< of the codes
  outcome_scale cells_;                             ///< the categories as the data have them
  missing_categories imputed_;                      ///< reads and writes cells_, and the codes along
  std::unique_ptr<estimator::covariate_link> centering_;
  bool codes_read_ = false;  ///< by other equations

  arma::Mat<double> tails_;         ///< units x codes: log sum of exp(eta) from this code on; not the first's
  arma::Col<double> head_;          ///< log(1 + sum of exp(eta)) of the codes drawn so far
  arma::Col<double> eta_, offset_;  ///< of one code
  arma::Mat<double> missing_eta_;   ///< missing units x codes
  std::vector<double> probabilities_;  ///< of the categories in one unit
  struct density_scratch {
    std::vector<double> eta, chosen, rest;
    std::vector<arma::uword> units;
    arma::Col<double> of_all;
  };
  mutable density_scratch density_;  ///< a chain is one thread
};

}  // namespace tovik::sem
