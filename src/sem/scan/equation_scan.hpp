#pragma once

#include <armadillo>
#include <memory>
#include <vector>

#include "sem/scan/cluster_statistics.hpp"
#include "sem/scan/coefficients.hpp"
#include "sem/scan/covariance.hpp"
#include "sem/scan/cross_products.hpp"
#include "sem/scan/design.hpp"
#include "sem/scan/effect_factor.hpp"
#include "sem/scan/integrated_effects.hpp"
#include "sem/scan/random_effects.hpp"
#include "sem/scan/row_scale.hpp"
#include "sem/scan/shifted_design.hpp"
#include "sem/scan/static_products.hpp"
#include "sem/scan/values/predictive_draw.hpp"
#include "sem/scan/variance_shares.hpp"
#include "sem/wiring/cluster.hpp"

namespace tovik::sem::scan {

/// What never changes about an equation.
struct equation {
  arma::uword y = 0;                             ///< column of the working matrix
  bool y_static = false;                         ///< no cell of it is ever written
  design terms;                                  ///< predictors and random-effect covariates
  estimator::cluster structure;                  ///< above the outcome
  const arma::Col<arma::uword>* rows = nullptr;  ///< the row of each unit; null for every row
  arma::Col<arma::uword> free, fixed;            ///< coefficients drawn; not drawn
  coefficient_prior prior = {};                  ///< of all coefficients; those drawn heed it
};

/// A covariance matrix of effects that has its second draw (effect_factor_step) with the draw of the effects.
struct second_draw {
  covariance_prior prior;
  arma::Mat<double>* iSigma;
  arma::Mat<double>* Sigma;
};

/// The variance shares of one draw.
struct shares {
  double coef = 0.0;
  std::vector<level_variance> levels;
};

/// The road that every regression of a continuous or underlying-continuous outcome takes in a scan: the
/// design, the coefficients, the random effects of each level, then sums of squares, missing values and
/// variance shares. A model calls the steps in its order, and keeps the parameters; this object keeps the
/// design, what is cached of it, the residual r = y - Xb - sum Z u, and the work space: after the first scans
/// nothing is allocated.
///
/// When nothing of the design or the outcome can change and one level at most has random effects, the steps
/// work on cross-products (static_products) and r is not formed. Both ways give the same draws up to
/// rounding.
class equation_scan {
 public:
  explicit equation_scan(equation terms);
  equation_scan(const equation_scan&) = delete;
  equation_scan& operator=(const equation_scan&) = delete;

  /// Keeps r in every scan, also where cross-products would do. For comparison; before the first begin().
  void keep_rows() { use_products_ = false; }

  /// Takes coefficient j out of the draws; before the first begin(). Throws error_debug when there is no such
  /// coefficient or a scan has begun.
  void hold(arma::uword j);

  /// The coefficients that are drawn are parameters of a block from now on; after all calls of hold(), before
  /// the first begin(). `parameters`: of each coefficient.
  void share(const std::shared_ptr<coefficient_block>& block, const arma::Col<arma::uword>& parameters);
  const block_share* shared() const { return share_.get(); }

  /// Starts a scan at the data: reads what can change, and the outcome. `b` and `u`: the current state.
  /// `scale` is the row scale of the scan (it enters the products within clusters unless it is one);
  /// `effects`: that of the draws of effects, if it is another one. The effects are then not integrated out.
  void begin(const arma::Mat<double>& data, const arma::Mat<double>& b,
             const std::vector<arma::Mat<double>>& u, const row_scale& scale,
             const row_scale* effects = nullptr);
  /// The same with the outcome given (a latent score, a transformed value): units x 1. If the equation says
  /// that y is static, it is the same in every scan.
  void begin(const arma::Mat<double>& data, const arma::Col<double>& y, const arma::Mat<double>& b,
             const std::vector<arma::Mat<double>>& u, const row_scale& scale,
             const row_scale* effects = nullptr);

  /// Takes a known part of the outcome (one value per unit) out of r. Only with rows kept.
  void subtract(const double* part);

  /// Draws b given the random effects; r becomes the whole residual.
  void draw_coefficients(const row_scale& scale, const std::vector<arma::Mat<double>>& u, Random& rng,
                         arma::Mat<double>& b);
  /// The same with the effects of the L-th level above integrated out (see integrated_step), whose draw with
  /// the same `iSigma` and `mu` must come next.
  void draw_coefficients(unsigned L, const row_scale& scale, const arma::Mat<double>& iSigma,
                         const arma::Mat<double>* mu, const std::vector<arma::Mat<double>>& u, Random& rng,
                         arma::Mat<double>& b);
  /// Coefficients with the effects of both levels above integrated out, then the effects of the upper one, in
  /// place, with those of the lower one integrated out: the draw of these must come next. False, with nothing
  /// done, where it cannot be. `second`: of the upper level, whose covariance matrix then is drawn without
  /// the lower effects too; or null.
  bool draw_nested(const row_scale& scale, const arma::Mat<double>& lower, const arma::Mat<double>& upper,
                   std::vector<arma::Mat<double>>& u, Random& rng, arma::Mat<double>& b,
                   const second_draw* second = nullptr);
  /// In place of draw_coefficients: takes b as it is.
  void keep_coefficients(const arma::Mat<double>& b);

