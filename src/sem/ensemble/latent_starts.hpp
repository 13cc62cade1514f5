#pragma once

#include <armadillo>
#include <cstddef>
#include <map>
#include <vector>

#include "sem/ensemble/starts.hpp"
#include "sem/wiring/working_data.hpp"

namespace tovik {
class ModelList;
}

namespace tovik::sem {

/// Where latent variables start. Each takes its place and its unit from one equation that reads it, its
/// reference: one that ties its scale if there is one, of an outcome of the data before one of another latent
/// variable. With x the reference's outcome (means over the units of the latent variable), m and s its mean
/// and deviation, l the loading:
///
///   scores      c + (x - m) / (2 l) + (s / (2 l)) z,   z standard normal; 0 in place of an unknown x - m
///   variance    that of the scores, (s / l)^2 / 2, unless it is given
///   loadings    sd(x) / sd(f), positive: all chains start in one of the modes that mirror each other
///
/// l is the fixed or starting loading, or s / sd(f) for a free one. c is the mean that the equation of the
/// latent variable fixes, or, when the reference has no intercept of its own, m / l. A latent variable that
/// is the slope of an observed variable starts at that of a simple regression.
class latent_starts {
 public:
  /// `data`: the working matrix with missing cells NaN. Throws what observed_moments throws.
  latent_starts(const ModelList& list, const working_data& working, const arma::Mat<double>& data);

  /// The equation of a latent variable.
  bool is_latent(std::size_t model) const;
  /// What stands for the observed moments of its outcome.
  const outcome_moments& moments(std::size_t model) const { return starts_.at(column_of(model)).moments; }
  /// Writes the scores of all latent variables. One normal number for each unit.
  void write(arma::Mat<double>& data, Random& rng) const;
  /// One start for each coefficient of an equation whose outcome has this deviation; empty when it reads no
  /// latent variable.
  arma::Col<double> slopes(std::size_t model, double sd) const;

 private:
  struct start {
    outcome_moments moments;
    unsigned level = 0;
    arma::Col<double> center;  ///< per unit
    double noise = 0.0;        ///< deviation around it
  };
  struct reference {
    std::size_t model = 0;
    int rank = 0;              ///< the lowest is taken
    std::size_t position = 0;  ///< of the loading, among the coefficients or the computed terms
  };
  /// The values of a reference's outcome.
  struct indicator {
    arma::Col<double> rows;  ///< at every row
    outcome_moments moments;
  };

  unsigned column_of(std::size_t model) const;
  std::vector<reference> references(std::size_t model) const;
  bool settled(std::size_t model) const;
  bool settle(std::size_t model, const reference& by);
  indicator values(std::size_t model) const;
  start of_loading(std::size_t model, const reference& by) const;
  start of_slope(std::size_t model, const reference& by) const;
  double mean_alone(std::size_t model) const;
  start alone(std::size_t model) const;
  arma::Col<double> unit_means(unsigned level, const arma::Col<double>& rows) const;

  const ModelList& list_;
  const working_data& working_;
  const arma::Mat<double>& data_;
  std::map<unsigned, start> starts_;  ///< by the column of the latent variable
};

}  // namespace tovik::sem
