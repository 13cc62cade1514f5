#include "sem/outcomes/missing_values.hpp"

#include <utility>

namespace tovik::sem {

missing_values::missing_values(arma::Col<arma::uword> units, unsigned level, outcome_scale& scale,
                               const void* source)
    : units_(std::move(units)), scale_(scale), level_(level), source_(source) {}

void missing_values::set_list(std::unique_ptr<estimator::likelihood> list) {
  list_ = std::move(list);
  if (list_ != nullptr) groups_ = scan::value_groups(units_, level_, list_->together);
}

void missing_values::write(arma::Mat<double>& data, const arma::Col<arma::uword>& which, const double* values,
                           unsigned char* usable) {
  scale_.write(data, units_, which, values, usable);
  refresh(data);
}

void missing_values::log_likelihood(const arma::Mat<double>& data, const arma::Col<arma::uword>& groups,
                                    double* out) {
  density(data, groups, source_, out);
}

}  // namespace tovik::sem
