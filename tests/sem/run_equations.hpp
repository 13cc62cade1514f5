#pragma once

#include <armadillo>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "sem/outcomes/priors.hpp"
#include "sem/small_run.hpp"
#include "sem/wiring/estimator.hpp"
#include "sem/wiring/outcome.hpp"
#include "sem/wiring/working_data.hpp"

namespace tovik::tests {

/// The equations of a run, their blocks and phantoms, without an ensemble. With `changing` the data may be
/// written between scans, so that nothing of them is kept.
std::vector<std::shared_ptr<sem::estimator::Outcome>> make_equations(
    const small_run& run, sem::Estimator* estimator, sem::working_data& working,
    std::unordered_map<std::string, model::parameter_info>& cells, const sem::priors& prior, bool changing);

/// The columns of identifiers among names.
std::vector<arma::uword> id_columns(const std::vector<std::string>& names,
                                    const std::vector<std::string>& ids);

}  // namespace tovik::tests
