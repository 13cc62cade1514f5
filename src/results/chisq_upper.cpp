#include "results/chisq_upper.hpp"

#include <boost/math/special_functions/gamma.hpp>
#include <cmath>
#include <limits>

namespace tovik {

double chisq_upper(double x, double df) {
  if (!(df >= 1.0) || !(x >= 0.0)) return std::numeric_limits<double>::quiet_NaN();
  if (std::isinf(x)) return 0.0;
  return boost::math::gamma_q(0.5 * df, 0.5 * x);
}

}  // namespace tovik
