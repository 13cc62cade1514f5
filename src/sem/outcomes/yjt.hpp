#pragma once

#include <armadillo>
#include <memory>
#include <utility>
#include <vector>

#include "sem/outcomes/equation_setup.hpp"
#include "sem/outcomes/lambda_holder.hpp"
#include "sem/outcomes/regression.hpp"
#include "sem/outcomes/yeo_johnson.hpp"
#include "sem/scan/integrated_regression.hpp"
#include "sem/scan/log_variance_shear.hpp"
#include "sem/wiring/constraint.hpp"

namespace tovik::sem {

/// A regression T with normal errors of a Yeo-Johnson transformation g of the outcome, whose parameter lambda
/// is drawn along:
///
///   g(y_i; lambda) = eta_i + e_i,   lambda ~ its prior (uniform from 0 to 3 unless one is named).
///
/// All of T is that of y* = g(y). The state are the values y themselves: a draw of lambda leaves them as they
/// are, imputed ones too, and moves their y*, so that its density has the Jacobian of g,
///
///   log p(lambda | ...)  =  log p(y* | ...) + (lambda - 1) sum of sign(y_i) log(|y_i| + 1) + log prior.
///
/// A draw of missing values moves y* at a given lambda, and its densities are those of y*. The density of y*
/// is that of a normal distribution although its range is bounded for lambda < 0 and for lambda > 2.
///
/// lambda and the unit of y* go together: given coefficients and variances lambda can hardly move when values
/// are far from 0. The random walk of lambda therefore takes the effects and their covariance matrices along
/// with the unit of y* (the map of the group of scales; Liu & Sabatti, 2000, Biometrika 87, 353-369), and has
/// the density with the coefficients and the residual variance integrated out, which are drawn next (Box &
/// Cox, 1964, J. R. Stat. Soc. B 26, 211-252; van Dyk & Park, 2008, JASA 103, 790-796). Where the equation
/// is tied to others (phantoms, a block, effects that others read), lambda is drawn given all else. A lambda
/// with a label in several places is drawn there (see constraint()).
///
/// With a variance model, log v_i = max(V_i'g, bound), its coefficients g go along in the place of the
/// residual variance: for a step d of lambda the slope of the transformation at y_i grows by exp(d l(y_i)),
/// and g moves by 2 d a, a the regression of l(y) on V (see scan::log_variance_shear). Under the new lambda,
/// and with w_i = 1 / v_i at the new g, the density with the coefficients b of X integrated out is, e = y*
/// less what is given, D = diag(w),
///
///   prod w_i^(1/2) |X'DX|^(-1/2) exp(-(e'De - e'DX inv(X'DX) X'De) / 2) prior(g),
///
/// next to the Jacobian of the transformation. l(y) and V stay in this step, so that the map of lambda and g
/// preserves volume; the bound of the variances enters by w. b is drawn next, given the new lambda and g.
template <class T>
class yjt : public T, public lambda_holder {
 public:
  /// `type`: that of the outcome. `drawn`: lambda is no known number. `more`: what T takes behind its setup.
  template <class... More>
  yjt(const Estimator* estimator, const data::type& type, const equation_setup& setup, double lambda,
      bool drawn, More&&... more)
      : estimator::Outcome(T::parts_of(estimator, type, setup)),
        T(estimator, setup, std::forward<More>(more)...),
        g_(setup.y, setup.level == 0 ? nullptr : setup.cluster.own_rows[0], lambda) {
    wire(estimator, drawn);
  }

  void draw(arma::Mat<double>& data) override;
  /// The first step of draw(), if lambda is drawn here. With coefficients integrated out these must be drawn
  /// next.
  void draw_lambda(const arma::Mat<double>& data);
  void tune() override;
  estimator::tune_results tuneResults() const override;
  void addProposals(std::vector<estimator::tune_obj*>& to) override;
  arma::uword n_estimated() const override;
  /// lambda, beside those of T: it is from then on not drawn here.
  std::shared_ptr<estimator::constraint> constraint(const parameter_type& kind, const unsigned& index,
                                                    const unsigned& level) override;
  /// y*, then the random effects of each level.
  arma::Mat<double> latent(const arma::Mat<double>& data) const override;
  arma::uword n_scores() const override { return 1; }
  void addLogJacobian(const arma::Mat<double>& data, arma::Col<double>& out) const override;

  double* lambda_address() override { return g_.address(); }
  void take_lambda_prior(const std::shared_ptr<Parameter>& prior, const std::vector<double*>& links) override;
  void settle_lambda(const arma::Mat<double>& data) override;
  void start_lambda(double lambda, const arma::Mat<double>& data) override;

  double lambda() const { return g_.lambda(); }

 protected:
  arma::Col<double> last_rows() const override;
  void take_last_rows(const double* v) override;

 private:
  /// T has a variance model.
  static constexpr bool has_variance_model = requires(T & equation) { equation.log_scale(); };

  void wire(const Estimator* estimator, bool drawn);
  bool may_integrate() const;
  bool read_integrated(const arma::Mat<double>& data);
  void read_design(const arma::Mat<double>& data, const arma::Col<arma::uword>& columns);
  void read_means(const arma::Mat<double>& data);
  double log_density(double lambda);
  double integrated_density(double lambda);
  double density_of_values(double lambda);
  double given_all() const;
  void grow_effects(double factor);

  yeo_johnson g_;
  estimator::constraint lambda_;  ///< without links where lambda is not drawn here
  std::shared_ptr<Parameter> prior_;

  // Of a draw of lambda.
  scan::integrated_regression integrated_;
  scan::log_variance_shear variances_;
  bool integrates_ = false, design_kept_ = false;
  double from_ = 1.0;                       ///< where lambda stood
  double squares_ = 0.0, candidate_ = 0.0;  ///< of its two ends
  arma::Col<double> y_;                     ///< y* at the lambda in question, less what is given
  arma::Col<double> means_, effects_, scratch_;
  const arma::Col<arma::uword> none_;
};

}  // namespace tovik::sem
