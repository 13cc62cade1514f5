#pragma once

#include <armadillo>
#include <vector>

#include "sem/wiring/acceptance.hpp"
#include "sem/wiring/outcome.hpp"

namespace tovik::sem {

/// The units of every level of the data: for each level from 0 (the rows) up, the unit of each row of the
/// working matrix, numbered from 0 in row order.
using level_units = std::vector<const arma::Col<arma::uword>*>;

/// The groups in which the values of a variable are accepted when `readers` are the equations that hold it.
///
/// `columns` of `data` move with the variable, whose units are those of `level`. A statistic of a whole
/// column in an expression ties all units together, a statistic within clusters the units that share a
/// cluster; an equation of a higher level ties the units below each of its own. What is tied over any chain
/// of such links is one group. Identifiers are read at `data`.
estimator::acceptance acceptance_groups(const arma::Col<arma::uword>& columns, unsigned level,
                                        const std::vector<const estimator::Outcome*>& readers,
                                        const level_units& units, const arma::Mat<double>& data);
/// Of a variable that stands in one column.
inline estimator::acceptance acceptance_groups(arma::uword column, unsigned level,
                                               const std::vector<const estimator::Outcome*>& readers,
                                               const level_units& units, const arma::Mat<double>& data) {
  return acceptance_groups(arma::Col<arma::uword>{column}, level, readers, units, data);
}

}  // namespace tovik::sem
