#pragma once

#include <armadillo>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "manifest/data.hpp"
#include "manifest/level.hpp"
#include "manifest/var.hpp"
#include "random/random.hpp"
#include "sem/chain/missing_summary.hpp"
#include "sem/chain/saved_columns.hpp"
#include "sem/wiring/working_data.hpp"

namespace tovik {

class ModelList;
class Summary;
struct parameter_name;

namespace manifest {

/// Fully conditional specification with observed cluster means: every incomplete variable has a regression on
/// all others, in which lower levels are tied to higher ones by the means of the completed data (van Buuren,
/// 2011, in Hox and Roberts, Handbook of Advanced Multilevel Analysis; Grund, Luedtke and Robitzsch, 2018,
/// Organizational Research Methods 21, 111-149). With clusters of unequal size the regressions belong to no
/// joint distribution; the chain then settles where they agree as well as they can.
class MI {
 public:
  /// `data`: rows are observations in file order, missing cells NaN. Fills the missing cells. Throws
  /// tovik::error for equations, for a type of variable that cannot be imputed, for a variable that does not
  /// vary, and for too few units.
  MI(const VariableList& variables, const ModelList& models, const arma::Mat<double>& data, const Random& rng,
     const options& how, std::shared_ptr<const sem::saved_columns> saved);
  MI(const MI&) = delete;
  MI& operator=(const MI&) = delete;

  /// One complete iteration: levels from the lowest up. Adapts the proposals of thresholds at every hundredth
  /// iteration of the first half of the burn-in.
  void impute();

  /// The rows of all models, in the order of the scan.
  arma::Col<double> getParams() const;
  /// The completed data as they are saved, rows in file order: the columns of the data file in their own
  /// metric, in which only missing cells are filled.
  arma::Mat<double> getData() const;
  const std::vector<std::string>& dataNames() const { return saved_->names; }
  /// Acceptance rates of the threshold steps, in the order of the models; those of imputations, which are
  /// drawn from their distributions and have none.
  arma::Col<double> getAcpts() const;
  arma::Col<double> getAcptsImps() const { return {}; }

  unsigned n_levels() const { return working_.n_levels(); }
  arma::uword n_units(unsigned level) const { return working_.n_units(level); }
  arma::uword n_params() const;
  arma::uword n_estimated() const;
  const std::vector<Level>& levels() const { return levels_; }
  std::vector<const Var*> variables() const;
  const Data& data() const { return *data_; }
  const sem::missing_summary& missing() const { return missing_; }

  // The report. Defined beside its tables.
  /// The title of a model's table.
  static void printVarInfo(std::FILE* stream, const Var& v);
  /// The table of one model; `first`: its first row in `values`.
  static void printOutcome(std::FILE* stream, const Var& v, const arma::Mat<double>& values,
                           const std::vector<std::string>& labels, arma::uword first);
  void printCovariates(std::FILE* stream, const Summary& iterations) const;
  void printInfo(std::FILE* stream, const VariableList& variables) const;
  void printParameterLabels(std::FILE* stream, const Summary& burn) const;
  void printParameterLabelsFile(std::FILE* stream) const;
  std::vector<parameter_name> parameterNames() const;
  /// Pushes the warning about variables that predict nothing at a level.
  void printWarn() const;

 private:
  void checkOutcome(const ModelList& models) const;

  std::shared_ptr<Random> rng_;
  sem::working_data working_;
  std::shared_ptr<const sem::saved_columns> saved_;
  sem::missing_summary missing_;
  options how_;
  std::unique_ptr<Data> data_;
  std::vector<Level> levels_;  ///< from the lowest up
  std::uint32_t scan_ = 0;
};

}  // namespace manifest
}  // namespace tovik
