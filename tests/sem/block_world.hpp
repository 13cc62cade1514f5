#pragma once

#include <armadillo>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "sem/outcomes/block_member.hpp"
#include "sem/outcomes/multi_struct.hpp"
#include "sem/outcomes/multi_unstruct.hpp"
#include "sem/outcomes/ordinal.hpp"
#include "sem/scan_world.hpp"
#include "sem/yjt_world.hpp"

namespace tovik::tests {

/// A p x p covariance matrix from its prior with p + 1 degrees of freedom and the scale I, given what is
/// known of it. With Sigma = D R D this is, in the variances that are drawn and in the correlations that are,
///
///   |R|^-(p + 1) prod_j v_j^(q_j / 2 - p - 1) exp(-w_j / (2 v_j)),   w = diag(inv(R)),
///
/// q_j the number of covariances of j that count as elements of their own: given R the variances are inverse
/// gamma, and what is left of R after they are integrated out is drawn by rejection.
class block_prior {
 public:
  block_prior(arma::Mat<double> correlations, arma::Mat<unsigned char> elements,
              arma::Col<double> known_variances);

  arma::Mat<double> draw(Random& rng);

 private:
  void draw_correlations(arma::Mat<double>& R, Random& rng) const;
  double mass(const arma::Mat<double>& R) const;
  double shape(arma::uword j) const;
  bool is_free() const;

  arma::Mat<double> correlations_;
  arma::Mat<unsigned char> elements_;
  arma::Col<double> known_;  ///< NaN for a variance that is drawn
  double bound_ = 0.0;
};

/// Outcomes with correlated residuals, all parameters from proper priors: coefficients N(0, 1), covariance
/// matrices of effects and of the residuals from inverse Wisharts. The outcomes are the columns 1, 9, 10 and
/// so on; one may predict those behind it.
struct BlockWorld {
  World world;
  LoneEstimator estimator;
  Random rng;
  std::vector<sem::equation_setup> setups;
  std::vector<bool> is_binary;  ///< a probit member
  std::vector<bool> is_factor;  ///< no value is known
  std::vector<lambda_bounds> lambda;
  arma::Mat<double> correlations;
  arma::Mat<unsigned char> elements;
  arma::Col<double> known_variances;  ///< NaN: drawn
  std::vector<std::shared_ptr<sem::Regression>> models;
  std::shared_ptr<sem::Multi> block;

  BlockWorld(unsigned levels, const nesting& sizes, std::uint32_t seed);

  /// The next outcome, of this level, with these predictors.
  sem::equation_setup& add(unsigned level, const arma::Col<arma::uword>& x, bool binary = false);
  arma::uword column(std::size_t m) const { return m == 0 ? 1 : 8 + m; }
  /// The last outcome is a factor.
  void make_factor();
  /// The last outcome is a transformed one.
  void transform(double lower, double upper);
  /// What is known, by members.
  void hold_correlation(arma::uword i, arma::uword j, double value);
  /// Driven by a label with a uniform prior.
  void label_correlation(arma::uword i, arma::uword j);
  void hold_variance(arma::uword j, double value);
  /// After the last outcome.
  void finish();

  void build();
  /// After build(): the missing values of member m are drawn from their solved distribution.
  void solve(std::size_t m);
  /// Parameters, effects and outcomes from their joint distribution.
  void draw_joint();
  /// The members, then the block.
  void scan();
  std::vector<double> functions() const;

 private:
  void build_member(std::size_t m);
  void build_transformed(std::size_t m);
  void draw_outcome(std::size_t m, const arma::Col<double>& e);
  bool has_label() const;

  std::unique_ptr<block_prior> prior_;
};

}  // namespace tovik::tests
