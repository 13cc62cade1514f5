#pragma once

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "data/variable.hpp"
#include "sem/predictors/variable.hpp"

namespace tovik::tests {

/// A predictor model that knows its rows and its values, and cannot be drawn.
class FakePredictor : public sem::Variable {
 public:
  FakePredictor(const std::string& name, data::type kind, std::vector<sem::predictor_row> rows)
      : variable_(name, kind, 0, 0), rows_(std::move(rows)), values_(rows_.size(), arma::fill::ones) {}

  FakePredictor& incomplete() {
    missing = true;
    return *this;
  }
  FakePredictor& only_means() {
    means_only_ = true;
    return *this;
  }
  /// The current value of a row.
  FakePredictor& value(arma::uword row, double at) {
    values_[row] = at;
    return *this;
  }
  FakePredictor& n_params(arma::uword n) {
    values_.set_size(n);
    return *this;
  }

  using scores = sem::level_scores;
  using matrix = arma::Mat<double>;
  using columns_t = arma::Col<arma::uword>;
  using step = sem::predictor_step;
  void read(const matrix&) override { unused(); }
  void drawComponent(unsigned, const scores&, const scores&) override { unused(); }
  void drawComponent(matrix&, unsigned, const scores&, const scores&) override { unused(); }
  void drawGrandMean(const scores&) override { unused(); }
  void drawGrandMean(matrix&, const scores&) override { unused(); }
  void drawParam(unsigned, scores&) override { unused(); }
  void drawImputation(const scores&) override { unused(); }
  void drawImputation(matrix&, const scores&) override { unused(); }
  void publish(matrix&) const override { unused(); }
  void setLikelihood(step, unsigned, std::unique_ptr<sem::estimator::likelihood>) override { unused(); }
  bool needsLikelihood(step, unsigned) const override { return false; }
  columns_t value_columns() const override { return {}; }
  columns_t mean_columns(unsigned) const override { return {}; }
  columns_t columns() const override { return {0}; }
  const data::variable& variable() const override { return variable_; }
  const sem::unit_chain& chain() const override { unused(); }
  bool means_only() const override { return means_only_; }
  unsigned grandMeanLevel() const override { return 0; }
  const double& sd() const override { unused(); }
  const double& sdLatentMeans() const override { unused(); }
  matrix deviation(unsigned) const override { unused(); }
  matrix data() const override { unused(); }
  matrix uncenteredData() const override { unused(); }
  arma::Col<double> params() const override { return values_; }
  arma::uword numParams() const override { return values_.n_elem; }
  arma::uword n_estimated() const override { return values_.n_elem; }
  std::vector<sem::predictor_row> layout(const std::vector<std::string>&) const override { return rows_; }
  void tune(bool) override { unused(); }
  sem::estimator::tune_results tuneResults() const override { return {}; }
  void addProposals(std::vector<sem::estimator::tune_obj*>&) override { unused(); }
  std::vector<matrix> latentMeans() const override { return {}; }
  matrix latentScores() const override { return {}; }
  matrix getLatent() const override { return {}; }
  double getMissingPercent() const override { return missing ? 10.0 : 0.0; }
  void print_debug(std::ostream&) const override { unused(); }

 private:
  [[noreturn]] static void unused() { throw std::logic_error("A report draws nothing."); }

  data::variable variable_;
  std::vector<sem::predictor_row> rows_;
  arma::Col<double> values_;
  bool means_only_ = false;
};

}  // namespace tovik::tests
