#pragma once

#include <armadillo>
#include <cmath>

#include "random/constants.hpp"
#include "sem/scan/row_scale.hpp"

namespace tovik::sem {

/// out[k] := log N(value(k); mu[k], v_i) for the k-th of n units, i = units[k], or i = k where `units` is
/// null.
template <typename Value>
void normal_log_density(const Value& value, const double* mu, const scan::row_scale& v,
                        const arma::uword* units, arma::uword n, double* out) {
  if (!v.is_one()) {
    for (arma::uword k = 0; k < n; ++k) {
      const double r = value(k) - mu[k], w = v.precision(units == nullptr ? k : units[k]);
      out[k] = 0.5 * (std::log(w) - log_2_pi - w * r * r);
    }
    return;
  }
  const double each = -0.5 * (log_2_pi + std::log(v.value())), w = 0.5 / v.value();
  for (arma::uword k = 0; k < n; ++k) {
    const double r = value(k) - mu[k];
    out[k] = each - w * r * r;
  }
}

}  // namespace tovik::sem
