// The density of values that phantoms tie together, with the scores integrated out, and the draw of the
// scores, against dense algebra.

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "phantom_world.hpp"
#include "support/error.hpp"

namespace tovik::tests::phantom_group_test {
namespace {

using sem::Phantom;
using sem::phantom_term;

/// Values with a covariance matrix, as an equation would hold them.
struct plain_values {
  arma::mat E, S;
  sem::phantom_part part;

  plain_values(arma::mat values, arma::mat covariance, std::vector<phantom_term> terms)
      : E(std::move(values)), S(std::move(covariance)), part(std::move(terms), S.n_rows) {}
};

class plain_side : public sem::correlated_side {
 public:
  plain_side(plain_values& values, arma::uword k) : values_(values), k_(k) {}
  void read(const arma::mat&) override { values_.part.read_values(values_.E); }
  const sem::phantom_part& part() const override { return values_.part; }
  arma::uword term() const override { return k_; }
  double* rho() override { return &values_.part.loadings.rho(k_); }
  const void* source() const override { return &values_; }
  bool refresh() override { return values_.part.loadings.refresh(values_.S); }
  bool variance_moves() const override { return false; }
  double variance() const override { return values_.S(effect(), effect()); }
  void set_variance(double) override {}
  void keep() override {}
  void restore() override {}
  double log_prior() const override { return 0.0; }

 private:
  arma::uword effect() const { return values_.part.loadings.terms()[k_].effect; }

  plain_values& values_;
  arma::uword k_;
};

constexpr arma::uword n_units = 9;

/// Three equations, the first with two values. The phantoms stand in the columns 0 to 3 of the data:
/// a0 <-> b, c <-> a1, b <-> c, and d <-> e, which touches none of the others.
struct Tied {
  World world{2, {{2, 1, 3}, {2, 2, 1}, {4, 1, 2}}, 5};
  LoneEstimator estimator{17};
  std::vector<std::unique_ptr<plain_values>> values;
  std::vector<std::unique_ptr<Phantom>> phantoms;
  std::shared_ptr<sem::phantom_group> group = std::make_shared<sem::phantom_group>();

  Tied() {
    Random rng(8, 1);
    auto add = [&](arma::mat S, std::vector<phantom_term> terms) {
      arma::mat const E = rng.randn(n_units, static_cast<int>(S.n_rows)) * arma::chol(S);
      values.push_back(std::make_unique<plain_values>(E, S, std::move(terms)));
    };
    add({{1.2, 0.3}, {0.3, 0.7}}, {{0, 0, false}, {1, 1, true}});  // a
    add(arma::mat{2.0}, {{0, 0, true}, {2, 0, false}});            // b
    add(arma::mat{0.5}, {{1, 0, false}, {2, 0, true}});            // c
    add(arma::mat{1.0}, {{3, 0, false}});                          // d
    add(arma::mat{3.0}, {{3, 0, true}});                           // e
    tie(0, {0, 0}, {1, 0});
    tie(3, {3, 0}, {4, 0});
    tie(1, {2, 0}, {0, 1});
    tie(2, {1, 1}, {2, 1});
    group->connect();
    const double rhos[] = {-0.4, 0.6, 0.3, 0.35};
    for (std::size_t k = 0; k < 4; ++k) phantoms[k]->addStarts({rhos[k]});
    for (const auto& v : values) v->part.read_values(v->E);
  }

  void tie(arma::uword column, std::pair<std::size_t, arma::uword> first,
           std::pair<std::size_t, arma::uword> second) {
    sem::phantom_setup setup;
    setup.column = column;
    setup.level = 1;
    setup.cluster = world.clusters(1);
    phantoms.push_back(std::make_unique<Phantom>(&estimator, setup));
    for (const auto& [v, k] : {first, second})
      phantoms.back()->attach(std::make_unique<plain_side>(*values[v], k));
    phantoms.back()->join(group);
  }

