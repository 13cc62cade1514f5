// Draws of predictor models against normal distributions by dense algebra: full conditionals number for
// number, Metropolis steps by the moments of the posterior distribution that they reach.

#include <gtest/gtest.h>

#include "kernel_samples.hpp"
#include "predictor_world.hpp"
#include "support/error.hpp"

namespace tovik::tests::predictor_conditionals_test {
namespace {

using kind = PredictorWorld::kind;
using center = data::center;
using sem::predictor_step;

const nesting nested = {{2, 3, 1}, {4}, {2, 2}, {1, 3}, {2}, {1, 1}};

/// A normal distribution of all scores of a predictor model by its precision Q and by h = Q mean. Scores
/// stand by place, unit and column.
class Dense {
 public:
  explicit Dense(PredictorWorld& world) : world_(world) {
    arma::uword n = 0;
    for (unsigned q = 0; q <= world.places(); ++q) {
      first_.push_back(n);
      n += world.x.state->n_units(q) * world.dim;
    }
    Q.zeros(n, n);
    h.zeros(n);
    for (unsigned q = 0; q < world.places(); ++q) add_place(q);
    for (arma::uword k = 0; k < world.dim; ++k)
      Q(at(world.places(), 0, k), at(world.places(), 0, k)) += world.x.state->mean_precision;
  }

  arma::uword at(unsigned q, arma::uword unit, arma::uword k) const {
    return first_[q] + unit * world_.dim + k;
  }

  /// A row with this mean, linear in the scores, was observed.
  void observe(const arma::Col<double>& slope, double value, double variance) {
    Q += slope * slope.t() / variance;
    h += slope * value / variance;
  }

  arma::Col<double> state() const {
    arma::Col<double> out(h.n_elem);
    for (unsigned q = 0; q <= world_.places(); ++q)
      for (arma::uword j = 0; j < world_.x.state->n_units(q); ++j)
        for (arma::uword k = 0; k < world_.dim; ++k) out(at(q, j, k)) = world_.x.state->scores(q)(j, k);
    return out;
  }

  /// Moments of the elements `some` given the others.
  void given_rest(const uwords& some, const arma::Col<double>& values, arma::Col<double>& mean,
                  arma::Mat<double>& variance) const {
    arma::Col<double> rest = values;
    rest.elem(some).zeros();
    variance = arma::inv(Q.submat(some, some));
    mean = variance * (h.elem(some) - Q.rows(some) * rest);
  }

  arma::Mat<double> Q;
  arma::Col<double> h;

 private:
  // (S_q - S_{q+1}[parent] - W gamma)' inv(Sigma) (...), for every unit.
  void add_place(unsigned q) {
    const sem::predictor_state& state = *world_.x.state;
    arma::uword const dim = world_.dim;
    const arma::Mat<double> H = arma::inv(world_.Sigma[q]);
    for (arma::uword i = 0; i < state.n_units(q); ++i) {
      arma::Mat<double> A(dim, Q.n_rows, arma::fill::zeros);
      for (arma::uword k = 0; k < dim; ++k) {
        A(k, at(q, i, k)) = 1;
        A(k, at(q + 1, q + 1 == world_.places() ? 0 : state.chain.parent(q)(i), k)) = -1;
      }
      Q += A.t() * H * A;
      h += A.t() * H * (world_.scores_at(q).data()(i, 8) * world_.gamma[q]).t();
    }
  }

