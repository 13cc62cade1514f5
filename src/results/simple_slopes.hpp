#pragma once

#include <armadillo>
#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "data/variable.hpp"
#include "sem/wiring/compute.hpp"

namespace tovik::sem {

/// Where the standard deviation of a moderator is read from. Levels count as in the catalogue.
struct deviation_source {
  unsigned column = 0;                           ///< of the prepared data
  unsigned level = 0;                            ///< whose units are counted
  data::center centering = data::center::grand;  ///< the means from which deviations are taken
  bool latent = false;  ///< the cluster means are those of the variable's model, which writes deviations
};

/// One moderator of a conditional effect, at one value.
struct moderator {
  std::string name;
  std::string text;    ///< the value as written
  double value = 0;    ///< of a nominal moderator its category
  bool in_sd = false;  ///< the value counts standard deviations
  /// The columns of the prepared data that stand for the moderator, and what they hold: the value, or for the
  /// dummy codes of a nominal moderator 1 and 0.
  std::vector<std::pair<unsigned, double>> columns;
  deviation_source source;  ///< of a value in standard deviations
};

/// The conditional effect of a focal predictor at chosen values of its moderators in one equation: the simple
/// intercept and slope of Aiken & West (1991, Multiple Regression, ch. 2), linear in the coefficients b:
///
///   intercept = wI'b,   slope = wS'b,
///   wI_j = f_j(0),      wS_j = (f_j(1) - f_j(-1)) / 2,
///
/// where f_j(x) is the j-th column of the design with the focal predictor at x, the moderators at their
/// values and all other predictors at 0. A product with the focal predictor gives the value of the other
/// factors, its square nothing. Values in standard deviations, and terms that read parameters, move the
/// weights with the draws.
///
/// Built from the command file without a chain; each chain copies it and binds its copy.
class SimpleSlopes {
 public:
  /// `model` is the place of the equation in the list; `columns` are those of the focal predictor, `constant`
  /// is the column of ones. Throws error_debug "Nominal Simple Slopes not allowed." unless the focal
  /// predictor has one column at each level.
  SimpleSlopes(std::uint32_t model, std::string focal, std::vector<unsigned> columns, unsigned constant,
               std::vector<moderator> moderators);

  std::uint32_t model() const { return model_; }
  const std::string& focal() const { return focal_; }
  const std::vector<moderator>& moderators() const { return moderators_; }
  /// Some moderator stands at a value in standard deviations.
  bool isSD() const;

  /// Ties the effect to one chain: `betas` is the column of coefficients, `x` and `x_compute` are the plain
  /// and the computed columns of its design, `n_columns` is the width of the data; `deviations` has for each
  /// moderator the address of its current standard deviation, null for a plain value. All must outlive the
  /// object. Throws tovik::error when a weight is not finite or when a computed column holds a statistic of
  /// the focal predictor or of a moderator.
  void bind(const arma::Mat<double>& betas, const arma::Col<arma::uword>& x,
            const std::vector<estimator::compute>& x_compute, arma::uword n_columns,
            std::vector<const double*> deviations);
  /// Takes intercept and slope from the current coefficients.
  void compute();

  double intercept = arma::datum::nan;
  double slope = arma::datum::nan;
  const arma::Col<double>& interceptWeights() const { return intercept_weights_; }
  const arma::Col<double>& slopeWeights() const { return slope_weights_; }

  /// "x |", then " m @ 1.00 SD" for each moderator.
  std::vector<std::string> label() const;
  /// The label, then the rows of the intercept and the slope: `table` has one row for each of them.
  void print(std::FILE* stream, const arma::Mat<double>& table,
             const std::vector<std::string>& columns) const;

 private:
  void updateSlopeConvert();
  void set_moderators();
  void design_at(double focal, arma::Col<double>& out);
  bool involves(unsigned column) const;
  void check_columns(arma::uword n_columns) const;
  void check_computed() const;
  void check_weights() const;

  std::uint32_t model_;
  std::string focal_;
  std::vector<unsigned> focal_columns_;
  unsigned constant_;
  std::vector<moderator> moderators_;

  // Of the chain.
  const arma::Mat<double>* betas_ = nullptr;
  const arma::Col<arma::uword>* x_ = nullptr;
  const std::vector<estimator::compute>* x_compute_ = nullptr;
  std::vector<const double*> deviations_;
  bool moving_ = false;    ///< the weights change from draw to draw
  arma::Mat<double> row_;  ///< one row of data: the point at which the design is taken
  arma::Col<double> intercept_weights_;
  arma::Col<double> slope_weights_;
  arma::Col<double> below_;  ///< the design at -1
};

/// The conditional effects of one equation.
struct ModelSlopes {
  std::uint32_t model;
  std::vector<SimpleSlopes> effects;
};

/// All conditional effects of a run, by equation.
class SimpleList : public std::vector<ModelSlopes> {
 public:
  /// Drops equations without effects and joins lists of the same equation, at the place of the first.
  void reduce();
  /// The number of values: two for each effect.
  arma::uword n_estimates() const;
  /// The current values: by equation and effect the intercept, then the slope.
  arma::Col<double> estimates() const;
  /// The effects of an equation, null for none.
  const ModelSlopes* find(std::uint32_t model) const;
};

/// Prints the block "Conditional Effects" of an equation from the first rows of `table` and returns the
/// number of rows that it took. A null stream only counts. Throws tovik::error for an equation without
/// effects.
unsigned print_simple_slopes(std::FILE* stream, const SimpleList& list, std::uint32_t model,
                             const arma::Mat<double>& table, const std::vector<std::string>& columns);

}  // namespace tovik::sem
