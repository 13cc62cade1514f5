#pragma once

#include <string>
#include <vector>

namespace tovik {
class Model;
}

namespace tovik::sem {

/// The names of the columns that an equation's model gives for output (Outcome::latent, residual, predicted),
/// in the order of the columns. A kind with further columns, such as a propensity or the probability of each
/// category, has its names here.
///
/// Random effects: "y$Intercept", "y$x"; with several levels of clusters also the identifier,
/// "y$Intercept$school", the nearest level first.
std::vector<std::string> latent_names(const Model& model);
std::vector<std::string> residual_names(const Model& model);
std::vector<std::string> predicted_names(const Model& model);

}  // namespace tovik::sem
