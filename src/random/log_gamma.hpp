#pragma once

#include <boost/math/policies/policy.hpp>
#include <boost/math/special_functions/gamma.hpp>

namespace tovik {

/// log Gamma(x), x > 0. The C library's lgamma writes the global signgam, a race between chains.
inline double log_gamma(double x) {
  using namespace boost::math::policies;
  return boost::math::lgamma(x, policy<promote_double<false>>());
}

}  // namespace tovik
