#include "sem/outcomes/rstar.hpp"

#include "support/error.hpp"

namespace tovik::sem {

Rstar::Rstar(const Estimator* estimator_, const equation_setup& setup,
             const arma::Col<arma::uword>& is_missing, arma::uword n_reported)
    : Outcome(parts_of(estimator_, data::type::ordinal, setup)),
      Ordinal(estimator_, setup, {{0.0, 1.0}, is_missing, n_reported}) {
  if (!setup.missing_units.is_empty()) throw error_debug("A missing data indicator is always observed.");
}

}  // namespace tovik::sem
