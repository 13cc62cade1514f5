#include "sem/scan_world.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "evaluate/parser.hpp"

namespace tovik::tests {

nesting many_clusters() {
  nesting out(20);
  for (unsigned top = 0; top < 20; ++top)
    for (unsigned c = 0; c < 5; ++c) out[top].push_back(1 + (top + 3 * c) % 9);
  return out;
}

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

std::vector<const arma::Col<arma::uword>*> World::level_units() const {
  std::vector<const arma::Col<arma::uword>*> out;
  for (const auto& ids : units) out.push_back(&ids);
  return out;
}

void World::write(unsigned level, arma::uword column, const arma::Col<double>& values) {
  for (arma::uword row = 0; row < data.n_rows; ++row) data(row, column) = values(units[level](row));
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

void hold_coefficients(sem::equation_setup& setup, const arma::Col<double>& values) {
  setup.fixed = arma::regspace<arma::Col<arma::uword>>(0, values.n_elem - 1);
  setup.fixed_values = values;
}

void hold_coefficients(sem::equation_setup& setup) {
  hold_coefficients(setup, arma::linspace(-0.5, 0.5, setup.x.n_elem));
}

void let_move(sem::equation_setup& setup, const World& world, const std::vector<arma::uword>& columns) {
  setup.mutable_columns.assign(world.data.n_cols, false);
  for (arma::uword column : columns) setup.mutable_columns[column] = true;
}

void add_fixed_part(const World& world, const sem::equation_setup& setup, const arma::Mat<double>& b,
                    arma::Col<double>& y) {
  const auto& rows = *setup.cluster.own_rows[0];
  for (arma::uword j = 0; j < b.n_elem; ++j) {
    const arma::Col<double> x = j < setup.x.n_elem
                                    ? arma::Col<double>(world.data.col(setup.x(j)))
                                    : setup.x_compute[j - setup.x.n_elem].node->eval(world.data);
    for (arma::uword i = 0; i < y.n_elem; ++i) y(i) += b(j) * x(rows(i));
  }
}

void add_random_part(const World& world, const sem::equation_setup& setup,
                     const std::vector<arma::Mat<double>>& u, arma::Col<double>& y) {
  const auto& rows = *setup.cluster.own_rows[0];
  for (unsigned L = 0; L < setup.n_levels; ++L)
    for (arma::uword j = 0; j < setup.z[L].n_elem; ++j)
      for (arma::uword i = 0; i < y.n_elem; ++i)
        y(i) += world.data(rows(i), setup.z[L](j)) * u[L]((*setup.cluster.row_cluster[L])(i), j);
}

void draw_normal(World& world, const sem::Regression& model, Random& rng) {
  const arma::Mat<double> mean = model.compute_predicted(world.data);
  const arma::Mat<double> e = rng.randn(static_cast<int>(mean.n_rows), 1);
  world.write(model.level, model.y(0), mean + std::sqrt(model.residVar()) * e);
}

sem::estimator::compute computed(const std::string& text) {
  return sem::estimator::compute(evaluate::opt_ast(text));
}

}  // namespace tovik::tests
