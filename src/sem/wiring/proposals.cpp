#include "sem/wiring/proposals.hpp"

#include <cmath>
#include <limits>

namespace tovik::sem {

namespace {

constexpr double wanted_fall = 0.5;
constexpr int max_steps = 60;

/// The mean fall of the log density at the two points at distance s.
class fall {
 public:
  fall(estimator::constraint& parameter, const arma::Mat<double>& data)
      : parameter_(parameter),
        data_(data),
        centre_(parameter.value),
        top_(parameter.move_to(centre_, data)) {}

  bool known() const { return std::isfinite(top_); }

  double operator()(double s) const {
    const double above = parameter_.move_to(centre_ + s, data_);
    const double below = parameter_.move_to(centre_ - s, data_);
    const double mean = 0.5 * (above + below);
    // Outside its support the parameter has no density: infinitely far down.
    return std::isfinite(mean) ? top_ - mean : std::numeric_limits<double>::infinity();
  }

 private:
  estimator::constraint& parameter_;
  const arma::Mat<double>& data_;
  double centre_;
  double top_;
};

/// The distance where `f` passes the wanted fall; NaN if it does not within many orders of magnitude of
/// `first`.
double distance(const fall& f, double first) {
  double low = first, high = first;
  if (f(first) < wanted_fall) {
    int step = 0;
    do {
      low = high;
      high *= 4.0;
      if (++step > max_steps || !std::isfinite(high)) return std::numeric_limits<double>::quiet_NaN();
    } while (f(high) < wanted_fall);
  } else {
    int step = 0;
    do {
      high = low;
      low /= 4.0;
      if (++step > max_steps || !(low > 0.0)) return std::numeric_limits<double>::quiet_NaN();
    } while (f(low) >= wanted_fall);
  }
  for (int step = 0; step < 12; ++step) {
    const double middle = std::sqrt(low * high);
    (f(middle) < wanted_fall ? low : high) = middle;
  }
  return std::sqrt(low * high);
}

}  // namespace

double proposal_variance(estimator::constraint& parameter, const arma::Mat<double>& data, double guess) {
  const double before = parameter.value;
  parameter.anchor();
  const fall f(parameter, data);
  double s = std::numeric_limits<double>::quiet_NaN();
  if (f.known()) s = distance(f, 0.5 * std::sqrt(guess));
  parameter.move(before);
  const double variance = 4.0 * s * s;
  return std::isfinite(variance) && variance > 0.0 ? variance : guess;
}

void adapt_proposal(estimator::constraint& parameter, const arma::Mat<double>& data) {
  estimator::tune_obj& tune = parameter.tune;
  if (tune.total == 0) return;
  const double found = proposal_variance(parameter, data, parameter.variance);
  const double ratio = found / (tune.value * tune.value * parameter.variance);
  if (ratio > 1.0 / 16.0 && ratio < 16.0) {
    tune.tune();
    return;
  }
  parameter.variance = found;
  tune.value = 1.0;
  tune.accepted = 0;
  tune.total = 0;
}

}  // namespace tovik::sem
