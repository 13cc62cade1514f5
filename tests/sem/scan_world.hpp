#pragma once

#include <armadillo>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "random/random.hpp"
#include "sem/outcomes/normal.hpp"
#include "sem/wiring/estimator.hpp"
#include "sem/wiring/likelihood.hpp"
#include "support/error.hpp"

namespace tovik::tests {

/// An estimator that owns nothing but a generator.
class LoneEstimator : public sem::Estimator {
 public:
  explicit LoneEstimator(std::uint32_t seed) : random(seed, 1U) {}
  Random random;

  Random* rng() const override { return const_cast<Random*>(&random); }
  void draw(arma::Mat<double>&) override { fail(); }
  void tune() override { fail(); }
  void adapt() override { fail(); }
  void tune_check() override { fail(); }
  arma::Col<double> params() const override { fail(); }
  arma::Col<double> params(const arma::Mat<double>&) const override { fail(); }
  arma::Col<double> params(const unsigned&) const override { fail(); }
  arma::Col<double> computations() const override { fail(); }
  arma::uword n_params() const override { fail(); }
  arma::uword n_estimated() const override { fail(); }
  arma::uword n_params(const arma::Mat<double>&) const override { fail(); }
  arma::uword n_params(const unsigned&) const override { fail(); }
  arma::uword n_computations() const override { fail(); }
  arma::uword n_correlations() const override { fail(); }
  arma::uword n_defines() const override { fail(); }
  void categorize_nominal(arma::Mat<double>&, const arma::Mat<double>&) const override { fail(); }
  arma::Col<double> logLiklihood(const arma::Mat<double>&, int) const override { fail(); }
  double logLiklihood(const arma::Mat<double>&) const override { fail(); }
  arma::Col<double> computeLL(const arma::Mat<double>&, int) const override { fail(); }
  double computeLL(const arma::Mat<double>&) const override { fail(); }
  std::vector<sem::estimator::tune_results> acceptance() const override { fail(); }
  const arma::Mat<double>& betas(const unsigned&) const override { fail(); }
  std::vector<double> getMissingPercents() const override { fail(); }
  arma::Col<arma::uword> indicators() const override { fail(); }
  arma::Mat<double> latent(const arma::Mat<double>&) const override { fail(); }
  arma::Mat<double> residual(const arma::Mat<double>&) const override { fail(); }
  arma::Mat<double> predicted(const arma::Mat<double>&) const override { fail(); }
  arma::Mat<double> defines(const arma::Mat<double>&) const override { fail(); }
  arma::Col<double> correlations(const arma::Mat<double>&) const override { fail(); }
  arma::Cube<double> likelihood(const arma::Mat<double>&) const override { fail(); }

 private:
  [[noreturn]] static void fail() { throw error_debug("A lone model asked its estimator."); }
};

/// Sizes of level-2 clusters, listed for each level-3 cluster.
using nesting = std::vector<std::vector<unsigned>>;

/// 100 clusters of 1 to 9 rows in 20 clusters.
nesting many_clusters();

/// Data in one to three levels, rows sorted by cluster. Column 0 is the constant, 1 the outcome (0 at first),
/// 2 to 5 vary over rows (means 0.5, 1, 1.5, 2), 6 and 7 over level-2 clusters, 8 over level-3 clusters.
struct World {
  arma::Mat<double> data;
  std::vector<arma::Col<arma::uword>> units, first_rows;

  World(unsigned levels, const nesting& sizes, std::uint32_t seed);

  sem::estimator::cluster clusters(unsigned level) const;

  /// A regression at `level`: intercept and the given plain columns, no random effects yet.
  sem::equation_setup setup(unsigned level, arma::Col<arma::uword> x) const;

  /// The units of each level, as the wiring of equations takes them.
  std::vector<const arma::Col<arma::uword>*> level_units() const;

  /// One value for each unit of the level, into every row of the unit.
  void write(unsigned level, arma::uword column, const arma::Col<double>& values);

 private:
  void add_level(arma::Col<arma::uword> ids);
  void fill(std::uint32_t seed);
};

/// y of the data: fixed part, intercepts and slopes (of columns 2, 3 and 5) of every cluster, and noise,
/// written into column 1.
void simulate_outcome(World& world, unsigned level, double mean, std::uint32_t seed);

/// Every coefficient is known: these, or from -0.5 to 0.5.
void hold_coefficients(sem::equation_setup& setup, const arma::Col<double>& values);
void hold_coefficients(sem::equation_setup& setup);

/// These columns of the data can change between scans, no others.
void let_move(sem::equation_setup& setup, const World& world, const std::vector<arma::uword>& columns);

/// y += Xb, for the values of units; y += Zu. Term by term, by the definition.
void add_fixed_part(const World& world, const sem::equation_setup& setup, const arma::Mat<double>& b,
                    arma::Col<double>& y);
void add_random_part(const World& world, const sem::equation_setup& setup,
                     const std::vector<arma::Mat<double>>& u, arma::Col<double>& y);

/// The outcome of a normal equation given everything that it reads.
void draw_normal(World& world, const sem::Regression& model, Random& rng);

/// The contributions of all models to the likelihood of what they read.
template <typename Models>
std::unique_ptr<sem::estimator::likelihood> contributions(const Models& models) {
  auto list = std::make_unique<sem::estimator::likelihood>();
  for (const auto& model : models) list->add_once(model->likelihoodFunc(sem::likelihood_type::imputed));
  return list;
}

/// A computed column from text with "#DATA(k)".
sem::estimator::compute computed(const std::string& text);

}  // namespace tovik::tests
