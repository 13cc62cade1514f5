#pragma once

#include <armadillo>
#include <vector>

#include "sem/outcomes/log_scale.hpp"
#include "sem/outcomes/multi_struct.hpp"

namespace tovik::sem {

/// A block in which residual variances of some members have models of their own:
///
///   (e_i1, ..., e_ip) ~ N(0, D_i Sigma D_i),   D_i diagonal,
///   d_ij = sqrt(v_ij),  log v_ij = max(V_ij'g_j, trunc_point)   and Sigma_jj = 1   with a variance model,
///   d_ij = 1                                                    without,
///
/// the correlations of Sigma the same in all units (constant conditional correlations: Bollerslev, 1990,
/// Review of Economics and Statistics 72, 498-505). Flat are g, the variances without a model, and the
/// correlations within the positive definite matrices. Given the residuals g_j has the density of e_ij given
/// the other residuals of the unit:
///
///   e_ij exp(-l / 2)  ~  N(m_i, s_j),   l = log v_ij,
///
/// m_i and s_j those of Multi with standardised residuals; the elements of Sigma are drawn as in MultiStruct
/// from the products of these.
///
/// What is reported of Sigma is the mean over the units of D_i Sigma D_i.
class MultiScale final : public MultiStruct {
 public:
  /// The setup holds the variance 1 of each member with a variance model.
  MultiScale(const Estimator* estimator, block_setup setup);

  /// Of the member at this position, which must take one.
  void addLogScale(LogScale* model, const unsigned& position) override;
  /// What is left of each variance of a member given the other residuals.
  arma::Col<double> variances(const arma::Mat<double>& data, const unsigned& position) const;
  using MultiStruct::average_variance;
  /// The mean variance of a member over the units.
  double average_variance(const arma::Mat<double>& data, const unsigned& position) const;
  /// What the others' residuals tell of a member's: its mean in each unit.
  arma::Col<double> A_vec(const arma::Mat<double>& data, const unsigned& position);

  void draw(arma::Mat<double>& data) override;
  using MultiStruct::params;
  arma::Col<double> params() const override;
  arma::Col<double> postDraw(const arma::Mat<double>& data) const override;
  /// Throws error_debug: variances start in their models.
  void addStarts(const arma::Col<double>& v) override;

 protected:
  void standardize(const arma::Mat<double>& data, arma::uword member, const arma::uword* units, arma::uword n,
                   double* e) const override;
  void restore_units(const arma::Mat<double>& data, arma::uword member, double* e) const override;
  void subtract_units(const arma::Mat<double>& data, const arma::uword* units, arma::uword n,
                      double* out) const override;
  void draw_matrix(const arma::Mat<double>& data) override;

 private:
  void draw_log_scale(const arma::Mat<double>& data, unsigned position);
  /// Half the log variances, truncated; kept until the next call.
  const double* log_sd(const arma::Mat<double>& data, arma::uword member, const arma::uword* units,
                       arma::uword n) const;
  void average(const arma::Mat<double>& data);

  std::vector<LogScale*> scales_;  ///< of each member; null for none
  arma::Mat<double> averages_;     ///< over units, of the products of standard deviations
  arma::Mat<double> sds_;          ///< units x p
  arma::Col<double> residual_, mean_, squares_, cross_;
  mutable std::vector<double> log_sd_;  ///< a chain is one thread
};

}  // namespace tovik::sem
