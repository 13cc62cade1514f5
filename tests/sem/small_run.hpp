#pragma once

#include <armadillo>
#include <memory>
#include <string>
#include <vector>

#include "data/variable_list.hpp"
#include "model/model_list.hpp"
#include "random/random.hpp"
#include "sem/chain/mcmc.hpp"
#include "sem/ensemble/outcomes.hpp"
#include "sem/outcomes/priors.hpp"

namespace tovik::tests {

/// Catalogue, data and equations of a run, without files. The constant stands behind the data columns;
/// predictors that are complete and no outcome are fixed.
struct small_run {
  VariableList vars;
  arma::mat data;
  ModelList models;

  /// `ids` are names of columns, in any order; `parameters` are statements of PARAMETERS; `ordinal` are names
  /// of variables with categories. `latent`: names of latent variables, "f" of the rows or "id=f" of the
  /// clusters of an identifier. `nominal`: names of variables with dummy codes, "g" or, with the reference 2,
  /// "g=2".
  small_run(const std::vector<std::string>& names, const arma::mat& columns,
            const std::vector<std::string>& ids, const std::vector<std::string>& statements,
            const std::vector<std::string>& parameters = {}, const std::vector<std::string>& ordinal = {},
            const std::vector<std::string>& latent = {}, const std::vector<std::string>& nominal = {});

  std::shared_ptr<sem::Mcmc> chain(const Random& rng, const sem::priors& prior = {}, int xprior = 1) const;

  /// The text of the error that building a chain raises; "" for none. The prior is one that little data
  /// carry.
  std::string failure(const sem::priors& prior = {1, 1}) const;

 private:
  void make_ordinal(data::variable& v) const;
  void add_latent(const std::string& name);
  void make_nominal(const std::string& text);
  void make_catalogue(const std::vector<std::string>& names, const std::vector<std::string>& ids);
};

/// Numbers the columns of latent variables, of phantoms, of named random effects, of propensities and of
/// missing data indicators that the equations hold, as the preparation of the data does.
void prepare(small_run& run);

/// Scans before those that count, tuned in all but the last ones.
void burn_in(sem::Mcmc& chain, int scans);

/// The report columns of `n` scans after `burn` more: parameters x draws.
arma::mat draws(sem::Mcmc& chain, arma::uword burn, arma::uword n);

/// Standard error of the mean of a correlated series, from the means of 50 batches.
double mean_error(const arma::rowvec& series);

}  // namespace tovik::tests
