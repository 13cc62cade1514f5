#pragma once

#include <armadillo>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "data/variable_list.hpp"
#include "model/model_list.hpp"
#include "random/random.hpp"
#include "sem/chain/mcmc.hpp"
#include "sem/ensemble/outcomes.hpp"
#include "sem/predictors/variable.hpp"

namespace tovik::tests {

/// A run with predictors of every kind, without files: what the preparation of the data does for one.
struct predictor_run {
  VariableList vars;
  arma::mat data;
  ModelList models;
  int xprior = 1;
  double icc_cutoff = 0.01;

  struct plan {
    std::vector<std::string> ids;
    std::vector<std::string> ordinal, nominal;
    std::vector<std::string> fixed;
    std::vector<std::string> auxiliary;  ///< covariates that no equation has
    std::map<std::string, data::center> centered, centered_means;
    std::vector<std::pair<std::string, std::string>> definitions;  ///< name and expression
  };

  predictor_run(const std::vector<std::string>& names, const arma::mat& columns,
                const std::vector<std::string>& statements, const plan& p);

  std::shared_ptr<sem::Mcmc> chain(const Random& rng) const;

  /// The text of the error that building a chain raises; "" for none.
  std::string failure() const;

 private:
  static bool has(const std::vector<std::string>& list, const std::string& name) {
    return std::find(list.begin(), list.end(), name) != list.end();
  }

  void make_catalogue(const std::vector<std::string>& names, const plan& p);
  void add_codes(const std::shared_ptr<data::variable>& v);
  static std::shared_ptr<data::variable> owner(const std::shared_ptr<data::variable>& v);
  void append_derived();
};

/// The predictor model of a variable.
const sem::Variable& predictor(const sem::Mcmc& chain, const std::string& name);

}  // namespace tovik::tests
