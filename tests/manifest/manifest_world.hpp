#pragma once

#include <algorithm>
#include <armadillo>
#include <memory>
#include <string>
#include <vector>

#include "manifest/mi.hpp"
#include "random/random.hpp"
#include "sem/chain/saved_columns.hpp"
#include "sem/predictor_run.hpp"

namespace tovik::tests {

/// Data to be imputed, without files: every column but the identifiers is a variable of the imputation.
struct manifest_world {
  predictor_run run;

  manifest_world(const std::vector<std::string>& names, const arma::mat& columns,
                 const std::vector<std::string>& ids = {}, const std::vector<std::string>& ordinal = {},
                 const std::vector<std::string>& nominal = {})
      : run(names, columns, {}, plan_of(names, ids, ordinal, nominal)) {}

  std::unique_ptr<manifest::MI> make(const manifest::options& how = {}, std::uint32_t seed = 1) const {
    return std::make_unique<manifest::MI>(run.vars, run.models, run.data, Random(seed, 1u), how,
                                          sem::keep_saved_columns(run.vars, run.data));
  }

  /// The model of a variable.
  static const manifest::Var& model(const manifest::MI& mi, const std::string& name) {
    for (const manifest::Var* v : mi.variables())
      if (v->variable().variable->name == name) return *v;
    throw error_debug("There is no model of " + name);
  }

 private:
  static predictor_run::plan plan_of(const std::vector<std::string>& names,
                                     const std::vector<std::string>& ids,
                                     const std::vector<std::string>& ordinal,
                                     const std::vector<std::string>& nominal) {
    predictor_run::plan plan;
    plan.ids = ids;
    plan.ordinal = ordinal;
    plan.nominal = nominal;
    for (const std::string& name : names)
      if (std::find(ids.begin(), ids.end(), name) == ids.end()) plan.auxiliary.push_back(name);
    return plan;
  }
};

}  // namespace tovik::tests
