#pragma once

#include <armadillo>
#include <memory>
#include <string>
#include <vector>

namespace tovik {

class Random;

/// One statement "name = expression" of the TRANSFORM command.
struct transform_statement {
  std::string text;        ///< the statement, with the halves of "==", "!=", "<=" and ">=" side by side
  std::string name;        ///< left of the first lone "="
  std::string expression;  ///< right of it
  std::size_t offset = 0;  ///< where the expression begins in `text`

  /// Throws tovik::error unless the statement is one name, "=" and an expression.
  static transform_statement read(const std::string& statement);
};

/// The names on the left sides, in order and with repeats; of a statement without "=" all of its text.
std::vector<std::string> transformed_names(const std::vector<std::string>& statements);

/// Carries out the statements in order. Rows of `data` are observations, columns follow `names`.
///
/// A name that is there already (without regard to letter case) has its column replaced, by values computed
/// from the old ones; a new name appends a column and enters `names`. Infinite values become missing.
/// `uniform` and `normal` draw from `rng` (null without a seed). Throws tovik::error at the first statement
/// that cannot be carried out, evaluate::error_debug for faults of the expression engine.
void apply_transforms(arma::Mat<double>& data, std::vector<std::string>& names,
                      const std::vector<std::string>& statements, const std::shared_ptr<Random>& rng);

}  // namespace tovik