  double rho(std::size_t k) const { return phantoms[k]->rho.value; }
  arma::mat X() const { return arma::join_rows(values[0]->E, arma::join_rows(values[1]->E, values[2]->E)); }
  /// The covariance matrix of a0, a1, b, c.
  arma::mat V() const {
    arma::mat out(4, 4, arma::fill::zeros);
    out.submat(0, 0, 1, 1) = values[0]->S;
    out(2, 2) = values[1]->S(0, 0);
    out(3, 3) = values[2]->S(0, 0);
    set(out, 0, 2, rho(0));
    set(out, 3, 1, rho(2));
    set(out, 2, 3, rho(3));
    return out;
  }
  static void set(arma::mat& V, arma::uword i, arma::uword j, double rho) {
    V(i, j) = V(j, i) = rho * std::sqrt(V(i, i) * V(j, j));
  }
  double dense_density() const {
    arma::mat const x = X(), v = V();
    return -0.5 * (static_cast<double>(n_units) * arma::log_det_sympd(2.0 * arma::datum::pi * v) +
                   arma::accu(x % (x * arma::inv_sympd(v))));
  }
};

TEST(PhantomGroup, DensityOfTheValuesWithoutScores) {
  Tied t;
  arma::mat data = t.world.data;
  t.phantoms[0]->draw(data);  // takes the values
  for (double rho : {-0.4, -0.1, 0.2}) {
    t.phantoms[0]->rho.write(rho);
    EXPECT_NEAR(t.phantoms[0]->rho.log_density(data), t.dense_density(), 1e-10) << rho;
  }
  // All phantoms of a block move one density, also one that touches the first through another only.
  for (std::size_t k : {0, 2, 3})
    EXPECT_NEAR(t.phantoms[k]->rho.log_density(data), t.dense_density(), 1e-10) << k;
  arma::mat pair = {{1.0, t.rho(1) * std::sqrt(3.0)}, {t.rho(1) * std::sqrt(3.0), 3.0}};
  arma::mat const x = arma::join_rows(t.values[3]->E, t.values[4]->E);
  EXPECT_NEAR(t.phantoms[1]->rho.log_density(data),
              -0.5 * (static_cast<double>(n_units) * arma::log_det_sympd(2.0 * arma::datum::pi * pair) +
                      arma::accu(x % (x * arma::inv_sympd(pair)))),
              1e-10);
}

TEST(PhantomGroup, NoDensityWithoutVarianceLeft) {
  Tied t;
  arma::mat data = t.world.data;
  t.phantoms[0]->draw(data);
  for (std::size_t k : {0, 2, 3}) t.phantoms[k]->rho.write(0.4);
  EXPECT_TRUE(std::isfinite(t.phantoms[0]->rho.log_density(data)));
  t.phantoms[3]->rho.write(0.65);  // b holds 0.4 and 0.65
  EXPECT_EQ(t.phantoms[0]->rho.log_density(data), -INFINITY);
}

/// A label that stands in one of the equations too does not count its likelihood twice.
TEST(PhantomGroup, TheDensityStandsForAllItsEquations) {
  Tied t;
  arma::mat data = t.world.data;
  t.phantoms[0]->draw(data);
  const double before = t.phantoms[0]->rho.log_density(data);
  sem::estimator::constraint label("r");
  auto ten = [](const double&, const arma::mat&) { return 10.0; };
  label.add_once({t.values[2].get(), ten});
  t.phantoms[0]->addRho(label);
  EXPECT_EQ(t.phantoms[0]->rho.log_density(data), before);
  sem::estimator::constraint other("r");
  other.add_once({t.values[3].get(), ten});
  t.phantoms[0]->addRho(other);
  EXPECT_NEAR(t.phantoms[0]->rho.log_density(data), before + 10.0, 1e-12);
}

/// Means and covariances of the scores over many draws. Each of the 30 + 45 checks fails with probability
/// below 6e-7.
TEST(PhantomGroup, ScoresHaveTheirFullConditional) {
  Tied t;
  for (const auto& phantom : t.phantoms) phantom->rho.hold();
  arma::mat Lambda(4, 3, arma::fill::zeros);
  auto load = [&](arma::uword phantom, std::size_t k, arma::uword plain, arma::uword sign,
                  const arma::mat& V) {
    Lambda(plain, phantom) = std::sqrt(std::fabs(t.rho(k)) * V(plain, plain));
    Lambda(sign, phantom) = (t.rho(k) < 0 ? -1 : 1) * std::sqrt(std::fabs(t.rho(k)) * V(sign, sign));
  };
  arma::mat const V = t.V();
  load(0, 0, 0, 2, V);
  load(1, 2, 3, 1, V);
  load(2, 3, 2, 3, V);
  arma::mat const gain = Lambda.t() * arma::inv_sympd(V);
  arma::mat const mean = t.X() * gain.t(), covariance = arma::eye(3, 3) - gain * Lambda;
  constexpr int draws = 20000;
  arma::mat sum(n_units, 3, arma::fill::zeros), products(3, 3, arma::fill::zeros);
  arma::mat data = t.world.data;
  for (int d = 0; d < draws; ++d) {
    t.phantoms[0]->draw(data);
    for (std::size_t k : {1, 2, 3}) t.phantoms[k]->draw(data);  // nothing
    arma::mat P(n_units, 3);
    for (arma::uword c = 0; c < n_units; ++c) P.row(c) = data(t.world.first_rows[1](c), arma::span(0, 2));
    sum += P;
    products += (P - mean).t() * (P - mean);
  }
  for (arma::uword k = 0; k < 3; ++k) {
    const double error = std::sqrt(covariance(k, k) / draws);
    EXPECT_LT(arma::abs(sum.col(k) / draws - mean.col(k)).max(), 5.0 * error) << k;
    for (arma::uword l = 0; l <= k; ++l) {
      const double spread = covariance(k, k) * covariance(l, l) + covariance(k, l) * covariance(k, l);
      EXPECT_NEAR(products(k, l) / (draws * n_units), covariance(k, l),
                  5.0 * std::sqrt(spread / (draws * n_units)));
    }
  }
  // One score for all rows of a unit.
  for (arma::uword i = 0; i < data.n_rows; ++i)
    for (arma::uword k = 0; k < 4; ++k)
      EXPECT_EQ(data(i, k), data(t.world.first_rows[1](t.world.units[1](i)), k));
}

TEST(PhantomGroup, ProposalsStartAtTheScaleOfTheDensity) {
  Tied t;
  t.phantoms[0]->find_proposals(t.world.data);
  for (const auto& phantom : t.phantoms) {
    sem::Phantom::correlation& rho = phantom->rho;
    const double at = rho.value, step = 0.5 * std::sqrt(rho.variance);
    auto density = [&](double x) {
      return rho.move_to(x, t.world.data) + rho.log_prior(x) + rho.log_jacobian(x);
    };
    const double top = density(at);
    double sides = 0.0;
    for (double sign : {-1.0, 1.0}) sides += 0.5 * density(std::tanh(std::atanh(at) + sign * step));
    EXPECT_NEAR(top - sides, 0.5, 0.01);
    rho.write(at);
  }
  EXPECT_EQ(t.rho(0), -0.4);
}

TEST(PhantomGroup, APhantomWithoutAGroupIsNotDrawn) {
  World world(1, {{4}}, 3);
  LoneEstimator estimator(1);
  sem::phantom_setup setup;
  setup.cluster = world.clusters(0);
  Phantom phantom(&estimator, setup);
  EXPECT_THROW(phantom.draw(world.data), error_debug);
}

}  // namespace
}  // namespace tovik::tests::phantom_group_test
