#pragma once

#include <armadillo>
#include <memory>
#include <vector>

#include "sem/predictors/normal_rectangle.hpp"

namespace tovik::sem {

/// From a mean of latent normal scores to what it means on the scale of the data: the expected value of each
/// value column (the code of an ordinal variable, the dummy codes of a nominal one) when the scores around
/// the mean are normal with covariance Omega. The centre of a categorical variable is of this kind, since its
/// columns are codes.
class category_link {
 public:
  virtual ~category_link() = default;
  /// Takes the covariance of the scores around the mean (not about to depend on the mean), and thresholds.
  virtual void set(const arma::Mat<double>& omega, const arma::Col<double>& thresholds) = 0;
  /// `out` := the expected values, in the row of each of the given rows of `means`.
  virtual void map(const arma::Mat<double>& means, const arma::Col<arma::uword>& rows,
                   arma::Mat<double>& out) = 0;
  /// All rows; `out` is resized.
  void map(const arma::Mat<double>& means, arma::Mat<double>& out);
};

/// v_0 + sum over k of (v_{k+1} - v_k) Phi((t - tau_k) / sd), with v the codes.
class expected_code : public category_link {
 public:
  explicit expected_code(std::vector<double> codes) : codes_(std::move(codes)) {}
  using category_link::map;
  void set(const arma::Mat<double>& omega, const arma::Col<double>& thresholds) override;
  void map(const arma::Mat<double>& means, const arma::Col<arma::uword>& rows,
           arma::Mat<double>& out) override;

 private:
  std::vector<double> codes_;
  arma::Col<double> tau_;
  double sd_ = 1;
};

/// The probability of each category but the reference: that its score is above 0 and the largest, a normal
/// rectangle probability (one Phi for two categories). Always by the same points, so that it is a function of
/// the mean without noise.
class category_proportions : public category_link {
 public:
  using category_link::map;
  void set(const arma::Mat<double>& omega, const arma::Col<double>&) override;
  void map(const arma::Mat<double>& means, const arma::Col<arma::uword>& rows,
           arma::Mat<double>& out) override;

 private:
  double sd_ = 1;  ///< of two categories
  std::vector<normal_rectangle> regions_;
};

}  // namespace tovik::sem
