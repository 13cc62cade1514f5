#pragma once

#include <armadillo>
#include <memory>
#include <string>
#include <vector>

#include "sem/wiring/outcome.hpp"

namespace tovik::sem {

/// What a free and a computed parameter share: one value, listed among the outcomes, that belongs to no
/// equation. It has no rows, no residuals, no proposals of its own and no likelihood of data; what only an
/// equation can do raises error_debug. `name` stands in those messages.
class value_node : public virtual estimator::Outcome {
 public:
  explicit value_node(std::string name) : name_(std::move(name)) {}

  void draw(arma::Mat<double>&) override {}
  arma::Col<double> postDraw(arma::Mat<double> const&) const override { return {}; }
  arma::Col<double> logLiklihood(arma::Mat<double> const& data, int const& level) const override;
  arma::Col<double> marginal_logLiklihood(arma::Mat<double> const& data) const override;
  double logLiklihood(arma::Mat<double> const& data) const override;
  void addIndicator(arma::Col<arma::uword> const&, indicator_type const&) override {}
  void addLL(std::unique_ptr<estimator::likelihood> list, likelihood_type const& kind) override;
  void addDist(std::shared_ptr<autosolver::solver<autosolver::normal>> const& solver,
               distribution_type const& kind) override;
  void addStarts(arma::Col<double> const& v) override;
  void tune() override {}
  estimator::tune_results tuneResults() const override { return {}; }
  arma::Mat<double> betaCovB(arma::Mat<double> const& data, unsigned const& index) const override;
  arma::Mat<double> const& betas() const override { return none_; }
  std::shared_ptr<estimator::constraint> constraint(parameter_type const& kind, unsigned const& index,
                                                    unsigned const& level) override;
  estimator::likelihood_function likelihoodFunc(likelihood_type const& kind) const override;
  void addTransform(evaluate::pair const&) override {}
  void setCentering(std::unique_ptr<estimator::covariate_link> link) override;
  arma::uword n_params() const override { return 1; }
  double getMissingPercent() const override { return 0.0; }
  std::vector<double> getMissingPercents() const override { return {}; }
  /// No columns.
  arma::Mat<double> latent(arma::Mat<double> const& data) const override;
  arma::Mat<double> residual(arma::Mat<double> const& data) const override;
  arma::Mat<double> predicted(arma::Mat<double> const& data) const override;
  arma::Mat<double> compute_residual(arma::Mat<double> const& data) const override;
  arma::Mat<double> compute_predicted(arma::Mat<double> const& data) const override;
  arma::uword n_estimated() const override { return 0; }
  void addMulti(std::shared_ptr<Multi> const& block) override;

 private:
  [[noreturn]] void unsupported(char const* what) const;

  std::string name_;
  arma::Mat<double> none_;
};

}  // namespace tovik::sem
