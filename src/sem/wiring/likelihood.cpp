#include "sem/wiring/likelihood.hpp"

#include <algorithm>

namespace tovik::sem::estimator {

likelihood_function::likelihood_function(const void* source, whole all)
    : source_(source),
      all_(all),
      some_([all](const arma::Mat<double>& data, const int& level, const arma::Col<arma::uword>& units,
                  double* out) {
        arma::Col<double> const values = all(data, level);
        for (arma::uword k = 0; k < units.n_elem; ++k) out[k] += values(units(k));
      }) {}

void likelihood::add_once(likelihood_function f) {
  const bool held = std::any_of(begin(), end(), [&](const likelihood_function& other) {
    return f.source() != nullptr && other.source() == f.source();
  });
  if (!held) push_back(std::move(f));
}

arma::Col<double> likelihood::logLiklihood(const arma::Mat<double>& data, const int& level) const {
  arma::Col<double> total;
  for (const auto& contribution : *this) {
    if (total.is_empty())
      total = contribution(data, level);
    else
      total += contribution(data, level);
  }
  return total;
}

void likelihood::logLiklihood(const arma::Mat<double>& data, const int& level,
                              const arma::Col<arma::uword>& units, arma::Col<double>& out) const {
  out.set_size(units.n_elem);
  out.zeros();
  for (const auto& contribution : *this) contribution.add(data, level, units, out.memptr());
}

}  // namespace tovik::sem::estimator
