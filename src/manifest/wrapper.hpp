#pragma once

#include <armadillo>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "manifest/mi.hpp"
#include "sem/ensemble/likelihood_totals.hpp"

namespace tovik::manifest {

/// An imputation model with observed cluster means as the estimator of a chain. It has no outcome models, and
/// so no likelihoods, correlations or conditional effects, and no table of acceptance rates.
class wrapper {
 public:
  wrapper(const VariableList& variables, const ModelList& models, const arma::Mat<double>& data,
          const Random& rng, const options& how, std::shared_ptr<const sem::saved_columns> saved)
      : mi_(variables, models, data, rng, how, std::move(saved)) {}

  void oneRep() { mi_.impute(); }
  arma::Col<double> getParams() const { return mi_.getParams(); }
  arma::uword getTotalParams() const { return mi_.n_params(); }
  arma::uword getCovariateModelNumParams() const { return mi_.n_params(); }
  arma::Mat<double> getData(bool, bool, bool) const { return mi_.getData(); }
  std::vector<std::string> dataNames(const VariableList&, const ModelList&, bool, bool, bool) const {
    return mi_.dataNames();
  }

  // What only other estimators have. Thresholds adapt in MI::impute.
  void tune() {}
  void adapt() {}
  void tune_check() const {}
  bool hasTuningInfo() const { return false; }
  bool tune_warning() const { return false; }
  void printTuningInfo(std::FILE*, const VariableList&, const ModelList&, bool) const {}
  arma::Cube<double> getLikelihoods() const { return {}; }
  std::unique_ptr<sem::likelihood_totals> getLikelihoodTotals() const { return nullptr; }
  arma::uword getUnobservedCells() const { return 0; }
  arma::uword getNumberCorrelations() const { return 0; }
  arma::Col<double> getCorrelations() const { return {}; }
  void computeSimpleSlopes() {}
  arma::Col<double> getSimpleSlopes() const { return {}; }
  bool printOutcomes(std::FILE*, const VariableList&, const ModelList&, const Summary&,
                     const Summary&) const {
    return false;
  }
  void printCorrelations(std::FILE*, const ModelList&, const Summary&) const {}

  // Acceptance rates of the threshold steps, and those of imputations.
  arma::Col<double> acceptance() const { return mi_.getAcpts(); }
  arma::Col<double> acceptanceImps() const { return mi_.getAcptsImps(); }

  void printInfo(std::FILE* stream, const VariableList& variables, const ModelList&) const {
    mi_.printInfo(stream, variables);
  }
  void printCovariates(std::FILE* stream, const VariableList&, const Summary& iterations) const {
    mi_.printCovariates(stream, iterations);
  }
  void printParameterLabels(std::FILE* stream, const VariableList&, const ModelList&,
                            const Summary& burn) const {
    mi_.printParameterLabels(stream, burn);
  }
  void printParameterLabelsFile(std::FILE* stream, const VariableList&, const ModelList&) const {
    mi_.printParameterLabelsFile(stream);
  }

  unsigned n_levels() const { return mi_.n_levels(); }
  arma::uword n_units(unsigned level) const { return mi_.n_units(level); }
  const MI& mi() const { return mi_; }

 private:
  MI mi_;
};

}  // namespace tovik::manifest
