#pragma once

#include <armadillo>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "sem/outcomes/factor.hpp"
#include "sem/scan_world.hpp"

namespace tovik::tests {

/// A mediator m and an outcome y that reads it, with known coefficients and the proper prior for variances:
/// their joint distribution, from which states can be drawn directly, and the models that sample it.
///
/// Columns are those of World; m stands in column 9, the number of the level-2 cluster in 10, of the level-3
/// cluster in 11.
class TwoEquations {
 public:
  static constexpr arma::uword m_column = 9;

  World world;
  sem::equation_setup m, y;
  std::string transformation;  ///< of m, in "#DATA(0)"; empty for none

  TwoEquations(unsigned levels, const nesting& sizes, std::uint32_t seed);

  sem::Normal& of_m() { return *models_[0]; }
  sem::Normal& of_y() { return *models_[1]; }
  Random& rng() { return rng_; }

  double last_coefficient = 0.6;
  bool latent = false;  ///< no value of m is known: it is a factor
  bool free = false;    ///< coefficients of y are drawn, with prior N(0, 1)

  /// After the setups are complete. Coefficients of both equations go from -0.5 to the last one.
  void build(bool linked = true);

  /// After build(): m is drawn from its solved distribution. `cofactor`: what multiplies m in the computed
  /// column of y, if there is one.
  void solve(const std::string& cofactor = "");

  /// Everything from the joint distribution. `admitted`: the y* of m that have a place; null for all.
  void draw_joint(const std::function<bool(double)>& admitted = nullptr);

  void scan();

  /// Functions of the state that see means, variances, and how m, y and the effects hang together.
  std::vector<double> functions();

 private:
  void draw_equation(sem::Normal& model, const sem::equation_setup& setup, const std::string& transform,
                     const std::function<bool(double)>& admitted);

  LoneEstimator estimator_;
  Random rng_;
  std::vector<std::shared_ptr<sem::Normal>> models_;
};

}  // namespace tovik::tests
