#pragma once

#include <armadillo>
#include <vector>

#include "random/random.hpp"
#include "sem/scan/coefficient_prior.hpp"
#include "sem/wiring/tune.hpp"

namespace tovik::sem::scan {

/// What is known of the log variances l_i of the units, each with the log density
///
///   - count l_i / 2 - (squares_i exp(-l_i) - 2 cross_i exp(-l_i / 2)) / (2 left)
///
/// up to a constant: `count` normal residuals with the sum of squares `squares_i`, and with cross_i = r_i m_i
/// one residual r_i whose standardised value is N(m_i, left) given others'.
struct log_variance_terms {
  const double* squares = nullptr;
  const double* cross = nullptr;  ///< null: 0
  double count = 1.0, left = 1.0;
  double information = 0.5;  ///< about the expected one in l_i, for proposals
};

/// Steps on the coefficients g of l = max(V g, bound) under independent normal or flat priors.
class log_variance_step {
 public:
  /// V g of every unit at these coefficients, and the log density there.
  void begin(const arma::Mat<double>& V, const coefficient_prior& prior, const log_variance_terms& terms,
             double bound, const arma::Mat<double>& g);

  /// A random walk on each of the coefficients `which`, with the proposals tune[j].
  void walk(const arma::Col<arma::uword>& which, std::vector<estimator::tune_obj>& tune, Random& rng,
            arma::Mat<double>& g);
  /// One proposal for all of them, from the normal distribution around one step of scoring from g, with the
  /// information of unbounded variances; accepted by Metropolis-Hastings with the step from the proposal for
  /// the way back. True if they moved. Nothing where the information is singular.
  bool leap(const arma::Col<arma::uword>& which, Random& rng, arma::Mat<double>& g, bool& proposed);

 private:
  double log_density(const arma::Col<double>& l, const arma::Mat<double>& g) const;
  /// The scoring step inv(H) s at (l, g).
  void scoring(const arma::Col<arma::uword>& which, const arma::Col<double>& l, const arma::Mat<double>& g,
               arma::Col<double>& step);
  bool factor(const arma::Col<arma::uword>& which);

  const arma::Mat<double>* V_ = nullptr;
  const coefficient_prior* prior_ = nullptr;
  log_variance_terms terms_;
  double bound_ = 0.0, here_ = 0.0;
  arma::Col<double> l_, candidate_, score_;
  arma::Mat<double> T_, kept_;  ///< T T' = H; coefficients before a proposal
  arma::Col<double> step_, back_, d_;
};

}  // namespace tovik::sem::scan
