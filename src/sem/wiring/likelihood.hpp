#pragma once

#include <armadillo>
#include <functional>
#include <vector>

namespace tovik::sem::estimator {

/// Log likelihood of each unit of a level (second argument) at the data (first): units x 1.
using likelihood_function = std::function<arma::Col<double>(arma::Mat<double> const&, int const&)>;

/// The contributions of all models in which a variable stands.
class likelihood : public std::vector<likelihood_function> {
 public:
  using std::vector<likelihood_function>::vector;

  /// The sum over the models, one value per unit of `level`; an empty column if there is no contribution.
  arma::Col<double> logLiklihood(arma::Mat<double> const& data, int const& level) const;
};

}  // namespace tovik::sem::estimator
