#pragma once

#include <vector>

#include "manifest/wrapper.hpp"
#include "model/model_list.hpp"
#include "results/parameter_names.hpp"
#include "sem/chain/mcmc.hpp"

namespace tovik {

/// The names of the rows of an estimator's draws.
inline std::vector<parameter_name> row_names(const sem::Mcmc& estimator, const ModelList& models) {
  return parameter_names(models, estimator.predictors(), estimator.predictor_column_names());
}
inline std::vector<parameter_name> row_names(const manifest::wrapper& estimator, const ModelList&) {
  return estimator.mi().parameterNames();
}

}  // namespace tovik
