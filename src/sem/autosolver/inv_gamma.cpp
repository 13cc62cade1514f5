#include "sem/autosolver/inv_gamma.hpp"

#include "random/random.hpp"

namespace tovik::sem::autosolver {

inv_gamma inv_gamma::_prior(const arma::Mat<double>&, const inv_gamma&, double a, double b) {
  return {a, b};
}

double inv_gamma::draw(Random& rng) const {
  return 1.0 / rng.rgamma(shape, 1.0 / scale);
}

}  // namespace tovik::sem::autosolver