  /// Draws the effects of the L-th level above, in place. `mu`: their means, or null. `second`, of effects
  /// without means: null where their covariance matrix has one draw only.
  void draw_effects(unsigned L, const row_scale& scale, const arma::Mat<double>& iSigma,
                    const arma::Mat<double>* mu, Random& rng, arma::Mat<double>& u,
                    const second_draw* second = nullptr);

  /// The effects of the L-th level above were drawn elsewhere: `change`, clusters x q, is what they gained.
  void move_effects(unsigned L, const arma::Mat<double>& change);

  /// The outcome, the drawn coefficients and the effects were multiplied by a factor. `held`: what the other
  /// coefficients add to each unit's mean, or null. Only with rows kept.
  void rescale(double factor, const double* held);

  /// r'r at the current state.
  double sum_of_squares(const arma::Mat<double>& b, const std::vector<arma::Mat<double>>& u);

  /// |y - Xb - Zu|^2 from products alone, at any state; NaN where they do not serve (see static_products).
  double squares(const arma::Mat<double>& b, const std::vector<arma::Mat<double>>& u);

  /// Draws the outcome of `units` from the equation and writes it into y() and r(). Only with rows kept.
  void draw_missing(const arma::Col<arma::uword>& units, const row_scale& scale, Random& rng);
  /// The outcome of `units` was drawn elsewhere: values into y() and r(). Only with rows kept.
  void replace_values(const arma::Col<arma::uword>& units, const double* values);

  /// Reads the columns that hold a parameter again, and the moments that follow from them: the parameter was
  /// written after begin(). Nothing without such columns.
  void reread_parameters(const arma::Mat<double>& data);
  /// The predictors at the data, units x coefficients.
  const arma::Mat<double>& read_design(const arma::Mat<double>& data) {
    eq_.terms.x.refresh(data, eq_.rows);
    return eq_.terms.x.values();
  }
  /// Of the last draw. `first`: 1 if coefficient 0 is the intercept, else 0; `icept`: per level.
  shares variance_shares(const arma::Mat<double>& b, const std::vector<arma::Mat<double>>& Sigma,
                         arma::uword first, const std::vector<int>& icept);
  /// The same without a temporary.
  void variance_shares(const arma::Mat<double>& b, const std::vector<arma::Mat<double>>& Sigma,
                       arma::uword first, const std::vector<int>& icept, shares& out);

  /// Sums within clusters that give the log likelihoods; null when something of the equation can change, when
  /// they would take too much room, or before the first scan. `b`: the coefficients, of which the fixed
  /// ones are read.
  cluster_statistics* statistics(const arma::Mat<double>& b);
  const cluster_products& within(unsigned L) const { return within_[L]; }

  arma::uword n_units() const { return n_; }
  bool uses_products() const { return products_.built(); }
  const equation& terms() const { return eq_; }
  const column_moments& moments_of_x() const { return x_moments_; }
  const arma::Col<double>& y() const { return y_; }
  const arma::Col<double>& r() const { return r_; }

 private:
  bool is_static() const;
  bool can_use_products() const;
  /// Whether the products are there and tell all that a scan needs of the rows.
  bool goes_by_products(const row_scale& scale) const;
  void refresh(const arma::Mat<double>& data, const row_scale& scale, const row_scale& effects);
  bool may_shift() const;
  const arma::Mat<double>& products() const;
  void start(const arma::Mat<double>& b, const std::vector<arma::Mat<double>>& u, const row_scale& scale);
  bool draw_integrated(unsigned L, const row_scale& scale, const arma::Mat<double>& iSigma,
                       const arma::Mat<double>* mu, const std::vector<arma::Mat<double>>& u, Random& rng,
                       arma::Mat<double>& b);
  const double* weighted_residual(const row_scale& scale);
  void start_residual(const std::vector<arma::Mat<double>>& u);
  void build_products(const arma::Mat<double>& b, double variance);
  std::size_t effect_level() const;
  void redraw(unsigned L, const arma::Mat<double>& A, const arma::Mat<double>& t, double w,
              const second_draw* second, Random& rng, arma::Mat<double>& u);

  equation eq_;
  arma::uword n_ = 0;
  bool use_products_ = true;
  bool first_ = true;
  unsigned factored_version_ = 0;
  double variance_ = 1.0;  ///< of the last begin(), 1 where units differ in variance

  gram gram_;
  coefficient_step coefficients_;
  integrated_step integrated_;
  std::unique_ptr<block_share> share_;
  shifted_design shifted_;
  std::vector<cluster_products> within_;  ///< per level
  std::vector<cluster_cross> cross_;      ///< per level; of levels that are integrated out
  cluster_cross between_;                 ///< of the covariates of two levels
  arma::Col<arma::uword> upper_of_;       ///< the upper cluster of each lower one
  arma::Mat<double> added_;               ///< effects that are part of e there
  std::vector<random_effects_step> effects_;
  std::vector<effect_factor_step> factors_;  ///< per level
  static_products products_;
  cluster_statistics statistics_;
  bool tried_statistics_ = false;
  predictive_step predictive_;
  column_moments x_moments_;
  std::vector<column_moments> z_moments_;

  arma::Col<double> y_, r_, h_, weighted_;
  std::vector<arma::Mat<double>> t_, change_;  ///< per level: Z'r; minus the change of the effects
};

}  // namespace tovik::sem::scan
