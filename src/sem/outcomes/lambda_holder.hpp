#pragma once

#include <armadillo>
#include <memory>
#include <vector>

#include "sem/outcomes/parameter.hpp"

namespace tovik::sem {

/// An equation with the parameter of a Yeo-Johnson transformation, as the wiring of labels sees it.
class lambda_holder {
 public:
  virtual ~lambda_holder() = default;

  virtual double* lambda_address() = 0;
  /// The parameter keeps being drawn here, under this prior, whose value and `links` follow it.
  virtual void take_lambda_prior(const std::shared_ptr<Parameter>& prior,
                                 const std::vector<double*>& links) = 0;
  /// Before the first draw: the parameter goes to `lambda`, and what is in units of the transformed values
  /// goes along.
  virtual void start_lambda(double lambda, const arma::Mat<double>& data) = 0;
  /// The same with a parameter that is drawn here: strictly into the range of its prior.
  virtual void settle_lambda(const arma::Mat<double>& data) = 0;
};

}  // namespace tovik::sem
