#include "sem/predictors/unit_chain.hpp"

#include "sem/wiring/working_data.hpp"
#include "support/error.hpp"

namespace tovik::sem {

unit_chain::unit_chain(working_data const& working, unsigned own, std::vector<bool> const& deviates)
    : place_(working.n_levels(), -1) {
  if (own >= working.n_levels()) throw error_debug("A variable stands above all levels of the data.");
  for (unsigned d = 0; own + d < working.n_levels(); ++d) {
    if (d > 0 && (d >= deviates.size() || !deviates[d])) continue;
    place_[d] = static_cast<int>(levels_.size());
    levels_.push_back(own + d);
    n_units_.push_back(working.n_units(own + d));
  }
  // Clusters nest, so that a unit's parent at any level is that of its first row.
  for (std::size_t q = 0; q + 1 < levels_.size(); ++q) {
    parents_.push_back(working.units(levels_[q + 1]).elem(working.first_rows(levels_[q])));
    arma::Col<arma::uword> children(n_units_[q + 1], arma::fill::zeros);
    for (arma::uword parent : parents_.back()) ++children[parent];
    n_children_.push_back(std::move(children));
  }
}

unsigned unit_chain::place(unsigned d) const {
  if (d >= place_.size() || place_[d] < 0)
    throw error_debug("A variable has no deviation at the level that was asked for.");
  return static_cast<unsigned>(place_[d]);
}

arma::Col<arma::uword> const& unit_chain::n_children(unsigned q) const {
  if (q == 0 || q > n_children_.size()) throw error_debug("There are no units below.");
  return n_children_[q - 1];
}

}  // namespace tovik::sem
