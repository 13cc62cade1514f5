#include "sem/scan/values/predictive_draw.hpp"

#include <cmath>

namespace tovik::sem::scan {

void predictive_step::draw(const arma::Col<arma::uword>& units, const row_scale& scale, Random& rng,
                           double* y, double* r) {
  arma::uword const m = units.n_elem;
  z_.set_size(m);
  rng.fill_randn(z_.memptr(), m);
  const double sd_of_all = scale.is_one() ? std::sqrt(scale.value()) : 0.0;
  for (arma::uword k = 0; k < m; ++k) {
    arma::uword const i = units(k);
    const double sd = scale.is_one() ? sd_of_all : scale.sd(i);
    const double predicted = y[i] - r[i];
    r[i] = sd * z_(k);
    y[i] = predicted + r[i];
  }
}

}  // namespace tovik::sem::scan
