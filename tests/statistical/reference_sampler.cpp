#include "statistical/reference_sampler.hpp"

#include <cmath>
#include <utility>

namespace tovik::tests {

reference_sampler::reference_sampler(density log_density, std::vector<double> start, std::uint64_t seed)
    : log_density_(std::move(log_density)), at_(std::move(start)), engine_(seed) {
  value_ = log_density_(at_);
  log_steps_.assign(at_.size(), 0.0);
}

arma::Mat<double> reference_sampler::run(
    std::size_t warm_up, std::size_t scans,
    const std::function<arma::Col<double>(const std::vector<double>&)>& report) {
  warm(warm_up);
  arma::Mat<double> out(report(at_).n_elem, scans);
  for (std::size_t t = 0; t < scans; ++t) {
    scan(0);
    out.col(t) = report(at_);
  }
  return out;
}

void reference_sampler::warm(std::size_t scans) {
  const arma::uword d = at_.size();
  arma::Mat<double> seen(d, scans / 4);
  for (std::size_t t = 0; t < scans; ++t) {
    scan(1 / std::sqrt(1.0 + static_cast<double>(t)));
    if (t >= scans / 4 && t - scans / 4 < seen.n_cols) seen.col(t - scans / 4) = arma::Col<double>(at_);
    if (t - scans / 4 + 1 == seen.n_cols) learn(seen);
  }
}

void reference_sampler::learn(const arma::Mat<double>& seen) {
  arma::Mat<double> C = arma::cov(seen.t());
  C.diag() *= 1 + 1e-6;
  root_ = arma::chol(C, "lower");
  log_joint_ = std::log(2.38 / std::sqrt(static_cast<double>(at_.size())));
}

void reference_sampler::scan(double gain) {
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

bool reference_sampler::decide() {
  const double candidate = log_density_(at_);
  const double log_u = std::log(std::uniform_real_distribution<double>(0, 1)(engine_));
  if (!(log_u <= candidate - value_)) return false;
  value_ = candidate;
  return true;
}

}  // namespace tovik::tests
