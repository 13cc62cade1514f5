#pragma once

#include <cmath>
#include <limits>
#include <random>

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

}  // namespace tovik::tests::calibration
