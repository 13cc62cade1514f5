#include "sem/ordinal_world.hpp"

#include <algorithm>
#include <cmath>

#include "random/densities.hpp"
#include "sem/ensemble/likelihood_lists.hpp"

namespace tovik::tests {

OrdinalWorld::OrdinalWorld(unsigned level, arma::uword n_categories, std::uint32_t seed)
    : world(2, {{3, 2, 4, 1, 2, 3, 1, 2, 3, 2}}, seed),
      rng(seed, 5U),
      level_(level),
      n_(n_categories),
      estimator_(seed) {
  world.data.insert_cols(9, 1);
  units_ = world.first_rows[level].n_elem;
  for (arma::uword i = 0; i < units_; ++i) categories_.push_back((i * 7 + i / 3) % n_);
  missing_ = level == 0 ? arma::Col<arma::uword>{1, 4, 9, 10} : arma::Col<arma::uword>{1, 4};
}

void OrdinalWorld::build(bool solved) {
  x_column_ = level_ == 0 ? 2 : 6;
  sem::equation_setup of_o = world.setup(level_, {0, x_column_}),
                      of_z = world.setup(level_, {0, score_column, 1});
  fix(of_o, {0.3, 0.5});
  fix(of_z, {a_, b, c});
  of_o.response_moves = true;
  of_o.missing_units = missing_;
  of_z.y = z_column;
  of_z.estimate_resid = false;
  of_z.resid_value = variance_;
  if (b == 0.0 || c == 0.0) {  // what has no part is not read
    of_z.x = b == 0.0 ? (c == 0.0 ? units{0} : units{0, 1}) : units{0, score_column};
    fix(of_z, b == 0.0 ? (c == 0.0 ? arma::vec{a_} : arma::vec{a_, c}) : arma::vec{a_, b});
  }
  sem::ordered_values observed;
  observed.values = arma::regspace(0, static_cast<double>(n_ - 1)) + 2.0;
  observed.of_unit = units(categories_);
  observed.n_reported = n_ - 2;
  model = std::make_shared<sem::Ordinal>(&estimator_, of_o, observed);
  model->addIndicator({score_column}, sem::indicator_type::latent_residual);
  z_ = std::make_shared<sem::Normal>(&estimator_, of_z);
  sem::level_units levels;
  for (const auto& ids : world.units) levels.push_back(&ids);
  sem::wire_likelihood_lists({model, z_}, levels, world.data);
  if (solved) model->addDist(solver(), sem::distribution_type::fixed);
  draw_z();
}

void OrdinalWorld::draw_state() {
  arma::vec tau(n_ - 1, arma::fill::zeros);
  if (n_ == 3) tau[1] = draw_threshold();
  model->propensity.cuts.tau = tau;
  for (arma::uword i = 0; i < units_; ++i) {
    arma::uword k = categories_[i];
    if (arma::any(missing_ == i)) {
      arma::vec weight(n_);
      for (arma::uword j = 0; j < n_; ++j) weight[j] = mass(i, j, tau);
      const double u = rng.runif() * arma::accu(weight);
      for (k = 0; k + 1 < n_ && u > arma::accu(weight.head(k + 1)); ++k) {
      }
    }
    const normal given = score(i, k);
    const double y =
        rng.trNorm(given.mean, k == 0 ? -INFINITY : tau[k - 1], k + 1 == n_ ? INFINITY : tau[k], given.sd);
    model->propensity.write(world.data, i, y);
    if (arma::any(missing_ == i)) model->propensity.impute(world.data, i);
  }
}

std::vector<double> OrdinalWorld::functions() const {
  const arma::vec& y = model->propensity.values;
  std::vector<double> out;
  if (n_ == 3) out = {model->tau()[1], model->tau()[1] * y[0]};
  out.insert(out.end(), {y[0], y[2], y[1], y[4], y[1] * y[4], arma::accu(y), arma::accu(y % y)});
  double sum = 0.0;
  for (arma::uword i : missing_) sum += world.data(world.first_rows[level_](i), 1);
  out.push_back(sum);
  out.push_back(sum * y[1]);
  return out;
}

void OrdinalWorld::fix(sem::equation_setup& setup, const arma::vec& values) {
  setup.fixed = arma::regspace<units>(0, values.n_elem - 1);
  setup.fixed_values = values;
  setup.mutable_columns.assign(10, false);
  setup.mutable_columns[1] = setup.mutable_columns[score_column] = true;
}

OrdinalWorld::normal OrdinalWorld::score(arma::uword unit, arma::uword k) const {
  const double precision = 1.0 + b * b / variance_;
  return {(mu(unit) + b * rest(unit, k) / variance_) / precision, 1.0 / std::sqrt(precision)};
}

double OrdinalWorld::mass(arma::uword unit, arma::uword k, const arma::vec& tau) const {
  const normal given = score(unit, k);
  const double v = variance_ + b * b, e = rest(unit, k) - b * mu(unit);
  const double upper = k + 1 == n_ ? 1.0 : phi((tau[k] - given.mean) / given.sd);
  const double lower = k == 0 ? 0.0 : phi((tau[k - 1] - given.mean) / given.sd);
  return std::exp(-0.5 * e * e / v) * (upper - lower);
}

void OrdinalWorld::draw_z() {
  for (arma::uword i = 0; i < units_; ++i) {
    const double value = a_ + b * (mu(i) + rng.rnorm()) + c * (static_cast<double>(categories_[i]) + 2.0) +
                         std::sqrt(variance_) * rng.rnorm();
    for (arma::uword row = 0; row < world.data.n_rows; ++row)
      if (world.units[level_](row) == i) {
        world.data(row, z_column) = value;
        world.data(row, 1) = static_cast<double>(categories_[i]) + 2.0;
      }
  }
  weights_.reset();
}

double OrdinalWorld::draw_threshold() {
  constexpr double step = 0.005;
  if (weights_.is_empty()) {
    weights_.set_size(1600);
    for (arma::uword j = 0; j < weights_.n_elem; ++j) {
      const arma::vec tau = {0.0, (static_cast<double>(j) + 0.5) * step};
      double sum = 0.0;
      for (arma::uword i = 0; i < units_; ++i) {
        double here = 0.0;
        for (arma::uword k = 0; k < 3; ++k)
          if (arma::any(missing_ == i) || k == categories_[i]) here += mass(i, k, tau);
        sum += std::log(here);
      }
      weights_[j] = sum;
    }
    weights_ = arma::cumsum(arma::exp(weights_ - weights_.max()));
  }
  const double u = rng.runif() * weights_.back();
  const auto j = std::lower_bound(weights_.begin(), weights_.end(), u) - weights_.begin();
  return (static_cast<double>(j) + rng.runif()) * step;
}

std::shared_ptr<sem::autosolver::solver<sem::autosolver::normal>> OrdinalWorld::solver() {
  auto out = std::make_shared<sem::autosolver::solver<sem::autosolver::normal>>();
  out->rng = &estimator_.random;
  out->functions.push_back([this](const arma::mat&, const sem::autosolver::normal&) {
    arma::vec mean(units_), variance(units_);
    for (arma::uword i = 0; i < units_; ++i) {
      const normal given = score(i, model->propensity.sets[i]);
      mean[i] = given.mean;
      variance[i] = given.sd * given.sd;
    }
    return sem::autosolver::normal(mean, variance);
  });
  return out;
}

}  // namespace tovik::tests
