#pragma once

#include <armadillo>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "evaluate/node.hpp"
#include "model/parameter_info.hpp"
#include "sem/ensemble/collapsed_factor.hpp"
#include "sem/ensemble/factor_moves.hpp"
#include "sem/ensemble/labels.hpp"
#include "sem/ensemble/residual_correlations.hpp"
#include "sem/outcomes/priors.hpp"
#include "sem/wiring/covariate_link.hpp"
#include "sem/wiring/estimator.hpp"
#include "sem/wiring/outcome.hpp"

namespace tovik {
class ModelList;
class Random;
}  // namespace tovik

namespace tovik::model {
class row_table;
}

namespace tovik::sem {

class joint_likelihood;
class Variable;
class working_data;

/// All outcome models of one chain: built from the equations, wired, and drawn together.
///
/// `data` is the working matrix of the chain everywhere. Models and shared parameters hold addresses into
/// each other, so the object stays where it is.
class Outcomes : public virtual Estimator {
 public:
  /// Builds a model for every equation and every PARAMETERS statement, draws the missing cells of the
  /// outcomes from the moments of the observed ones, gives each model its starting state, and ties shared
  /// parameters together. Throws tovik::error for an equation that cannot be sampled, tovik::error_debug when
  /// a model's rows and the names of its rows disagree in number. `working`, whose matrix `data` is, and the
  /// models of the predictors must outlive the object.
  Outcomes(const working_data& working, const std::vector<std::unique_ptr<Variable>>& predictors,
           const ModelList& models, arma::Mat<double>& data, const std::shared_ptr<Random>& rng,
           const priors& prior);
  ~Outcomes() override;
  Outcomes(const Outcomes&) = delete;
  Outcomes& operator=(const Outcomes&) = delete;

  /// Coefficients that several equations share; latent variables (with optimize_draws), the other models in
  /// list order, then shared parameters; then what follows from all of these: variance shares and computed
  /// parameters.
  void draw(arma::Mat<double>& data) override;
  /// Adapts the proposals of all models, then those of the shared parameters; one of these that is far from
  /// the scale of its density at the current state is given that scale.
  void tune() override;
  void adapt() override;
  void tune_check() override;

  arma::Col<double> params() const override;
  arma::Col<double> params(const arma::Mat<double>& data) const override;
  arma::Col<double> params(const unsigned& model) const override;
  arma::Col<double> computations() const override;

  /// Takes a state from the parameters of all models, one column behind the other in list order; latent
  /// values, random effects and missing values follow at the next draws. Before the first draw. Throws
  /// error_debug for another number of values.
  void restore(const arma::Col<double>& values, arma::Mat<double>& data);

  arma::uword n_outcomes() const { return models.size(); }
  const estimator::Outcome& outcome(unsigned model) const { return *models.at(model); }
  estimator::Outcome& outcome(unsigned model) { return *models.at(model); }
  arma::uword n_params() const override;
  /// Parameters that are drawn, shared ones counted once.
  arma::uword n_estimated() const override;
  arma::uword n_params(const arma::Mat<double>& data) const override;
  arma::uword n_params(const unsigned& model) const override;
  arma::uword n_computations() const override;
  arma::uword n_correlations() const override;
  arma::uword n_defines() const override;

  void categorize_nominal(arma::Mat<double>& raw, const arma::Mat<double>& data) const override;

  /// One value per unit of `level`, which counts from 0 for rows: the sum over the models at or below it that
  /// have a likelihood.
  arma::Col<double> logLiklihood(const arma::Mat<double>& data, int level) const override;
  double logLiklihood(const arma::Mat<double>& data) const override;
  arma::Col<double> computeLL(const arma::Mat<double>& data, int level) const override;
  double computeLL(const arma::Mat<double>& data) const override;

  Random* rng() const override { return rng_.get(); }
  std::vector<estimator::tune_results> acceptance() const override;
  const arma::Mat<double>& betas(const unsigned& model) const override;
  std::vector<double> getMissingPercents() const override;
  arma::Col<arma::uword> indicators() const override;

  arma::Mat<double> latent(const arma::Mat<double>& data) const override;
  arma::Mat<double> residual(const arma::Mat<double>& data) const override;
  arma::Mat<double> predicted(const arma::Mat<double>& data) const override;
  arma::Mat<double> defines(const arma::Mat<double>& data) const override;
  arma::Col<double> correlations(const arma::Mat<double>& data) const override;

