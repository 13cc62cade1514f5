#include "sem/outcomes/missing_categories.hpp"

#include <utility>

namespace tovik::sem {

missing_categories::missing_categories(arma::Col<arma::uword> units, unsigned level, outcome_scale& scale,
                                       const void* source)
    : units_(std::move(units)),
      level_(level),
      scale_(scale),
      source_(source),
      values_(units_.n_elem),
      candidates_(units_.n_elem) {}

void missing_categories::set_list(std::unique_ptr<estimator::likelihood> list) {
  list_ = std::move(list);
  if (list_ != nullptr) groups_ = scan::value_groups(units_, level_, list_->together);
}

void missing_categories::draw(Random& rng, estimator::tune_obj& tune, arma::Mat<double>& data) {
  if (list_ == nullptr) {
    for (arma::uword k = 0; k < units_.n_elem; ++k) scale_.write(data, units_(k), candidates_[k]);
    if (refresh_) refresh_(data);
    return;
  }
  for (arma::uword k = 0; k < units_.n_elem; ++k) values_[k] = scale_.at(data, units_(k));
  metropolis_.accept(groups_, *this, 1, candidates_.data(), rng, tune, data, values_.data());
}

void missing_categories::write(arma::Mat<double>& data, const arma::Col<arma::uword>& which,
                               const double* values, unsigned char* usable) {
  scale_.write(data, units_, which, values, usable);
  if (refresh_) refresh_(data);
}

void missing_categories::log_density(const arma::Mat<double>& data, const arma::Col<arma::uword>& groups,
                                     double* out) {
  groups_.density(*list_, source_, data, groups, out);
}

void missing_categories::log_likelihood(const arma::Mat<double>& data, const arma::Col<arma::uword>& groups,
                                        double* out) {
  groups_.density(*list_, source_, data, groups, out);
}

}  // namespace tovik::sem
