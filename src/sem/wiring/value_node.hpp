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
  arma::Col<double> postDraw(const arma::Mat<double>&) const override { return {}; }
  arma::Col<double> logLiklihood(const arma::Mat<double>& data, const int& level) const override;
  arma::Col<double> marginal_logLiklihood(const arma::Mat<double>& data) const override;
  double logLiklihood(const arma::Mat<double>& data) const override;
  void addIndicator(const arma::Col<arma::uword>&, const indicator_type&) override {}
  void addLL(std::unique_ptr<estimator::likelihood> list, const likelihood_type& kind) override;
  void addDist(const std::shared_ptr<autosolver::solver<autosolver::normal>>& solver,
               const distribution_type& kind) override;
  void addStarts(const arma::Col<double>& v) override;
  void tune() override {}
  estimator::tune_results tuneResults() const override { return {}; }
  arma::Mat<double> betaCovB(const arma::Mat<double>& data, const unsigned& index) const override;
  const arma::Mat<double>& betas() const override { return none_; }
  std::shared_ptr<estimator::constraint> constraint(const parameter_type& kind, const unsigned& index,
                                                    const unsigned& level) override;
  estimator::likelihood_function likelihoodFunc(const likelihood_type& kind) const override;
  void addTransform(const evaluate::pair&) override {}
  void setCentering(std::unique_ptr<estimator::covariate_link> link) override;
  arma::uword n_params() const override { return 1; }
  double getMissingPercent() const override { return 0.0; }
  std::vector<double> getMissingPercents() const override { return {}; }
  /// No columns.
  arma::Mat<double> latent(const arma::Mat<double>& data) const override;
  arma::Mat<double> residual(const arma::Mat<double>& data) const override;
  arma::Mat<double> predicted(const arma::Mat<double>& data) const override;
  arma::Mat<double> compute_residual(const arma::Mat<double>& data) const override;
  arma::Mat<double> compute_predicted(const arma::Mat<double>& data) const override;
  arma::uword n_estimated() const override { return 0; }
  void addMulti(const std::shared_ptr<Multi>& block) override;

 private:
  [[noreturn]] void unsupported(const char* what) const;

  std::string name_;
  arma::Mat<double> none_;
};

}  // namespace tovik::sem
