#include "sem/scan_world.hpp"

#include <algorithm>
#include <utility>

#include "evaluate/parser.hpp"

namespace tovik::tests {

World::World(unsigned levels, const nesting& sizes, std::uint32_t seed) {
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

sem::estimator::cluster World::clusters(unsigned level) const {
  std::vector<const arma::Col<arma::uword>*> u, f;
  for (std::size_t l = 0; l < units.size(); ++l) {
    u.push_back(&units[l]);
    f.push_back(&first_rows[l]);
  }
  return {level, u, f};
}

sem::equation_setup World::setup(unsigned level, arma::Col<arma::uword> x) const {
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

void World::add_level(arma::Col<arma::uword> ids) {
  std::vector<arma::uword> first;
  for (arma::uword i = 0; i < ids.n_elem; ++i)
    if (i == 0 || ids(i) != ids(i - 1)) first.push_back(i);
  units.push_back(std::move(ids));
  first_rows.emplace_back(first);
}

void World::fill(std::uint32_t seed) {
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

void simulate_outcome(World& world, unsigned level, double mean, std::uint32_t seed) {
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

sem::estimator::compute computed(const std::string& text) {
  return sem::estimator::compute(evaluate::opt_ast(text));
}

}  // namespace tovik::tests
