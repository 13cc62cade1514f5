#include "sem/wiring/acceptance.hpp"

#include <utility>

#include "support/error.hpp"

namespace tovik::sem::estimator {

acceptance::acceptance(unsigned level, arma::Col<arma::uword> group_of_value,
                       arma::Col<arma::uword> group_of_unit)
    : level_(level), group_of_value_(std::move(group_of_value)), group_of_unit_(std::move(group_of_unit)) {
  if (group_of_value_.is_empty() || group_of_unit_.is_empty())
    throw error_debug("Groups of values need units.");
}

}  // namespace tovik::sem::estimator
