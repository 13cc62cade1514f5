#pragma once

#include <armadillo>
#include <memory>
#include <string>
#include <vector>

#include "evaluate/defines.hpp"
#include "evaluate/parser.hpp"
#include "random/random.hpp"
#include "sem/outcomes/normal.hpp"
#include "sem/wiring/estimator.hpp"
#include "support/error.hpp"

namespace tovik::tests {

/// An estimator that owns nothing but a generator.
class LoneEstimator : public sem::Estimator {
 public:
  explicit LoneEstimator(std::uint32_t seed) : random(seed, 1U) {}
  Random random;

  Random* rng() const override { return const_cast<Random*>(&random); }
  void draw(arma::Mat<double>&) override { fail(); }
  void tune() override { fail(); }
  void tune_check() override { fail(); }
  arma::Col<double> params() const override { fail(); }
  arma::Col<double> params(const arma::Mat<double>&) const override { fail(); }
  arma::Col<double> params(const unsigned&) const override { fail(); }
  arma::Col<double> computations() const override { fail(); }
  arma::uword n_params() const override { fail(); }
  arma::uword n_estimated() const override { fail(); }
  arma::uword n_params(const arma::Mat<double>&) const override { fail(); }
  arma::uword n_params(const unsigned&) const override { fail(); }
  arma::uword n_computations() const override { fail(); }
  arma::uword n_correlations() const override { fail(); }
  arma::uword n_defines() const override { fail(); }
  void categorize_nominal(arma::Mat<double>&, const arma::Mat<double>&) const override { fail(); }
  arma::Col<double> logLiklihood(const arma::Mat<double>&, int) const override { fail(); }
  double logLiklihood(const arma::Mat<double>&) const override { fail(); }
  arma::Col<double> computeLL(const arma::Mat<double>&, int) const override { fail(); }
  double computeLL(const arma::Mat<double>&) const override { fail(); }
  std::vector<sem::estimator::tune_results> acceptance() const override { fail(); }
  const arma::Mat<double>& betas(const unsigned&) const override { fail(); }
  std::vector<double> getMissingPercents() const override { fail(); }
  arma::Col<arma::uword> indicators() const override { fail(); }
  arma::Mat<double> latent(const arma::Mat<double>&) const override { fail(); }
  arma::Mat<double> residual(const arma::Mat<double>&) const override { fail(); }
  arma::Mat<double> predicted(const arma::Mat<double>&) const override { fail(); }
  arma::Mat<double> defines(const arma::Mat<double>&) const override { fail(); }
  arma::Col<double> correlations(const arma::Mat<double>&) const override { fail(); }
  arma::Cube<double> likelihood(const arma::Mat<double>&) const override { fail(); }

 private:
  [[noreturn]] static void fail() { throw error_debug("A lone model asked its estimator."); }
};

/// Sizes of level-2 clusters, listed for each level-3 cluster.
using nesting = std::vector<std::vector<unsigned>>;

/// Data in one to three levels, rows sorted by cluster. Column 0 is the constant, 1 the outcome (0 at first),
/// 2 to 5 vary over rows (means 0.5, 1, 1.5, 2), 6 and 7 over level-2 clusters, 8 over level-3 clusters.
struct World {
  arma::Mat<double> data;
  std::vector<arma::Col<arma::uword>> units, first_rows;

  World(unsigned levels, const nesting& sizes, std::uint32_t seed) {
    std::vector<arma::uword> two, three;
    for (std::size_t top = 0, c = 0; top < sizes.size(); ++top)
      for (unsigned size : sizes[top]) {
        two.insert(two.end(), size, c++);
        three.insert(three.end(), size, top);
      }
    add_level(arma::regspace<arma::Col<arma::uword>>(0, two.size() - 1));
    if (levels > 1) add_level(arma::Col<arma::uword>(two));
    if (levels > 2) add_level(arma::Col<arma::uword>(three));
    fill(seed);
  }

  sem::estimator::cluster clusters(unsigned level) const {
    std::vector<const arma::Col<arma::uword>*> u, f;
    for (std::size_t l = 0; l < units.size(); ++l) {
      u.push_back(&units[l]);
      f.push_back(&first_rows[l]);
    }
    return {level, u, f};
  }

  /// A regression at `level`: intercept and the given plain columns, no random effects yet.
  sem::equation_setup setup(unsigned level, arma::Col<arma::uword> x) const {
    sem::equation_setup out;
    out.y = 1;
    out.x = std::move(x);
    out.level = level;
    out.n_levels = static_cast<unsigned>(units.size()) - level - 1;
    out.z.resize(out.n_levels);
    out.z_compute.resize(out.n_levels);
    out.icept.assign(out.n_levels, 0);
    out.cluster = clusters(level);
    return out;
  }

 private:
  void add_level(arma::Col<arma::uword> ids) {
    std::vector<arma::uword> first;
    for (arma::uword i = 0; i < ids.n_elem; ++i)
      if (i == 0 || ids(i) != ids(i - 1)) first.push_back(i);
    units.push_back(std::move(ids));
    first_rows.emplace_back(first);
  }

  void fill(std::uint32_t seed) {
    Random random(seed, 0U);
    arma::uword const n = units[0].n_elem;
    data.zeros(n, 9);
    data.col(0).ones();
    for (arma::uword j = 2; j < 9; ++j) {
      std::size_t const level = j < 6 ? 0 : j < 8 ? 1 : 2;
      const auto& ids = units[std::min(level, units.size() - 1)];
      const arma::Mat<double> values = random.randn(static_cast<int>(n), 1);
      for (arma::uword i = 0; i < n; ++i) data(i, j) = values(ids(i)) + 0.5 * (static_cast<double>(j) - 1.0);
    }
  }
};

/// y of the data: fixed part, intercepts and slopes (of columns 2, 3 and 5) of every cluster, and noise,
/// written into column 1.
inline void simulate_outcome(World& world, unsigned level, double mean, std::uint32_t seed) {
  Random random(seed, 3U);
  const auto& own = world.units[level];
  arma::uword const n = own.n_elem;
  arma::Col<double> y(n, arma::fill::value(mean));
  for (std::size_t l = level; l < world.units.size(); ++l) {
    const arma::Mat<double> e = random.randn(static_cast<int>(n), 4);
    for (arma::uword i = 0; i < n; ++i) {
      arma::uword const c = world.units[l](i);
      y(i) += e(c, 0);
      if (l > level)
        y(i) += e(c, 1) * world.data(i, 2) + e(c, 2) * world.data(i, 3) + e(c, 3) * world.data(i, 5);
    }
  }
  for (arma::uword j = 2; j < 9; ++j) {
    const arma::Col<double> x = world.data.col(j);
    for (arma::uword i = 0; i < n; ++i) y(i) += 0.3 * x(world.first_rows[level](own(i)));
  }
  world.data.col(1) = y;
}

/// A computed column from text with "#DATA(k)".
inline sem::estimator::compute computed(const std::string& text) {
  return sem::estimator::compute(evaluate::opt_ast(text));
}

}  // namespace tovik::tests
