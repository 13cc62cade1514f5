#pragma once

#include <memory>
#include <string>

#include "model/any_variable.hpp"

namespace tovik {
class Model;
}

namespace tovik::model {

/// One side of a correlation: the residual of an equation, or one of its random effects.
struct correlation_side {
  anyVariable outcome;  ///< whose equation it is; without bracket, parameter and ".latent"
  /// The random term: the constant for a random intercept, the predictor for a random slope; null for the
  /// residual.
  std::shared_ptr<data::variable> effect;
  std::string name;  ///< full name: "y", "y[school]", or that of a named random effect
};

/// What a phantom variable stands for. The names of phantoms are identity and print only: their coding is
/// not unique, and two sides in natural order need not stand in the order of the list.
struct correlation {
  correlation_side first;  ///< the sides stand in the natural order of their names
  correlation_side second;
  unsigned level = 0;  ///< catalogue level of the covariance
};

/// The name of the phantom of a correlation, "a#cor#b", as one token: "$", "*", "[" and "]" in the names are
/// coded as "#", "##", "###" and "####".
std::string phantom_name(const std::string& first, const std::string& second);

/// Throws parameter::error_constraint_fixed for an outcome without a residual variance when the two terms of
/// a statement about it and what has been said before hold both a value and a label.
void check_variance(const Model& owner, const parameter& left, const parameter& right);

/// What two terms of one statement say of one parameter: the right one's, else the left one's. False if they
/// contradict each other.
bool joined_parameter(const anyVariable& left, const anyVariable& right, parameter& out);

/// Adds what a further statement says of a parameter. False if that contradicts what stands there.
bool add_parameter(parameter& to, const parameter& given);

}  // namespace tovik::model
