#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tovik::model {

/// The sections of a model's rows in the estimates, in their order. Up to `transform` they are parameters;
/// the others follow from them.
enum class row_section { variance, fixed, threshold, transform, standardized, share };

/// True for the sections of parameters.
bool is_parameter(row_section section);

/// The place of element (i, j), j <= i, of a p x p matrix among the columns of its lower triangle: behind the
/// columns 0 to j - 1.
constexpr std::size_t lower_triangle_place(std::size_t j, std::size_t i, std::size_t p) {
  return j * p - j * (j + 1) / 2 + i;
}

/// One row of a model in the estimates: its name, part by part, and what the model says of its value.
struct row {
  row_section section;
  std::string label;            ///< "x", "Residual Var.", "Var(Intercept)", "Random Slopes"
  unsigned level = 0;           ///< printed level of what varies there, 0 for none
  std::string outcome;          ///< of an equation with several outcomes, the one that has the row
  std::vector<std::string> of;  ///< of a variance what varies, of a covariance the two that vary together
  bool fixed = false;           ///< held at a value by the model
  double value = 0.0;           ///< that value

  /// As the report prints it: "L2 : Var(Intercept)", "Level-2 Random Slopes", "x".
  std::string text() const;
  /// text() behind what names the section: "Variance : L2 : Var(Intercept)", "R2: Level-2 Random Slopes";
  /// eleven characters for a parameter, none for a standardized row.
  std::string tagged() const;
};

}  // namespace tovik::model
