#include "evaluate/random_functions.hpp"

#include <cmath>

#include "evaluate/error.hpp"
#include "evaluate/rows.hpp"
#include "random/random.hpp"

namespace tovik::evaluate {

namespace {

template <class Lower, class Upper>
arma::Col<double> draw_uniform(Random* stream, unsigned n, const Lower& lower, const Upper& upper) {
  if (!fits(lower, n) || !fits(upper, n)) throw error_debug("Elements do not match.");
  for (unsigned i = 0; i < n; ++i) {
    if (at(lower, i) >= at(upper, i)) {
      throw error("ERROR: Lower bound is greater than or equal to upper bound.");
    }
  }
  arma::Col<double> out(n);
  for (unsigned i = 0; i < n; ++i) {
    out[i] = stream->runif() * (at(upper, i) - at(lower, i)) + at(lower, i);
  }
  return out;
}

template <class Mean, class Variance>
arma::Col<double> draw_normal(Random* stream, unsigned n, const Mean& mean, const Variance& variance) {
  if (!fits(mean, n) || !fits(variance, n)) throw error_debug("Elements do not match.");
  for (unsigned i = 0; i < n; ++i) {
    if (at(variance, i) <= 0.0) throw error("ERROR: Variance is not greater than 0.");
  }
  arma::Col<double> out(n);
  stream->fill_randn(out.memptr(), n);
  for (unsigned i = 0; i < n; ++i) out[i] = out[i] * std::sqrt(at(variance, i)) + at(mean, i);
  return out;
}

}  // namespace

arma::Col<double> uniform(Random* stream, const unsigned& n, double lower, double upper) {
  return draw_uniform(stream, n, lower, upper);
}

arma::Col<double> uniform(Random* stream, const unsigned& n, const arma::Col<double>& lower, double upper) {
  return draw_uniform(stream, n, lower, upper);
}

arma::Col<double> uniform(Random* stream, const unsigned& n, double lower, const arma::Col<double>& upper) {
  return draw_uniform(stream, n, lower, upper);
}

arma::Col<double> uniform(Random* stream, const unsigned& n, const arma::Col<double>& lower,
                          const arma::Col<double>& upper) {
  return draw_uniform(stream, n, lower, upper);
}

arma::Col<double> normal(Random* stream, const unsigned& n, double mean, double variance) {
  return draw_normal(stream, n, mean, variance);
}

arma::Col<double> normal(Random* stream, const unsigned& n, const arma::Col<double>& mean, double variance) {
  return draw_normal(stream, n, mean, variance);
}

arma::Col<double> normal(Random* stream, const unsigned& n, double mean, const arma::Col<double>& variance) {
  return draw_normal(stream, n, mean, variance);
}

arma::Col<double> normal(Random* stream, const unsigned& n, const arma::Col<double>& mean,
                         const arma::Col<double>& variance) {
  return draw_normal(stream, n, mean, variance);
}

}  // namespace tovik::evaluate
