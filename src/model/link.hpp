#pragma once

#include <string>

namespace tovik::model {

/// How an outcome depends on its linear predictor.
enum class link : int {
  identity = 0,      ///< normal regression, the default
  weighted = 1,      ///< normal regression with sampling weights
  probit = 2,        ///< probit model
  logit = 3,         ///< logistic model
  yjt = 4,           ///< Yeo-Johnson outcome
  yjt_scale = 5,     ///< Yeo-Johnson outcome with a variance model
  scale = 6,         ///< normal outcome with a variance model
  log_variance = 7,  ///< the variance model itself, before it joins the model of its outcome
  hev = 8,           ///< heterogeneous residual variance
};

/// A Yeo-Johnson transformation, which has a parameter.
bool has_lambda(link value);
/// Residual variances by cluster or by row.
bool has_many_variances(link value);

/// The printed name of a link; the empty string for anything outside the enumeration.
std::string link_str(link value);

}  // namespace tovik::model
