#pragma once

namespace tovik::sem {

/// How the list of equations is put together. Set from the command file before any statement is parsed.
struct defaults {
  /// Join equations that speak of the same outcome.
  inline static bool reduce_models = true;
  /// Turn residual correlations into multivariate blocks where that is possible.
  inline static bool optimize_models = true;
  /// Bring the equations into sampling order; otherwise they stay in statement order.
  inline static bool sort_models = true;
  /// Leave the first loading of a factor free.
  inline static bool freeloadings = false;
};

}  // namespace tovik::sem