  /// Of the observed cells alone, as densities of the data under a transformation with a parameter; see
  /// observed_logLiklihood and addLogJacobian. Equations that phantoms or a block tie together
  /// have one joint density, which stands in the slice of the first, or of the block; the others' and those
  /// of the phantoms are 0. A marginal likelihood that cannot be computed is NaN for all units of its model.
  arma::Cube<double> likelihood(const arma::Mat<double>& data) const override;
  /// How many cells of the outcomes were not observed.
  arma::uword n_unobserved() const;

  // The same model by model, for sums over several draws (likelihood_totals).

  arma::uword n_top_units() const;
  /// The models that have a likelihood of their own, which none before them holds.
  std::vector<std::size_t> likelihood_models() const;
  /// The marginal likelihood of the model differs from the conditional one.
  bool integrates_out(std::size_t model) const;
  /// See Outcome::blockLiklihood: for a model whose units are those of the highest level.
  std::unique_ptr<estimator::block_likelihood> blockLiklihood(std::size_t model,
                                                              const arma::Mat<double>& data) const;
  /// Adds what the model says of each unit of the highest level; a null `marginal` is not wanted.
  void add_likelihood(std::size_t model, const arma::Mat<double>& data, arma::Col<double>* marginal,
                      arma::Col<double>& conditional) const;

  /// Gives model `first` of each pair the link that refreshes what follows from its values.
  void linkVariables(std::vector<std::pair<unsigned, std::unique_ptr<estimator::covariate_link>>> links);

  /// The columns of the working matrix that hold imputed values.
  std::vector<arma::uword> imputed_columns() const;

 private:
  /// One shared parameter by its label.
  struct constraint_record {
    std::string name;
    unsigned appearances = 0;
    bool derived = false;  ///< a computed parameter: it follows others and is not drawn
  };

  void build_models(const ModelList& list, const std::vector<std::unique_ptr<Variable>>& predictors,
                    const arma::Mat<double>& data, const priors& prior);
  void set_starts(const ModelList& list, arma::Mat<double>& data, const priors& prior);
  void tie_labels(const ModelList& list, const arma::Mat<double>& data, const priors& prior);
  void bind_definitions(const ModelList& list);
  void check_rows(const ModelList& list, const model::row_table& rows, const arma::Mat<double>& data) const;
  void check_propriety(const ModelList& list, const model::row_table& rows,
                       const arma::Mat<double>& data) const;
  void tie_likelihoods();
  void add_log_jacobians(std::size_t model, const arma::Mat<double>& data, arma::Col<double>& out) const;
  arma::Col<double> conditional_of(std::size_t model, const arma::Mat<double>& data) const;
  arma::Col<double> marginal_of(std::size_t model, const arma::Mat<double>& data) const;

  // First, so that it is destroyed last: trees in the models read the cells of the map.
  std::unordered_map<std::string, model::parameter_info> cells_;
  const working_data& working_;
  std::shared_ptr<Random> rng_;
  std::vector<std::shared_ptr<estimator::Outcome>> models;
  std::vector<std::string> names_;               ///< of the models, for messages
  std::vector<estimator::tune_obj*> proposals_;  ///< of models and shared parameters; filled on first use
  residual_correlations residual_correlations_;
  std::vector<std::size_t> tied_;  ///< for each model the one in whose slice its density stands
  std::vector<std::unique_ptr<joint_likelihood>> joint_;  ///< at these where there are several, else null
  std::vector<std::shared_ptr<estimator::constraint>> constraints;
  std::vector<std::unique_ptr<joint_coefficients>> blocks_;  ///< drawn before the models
  bool has_phantoms_ = false;
  std::vector<collapsed_factor> collapsed_factors_;                   ///< behind the moves
  std::vector<factor_moves> factor_moves_;                            ///< before these
  std::unordered_map<std::string, constraint_record> constraint_map;  ///< by the constraint's name
  std::vector<Computation*> computations_;                            ///< among the models, in list order
  std::vector<std::unique_ptr<evaluate::node>> definitions_;          ///< of MODEL, bound, in statement order
};

}  // namespace tovik::sem
