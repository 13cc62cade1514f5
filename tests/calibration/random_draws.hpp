#pragma once

#include <armadillo>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

/// Draws for simulated data, apart from the generator of the program.
namespace tovik::tests::calibration {

constexpr double missing = std::numeric_limits<double>::quiet_NaN();

/// Normal with mean 0.
inline double normal(std::mt19937_64& engine, double variance = 1) {
  return std::normal_distribution<double>(0, std::sqrt(variance))(engine);
}

inline double gamma(std::mt19937_64& engine, double shape, double scale) {
  return std::gamma_distribution<double>(shape, scale)(engine);
}

inline double inverse_gamma(std::mt19937_64& engine, double shape, double scale) {
  return scale / std::gamma_distribution<double>(shape, 1)(engine);
}

inline bool chance(std::mt19937_64& engine, double probability) {
  return std::uniform_real_distribution<double>(0, 1)(engine) < probability;
}

/// True with a probability whose log odds are given.
inline bool chance_of_odds(std::mt19937_64& engine, double log_odds) {
  return chance(engine, 1 / (1 + std::exp(-log_odds)));
}

/// The prior of `prior1` for one variance: unit sum of squares, two degrees of freedom.
inline double prior1(std::mt19937_64& engine) {
  return inverse_gamma(engine, 1, 0.5);
}

/// The prior of `prior1` for a covariance matrix: its inverse is a Wishart matrix with q + 1 degrees of
/// freedom and the identity as scale.
inline arma::Mat<double> prior1(std::mt19937_64& engine, arma::uword q) {
  arma::Mat<double> roots(q, q + 1);
  for (double& z : roots) z = normal(engine);
  return arma::inv_sympd(roots * roots.t());
}

/// The category of a latent score: 1 and one more for every cut below it.
inline double category(double score, const std::vector<double>& cuts) {
  double out = 1;
  for (double cut : cuts) out += score > cut;
  return out;
}

}  // namespace tovik::tests::calibration
