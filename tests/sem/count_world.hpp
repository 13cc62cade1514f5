#pragma once

#include <armadillo>

#include "random/random.hpp"
#include "sem/outcomes/nbinomial.hpp"
#include "sem/scan_world.hpp"

namespace tovik::tests {

/// What the ensemble adds to a setup for a count outcome.
sem::equation_setup counted(sem::equation_setup setup, double prior_variance = 5.0);

/// The dispersion parameter from its prior.
double draw_prior_dispersion(Random& rng);

/// A count for each unit of the model, from its equation at the data, into every row of the unit.
void draw_counts(World& world, const sem::NBinomial& model, Random& rng);

/// Counts of mean exp(eta_i) and dispersion r.
arma::Col<double> simulate_counts(const arma::Col<double>& eta, double r, Random& rng);

/// The first terms of the series of the weights, while this object lives: quick, and as good for a test.
class ShortSeries {
 public:
  explicit ShortSeries(arma::uword n) : kept_(Random::pg_vec) { Random::set_pg_n_gamma(n); }
  ShortSeries(const ShortSeries&) = delete;
  ShortSeries& operator=(const ShortSeries&) = delete;
  ~ShortSeries() { Random::pg_vec = kept_; }

 private:
  arma::Col<double> kept_;
};

}  // namespace tovik::tests