  PredictorWorld& world_;
  std::vector<arma::uword> first_;
};

/// The draw of all units at a place: N(mean_j, V_j) by root'z_j, with z a matrix drawn column by column.
arma::Mat<double> by_hand(const Dense& dense, unsigned q, const uwords& units, const arma::Mat<double>& z) {
  arma::Mat<double> out(units.n_elem, z.n_cols);
  const arma::Col<double> values = dense.state();
  for (arma::uword j = 0; j < units.n_elem; ++j) {
    uwords some(z.n_cols);
    for (arma::uword k = 0; k < z.n_cols; ++k) some(k) = dense.at(q, units(j), k);
    arma::Col<double> mean;
    arma::Mat<double> V;
    dense.given_rest(some, values, mean, V);
    out.row(j) = mean.t() + z.row(j) * arma::chol(V);
  }
  return out;
}

struct shape {
  const char* name;
  kind of;
  unsigned levels;
  std::vector<bool> deviates;
  double precision;
};

void PrintTo(const shape& s, std::ostream* out) {
  *out << s.name;
}

class EachShape : public testing::TestWithParam<shape> {};
INSTANTIATE_TEST_SUITE_P(PredictorConditionals, EachShape,
                         testing::Values(shape{"OneLevel", kind::continuous, 1, {true}, 0.0},
                                         shape{"TwoLevels", kind::continuous, 2, {true, true}, 0.0},
                                         shape{"ThreeLevels", kind::continuous, 3, {true, true, true}, 0.0},
                                         shape{"Skipped", kind::continuous, 3, {true, false, true}, 0.0},
                                         shape{"NotAbove", kind::continuous, 2, {true, false}, 0.0},
                                         shape{"OrdinalTwo", kind::ordinal, 2, {true, true}, 0.2},
                                         shape{"NominalOne", kind::nominal, 1, {true}, 0.2},
                                         shape{"NominalTwo", kind::nominal, 2, {true, true}, 0.2},
                                         shape{"NominalThree", kind::nominal, 3, {true, true, true}, 0.2}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_P(EachShape, FullConditionalsAreThoseOfTheJointNormal) {
  const shape& s = GetParam();
  PredictorWorld world(400);
  world.of = s.of;
  world.levels = s.levels;
  world.sizes = nested;
  world.deviates = s.deviates;
  world.prior_precision = s.precision > 0 ? s.precision : 1.0;
  world.build();
  world.draw_joint();
  world.x.state->mean_precision = s.precision;
  const Dense dense(world);
  for (unsigned q = 1; q <= world.places(); ++q) {
    arma::uword const n = world.x.state->n_units(q);
    const arma::Mat<double> z = Random(*world.rng).randn(static_cast<int>(n), static_cast<int>(world.dim));
    const arma::Mat<double> expected = by_hand(dense, q, arma::regspace<uwords>(0, n - 1), z);
    if (q == world.places())
      world.x.model->drawGrandMean(world.scores_at(q - 1));
    else
      world.x.model->drawComponent(world.distance(q), world.scores_at(q), world.scores_at(q - 1));
    EXPECT_LT(arma::abs(world.x.state->scores(q) - expected).max(), 1e-9) << "place " << q;
  }
  const uwords& units = world.x.model->missing_units;
  const arma::Mat<double> z =
      Random(*world.rng).randn(static_cast<int>(units.n_elem), static_cast<int>(world.dim));
  const arma::Mat<double> expected = by_hand(dense, 0, units, z);
  world.x.model->drawImputation(world.scores_at(0));
  const arma::Mat<double> drawn = world.x.state->scores(0).rows(units);
  EXPECT_LT(arma::abs(drawn - expected).max(), 1e-9);
  // The categories, and what follows from them, are those of the scores.
  if (s.of != kind::continuous) {
    const uwords category = world.categories(drawn);
    for (arma::uword j = 0; j < units.n_elem; ++j)
      EXPECT_EQ((*world.x.state->categories)(units(j)), category(j));
  }
}

/// A run of the Metropolis steps with known parameters, and the closed-form posterior of mu, of the latent
/// means and of the missing values.
struct Posterior {
  PredictorWorld world;
  uwords unknown;
  arma::Col<double> mean;
  arma::Mat<double> variance;

  explicit Posterior(std::uint32_t seed) : world(seed) {}

  void solve() {
    world.build();
    world.draw_joint();
    Dense dense(world);
    for (arma::uword i = 0; i < world.data().n_rows; ++i) {
      arma::Col<double> slope(dense.h.n_elem, arma::fill::zeros);
      const double b = world.b_x + world.b_product * world.data()(i, 8);
      auto add = [&](unsigned q, double by) {
        arma::uword const unit =
            q == world.places() ? 0 : world.working->units(world.x.state->chain.level(q))(i);
        slope(dense.at(q, unit, 0)) += by;
      };
      add(0, b);
      if (world.centre == center::cluster) add(1, -b);
      if (world.centre == center::grand) add(world.places(), -b);
      for (unsigned q = 1; q < world.places(); ++q) {
        const double by = world.b_means[world.distance(q)];
        add(q, by);
        if (world.centre_means == center::grand) add(world.places(), -by);
        if (world.centre_means == center::cluster && q + 1 < world.places()) add(q + 1, -by);
      }
      dense.observe(slope, world.data()(i, 0), world.y_variance);
    }
    std::vector<arma::uword> list;
    for (arma::uword u : world.missing) list.push_back(dense.at(0, u, 0));
    for (unsigned q = 1; q <= world.places(); ++q)
      for (arma::uword j = 0; j < world.x.state->n_units(q); ++j) list.push_back(dense.at(q, j, 0));
    unknown = uwords(list);
    dense.given_rest(unknown, dense.state(), mean, variance);
    solved_ = std::make_unique<Dense>(dense);
  }

  /// Batch means of the first two moments of 100 batches differ from the closed form by less than 5.5
  /// standard errors: 4e-6 for 99 degrees of freedom and each of fewer than 300 numbers.
  void expect_reached(int scans) {
    constexpr int batches = 100;
    arma::Mat<double> first(unknown.n_elem, batches, arma::fill::zeros), second = first;
    for (int t = 0; t < 500; ++t) world.scan(false);
    for (int b = 0; b < batches; ++b)
      for (int t = 0; t < scans / batches; ++t) {
        world.scan(false);
        const arma::Col<double> d = solved_->state().elem(unknown) - mean;
        first.col(b) += d * (batches / static_cast<double>(scans));
        second.col(b) += d % d * (batches / static_cast<double>(scans));
      }
    for (arma::uword k = 0; k < unknown.n_elem; ++k) {
      const double error = arma::stddev(first.row(k)) / std::sqrt(batches);
      EXPECT_LT(std::fabs(arma::mean(first.row(k))), 5.5 * error) << "element " << k;
      EXPECT_LT(error, 0.08 * std::sqrt(variance(k, k)));
      const double error2 = arma::stddev(second.row(k)) / std::sqrt(batches);
      EXPECT_LT(std::fabs(arma::mean(second.row(k)) - variance(k, k)), 5.5 * error2) << "element " << k;
    }
  }

 private:
  std::unique_ptr<Dense> solved_;
};

TEST(PredictorPosterior, TwoLevels) {
  Posterior p(410);
  p.world.sizes = {{3, 2}, {4, 1}};
  p.world.missing = {0, 3, 4, 8};
  p.world.means = true;
  p.world.b_x = 0.9;
  p.world.b_means = {0, 1.3, 0};
  p.world.centre = center::cluster;
  p.world.centre_means = center::grand;
  p.solve();
  p.expect_reached(200000);
}

TEST(PredictorPosterior, OneLevel) {
  Posterior p(411);
  p.world.levels = 1;
  p.world.deviates = {true};
  p.world.sizes = {{6}};
  p.world.missing = {0, 3, 4};
  p.world.b_x = 0.9;
  p.world.b_product = 0.5;
  p.world.centre = center::grand;
  p.solve();
  p.expect_reached(200000);
}

TEST(PredictorPosterior, ThreeLevels) {
  Posterior p(412);
  p.world.levels = 3;
  p.world.deviates = {true, true, true};
  p.world.sizes = {{3, 1}, {2, 2}, {1, 3}, {2}};
  p.world.missing = {0, 3, 4, 8, 13};
  p.world.means = true;
  p.world.b_x = 0.7;
  p.world.b_means = {0, 0.9, -0.8};
  p.world.centre = center::cluster;
  p.world.centre_means = center::cluster;
  p.solve();
  p.expect_reached(200000);
}

}  // namespace
}  // namespace tovik::tests::predictor_conditionals_test
