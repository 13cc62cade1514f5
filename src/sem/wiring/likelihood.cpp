#include "sem/wiring/likelihood.hpp"

namespace tovik::sem::estimator {

arma::Col<double> likelihood::logLiklihood(arma::Mat<double> const& data, int const& level) const {
  arma::Col<double> total;
  for (auto const& contribution : *this) {
    if (total.is_empty())
      total = contribution(data, level);
    else
      total += contribution(data, level);
  }
  return total;
}

}  // namespace tovik::sem::estimator
