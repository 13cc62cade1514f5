#pragma once

#include <armadillo>
#include <cmath>
#include <functional>
#include <random>
#include <utility>
#include <vector>

namespace tovik::tests {

/// A slow and simple sampler of any density, to compare fast ones with.
///
/// Knows nothing of the model but its log density, up to a constant, at a vector of real numbers. A scan
/// proposes a normal step for one element after the other and then for all of them at once. Steps adapt
/// during warm-up only: each element's by Robbins-Monro to an acceptance rate of 0.44, the joint step to
/// 0.234 with the covariance matrix of the warm-up's second quarter (Haario, Saksman and Tamminen, 2001,
/// Bernoulli 7, 223-242). After warm-up it is an ordinary random-walk Metropolis chain.
class reference_sampler {
 public:
  using density = std::function<double(const std::vector<double>&)>;

  reference_sampler(density log_density, std::vector<double> start, std::uint64_t seed)
      : log_density_(std::move(log_density)), at_(std::move(start)), engine_(seed) {
    value_ = log_density_(at_);
    log_steps_.assign(at_.size(), 0.0);
  }

  /// One column per kept scan, one row per element of `report` of the state.
  arma::Mat<double> run(std::size_t warm_up, std::size_t scans,
                        const std::function<arma::Col<double>(const std::vector<double>&)>& report) {
    warm(warm_up);
    arma::Mat<double> out(report(at_).n_elem, scans);
    for (std::size_t t = 0; t < scans; ++t) {
      scan(0);
      out.col(t) = report(at_);
    }
    return out;
  }

 private:
  void warm(std::size_t scans) {
    const arma::uword d = at_.size();
    arma::Mat<double> seen(d, scans / 4);
    for (std::size_t t = 0; t < scans; ++t) {
      scan(1 / std::sqrt(1.0 + static_cast<double>(t)));
      if (t >= scans / 4 && t - scans / 4 < seen.n_cols) seen.col(t - scans / 4) = arma::Col<double>(at_);
      if (t - scans / 4 + 1 == seen.n_cols) learn(seen);
    }
  }

  /// The shape of the joint step.
  void learn(const arma::Mat<double>& seen) {
    arma::Mat<double> C = arma::cov(seen.t());
    C.diag() *= 1 + 1e-6;
    root_ = arma::chol(C, "lower");
    log_joint_ = std::log(2.38 / std::sqrt(static_cast<double>(at_.size())));
  }

  void scan(double gain) {
    for (std::size_t j = 0; j < at_.size(); ++j) {
      const double old = at_[j];
      at_[j] += std::exp(log_steps_[j]) * normal_(engine_);
      const bool accepted = decide();
      if (!accepted) at_[j] = old;
      log_steps_[j] += gain * ((accepted ? 1.0 : 0.0) - 0.44);
    }
    if (root_.is_empty()) return;
    const std::vector<double> old = at_;
    arma::Col<double> z(at_.size());
    for (double& one : z) one = normal_(engine_);
    const arma::Col<double> step = std::exp(log_joint_) * (root_ * z);
    for (std::size_t j = 0; j < at_.size(); ++j) at_[j] += step(j);
    const bool accepted = decide();
    if (!accepted) at_ = old;
    log_joint_ += gain * ((accepted ? 1.0 : 0.0) - 0.234);
  }

  /// Metropolis' rule for the state that has been written; a density that is not a number is refused.
  bool decide() {
    const double candidate = log_density_(at_);
    const double log_u = std::log(std::uniform_real_distribution<double>(0, 1)(engine_));
    if (!(log_u <= candidate - value_)) return false;
    value_ = candidate;
    return true;
  }

  density log_density_;
  std::vector<double> at_;
  double value_ = 0;
  std::vector<double> log_steps_;
  double log_joint_ = 0;
  arma::Mat<double> root_;
  std::mt19937_64 engine_;
  std::normal_distribution<double> normal_;
};

}  // namespace tovik::tests
