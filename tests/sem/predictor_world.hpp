#pragma once

#include <armadillo>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "data/variable.hpp"
#include "sem/predictors/one_var.hpp"
#include "sem/scan_world.hpp"
#include "sem/wiring/working_data.hpp"

namespace tovik::tests {

using uwords = arma::Col<arma::uword>;

/// A predictor model whose state a test can see and set.
struct Opened {
  std::unique_ptr<sem::modeled_variable> model;
  sem::predictor_state* state = nullptr;
  sem::published_columns* published = nullptr;
};

/// A predictor x with known parameters, and an outcome y that reads what x publishes. Columns: 0 y; 1 x; 2, 3
/// dummy codes; 4 .. 7 latent means; 8 another predictor, whose deviations at each level are fixed; 9, 10
/// identifiers.
struct PredictorWorld {
  enum class kind { continuous, binary, ordinal, binary_nominal, nominal };

  kind of = kind::continuous;
  nesting sizes = {{4, 2, 5}, {3}, {2, 4}};
  unsigned levels = 2, own = 0;
  std::vector<bool> deviates = {true, true};
  std::vector<arma::uword> missing = {0, 2, 7, 8, 9, 10, 14};
  data::center centre = data::center::none, centre_means = data::center::none;
  bool means = false;
  double b_x = 0.0, b_product = 0.0;              ///< of x, and of x times column 8, in y
  std::vector<double> b_means = {0.0, 0.0, 0.0};  ///< by distance above the own level
  double y_variance = 0.8, prior_precision = 0.5;
  /// Draws variances, and of a categorical variable the coefficients of the own level, from their priors; no
  /// other level has predictors.
  bool free_parameters = false;
  /// Draws the variances alone; coefficients are known at every level.
  bool free_variances = false;
  /// Of y in a row, in place of the linear function of the columns of x; and who is accepted together.
  std::function<double(const arma::Mat<double>&, arma::uword)> other_fit;
  sem::estimator::acceptance together_values, together_means;

  explicit PredictorWorld(std::uint32_t seed) : rng(std::make_shared<Random>(seed, 3U)) {}

  std::shared_ptr<Random> rng;
  std::unique_ptr<sem::working_data> working;
  data::variable v;
  Opened x;
  std::vector<sem::level_scores> scores;
  std::vector<arma::Mat<double>> Sigma, gamma;
  arma::Col<double> tau;
  arma::uword dim = 1;

  arma::Mat<double>& data() { return working->data; }
  bool is_nominal() const { return of == kind::nominal || of == kind::binary_nominal; }
  bool is_ordinal() const { return of == kind::ordinal || of == kind::binary; }

  /// Data without x, parameters, the catalogue entry.
  void build();

  unsigned places() const { return static_cast<unsigned>(Sigma.size()); }
  sem::level_scores& scores_at(unsigned q) { return scores[x.state->chain.level(q)]; }
  unsigned distance(unsigned q) const { return x.state->chain.level(q) - own; }

  /// Parents of the joint distribution: mu, latent means, values, then y. Builds the model anew.
  void draw_joint();

  /// Draws y given the columns that x publishes.
  void draw_outcome();

  /// A model whose state has these scores, links and likelihoods.
  void construct(const std::vector<arma::Mat<double>>& S);

  /// Covariance of the scores around the mean at each place above the own level.
  std::vector<arma::Mat<double>> omega() const;

  double fitted(const arma::Mat<double>& at, arma::uword i) const;
  arma::uword mean_column(unsigned d, arma::uword k) const { return 4 + (d - 1) * dim + k; }

  /// The log likelihood of y, by units of a level.
  arma::Col<double> log_likelihood(const arma::Mat<double>& at, int level) const;

  std::unique_ptr<sem::estimator::likelihood> readers() const;

  /// The means at place q, which no equation reads; with free variances also their covariance matrix.
  void draw_means(unsigned q);

  /// One scan with known parameters. `latent`: also the scores of observed categories.
  void scan(bool latent);

  /// Functions of the state and the data that every step should leave alike in distribution.
  std::vector<double> functions();
  arma::uword value_column() const { return is_nominal() ? 2 : 1; }

  uwords categories(const arma::Mat<double>& S) const;

 private:
  void name_variable();
  void make_scores();
  void make_parameters();
  void draw_parameters();
  void draw_variances();
  void open();

  // Who reads what a step moves.
  void wire();
  void give(sem::predictor_step step, unsigned d, const sem::estimator::acceptance& together);
};

}  // namespace tovik::tests
