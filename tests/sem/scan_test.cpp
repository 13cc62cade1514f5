// The pieces of the scan, each alone.

#include <gtest/gtest.h>

#include <cmath>

#include "scan_world.hpp"
#include "sem/scan/equation_scan.hpp"
#include "sem/scan/marginal.hpp"
#include "sem/scan/small_cholesky.hpp"
#include "support/error.hpp"

namespace tovik::tests::scan_test {
namespace {

using namespace sem::scan;
using sem::estimator::compute;

const nesting unbalanced = {{5, 1, 9, 4}, {3, 7}, {2, 2, 6}};

arma::Mat<double> random_precision(arma::uword q, int seed) {
  const arma::Mat<double> A = Random(seed).randn(static_cast<int>(q) + 3, static_cast<int>(q));
  return A.t() * A;
}

TEST(SmallCholesky, GivesTheCholeskyFactorOfTheInverse) {
  for (arma::uword q : {1, 2, 3, 6}) {
    const arma::Mat<double> P = random_precision(q, static_cast<int>(q));
    arma::Mat<double> T = P;
    ASSERT_TRUE(reverse_cholesky(T.memptr(), q));
    T = arma::trimatu(T);
    EXPECT_LT(arma::abs(T * T.t() - P).max(), 1e-10);
    EXPECT_LT(arma::abs(arma::inv(T) - arma::chol(arma::inv_sympd(P))).max(), 1e-9);
    EXPECT_NEAR(log_determinant(T.memptr(), q), std::log(arma::det(P)), 1e-9);
    const arma::Col<double> h = Random(3).randn(static_cast<int>(q), 1);
    arma::Col<double> x = h;
    solve_upper(T.memptr(), q, x.memptr());
    solve_upper_transposed(T.memptr(), q, x.memptr());
    EXPECT_LT(arma::abs(P * x - h).max(), 1e-9);
    arma::Mat<double> inverse(q, q);
    arma::Col<double> work(q * (q + 1));
    invert_symmetric(P.memptr(), q, inverse.memptr(), work.memptr());
    EXPECT_LT(arma::abs(inverse * P - arma::eye(q, q)).max(), 1e-9);
    EXPECT_TRUE(inverse.is_symmetric());
  }
}

TEST(SmallCholesky, RefusesWhatIsNotPositiveDefinite) {
  arma::Mat<double> P = {{1.0, 2.0}, {2.0, 1.0}};
  arma::Col<double> work(6);
  EXPECT_THROW(invert_symmetric(P.memptr(), 2, P.memptr(), work.memptr()), numeric_error);
  EXPECT_FALSE(reverse_cholesky(P.memptr(), 2));
  arma::Mat<double> nan(1, 1, arma::fill::value(NAN));
  EXPECT_FALSE(reverse_cholesky(nan.memptr(), 1));
}

TEST(Design, ReadsPlainAndComputedColumnsAtTheUnits) {
  World world(2, unbalanced, 71);
  columns c({0, 6}, {computed("#DATA(6)*2+#DATA(0)")}, {});
  c.refresh(world.data, &world.first_rows[1]);
  ASSERT_EQ(c.values().n_rows, world.first_rows[1].n_elem);
  EXPECT_TRUE(c.all_static());
  for (arma::uword i = 0; i < c.values().n_rows; ++i) {
    const double x = world.data(world.first_rows[1](i), 6);
    EXPECT_EQ(c.values()(i, 1), x);
    EXPECT_NEAR(c.values()(i, 2), 2 * x + 1, 1e-14);
  }
}

TEST(Design, ReadsOnlyMutableColumnsAgain) {
  World world(1, {{10}}, 72);
  std::vector<bool> written(9, false);
  written[3] = true;
  columns c({2, 3}, {computed("#DATA(2)*#DATA(4)"), computed("log(abs(#DATA(3)))")}, written);
  EXPECT_EQ(c.dynamic(), (std::vector<arma::uword>{1, 3}));
  c.refresh(world.data, nullptr);
  const arma::Mat<double> first = c.values();
  world.data.col(2) += 1.0;
  world.data.col(3) += 1.0;
  c.refresh(world.data, nullptr);
  EXPECT_EQ(c.values()(0, 0), first(0, 0));
  EXPECT_EQ(c.values()(0, 1), first(0, 1) + 1.0);
  EXPECT_EQ(c.values()(0, 2), first(0, 2));
  EXPECT_NE(c.values()(0, 3), first(0, 3));
  arma::Col<double> scratch;
  EXPECT_EQ(c.at(0, world.data, nullptr, scratch)[0], first(0, 0));
  world.data(0, 3) = 55.0;
  EXPECT_EQ(c.at(1, world.data, nullptr, scratch)[0], 55.0);
}

TEST(Design, ParametersAndRandomNumbersMakeAColumnMutable) {
  const std::vector<bool> none(5, false);
  EXPECT_FALSE(is_mutable(*computed("#DATA(1)+exp(#DATA(2))").node, none));
  EXPECT_TRUE(is_mutable(*computed("#DATA(1)*#VAR(0)").node, none));
  EXPECT_TRUE(is_mutable(*computed("#DATA(1)+normal(0,1)").node, none));
  std::vector<bool> written = none;
  written[2] = true;
  EXPECT_TRUE(is_mutable(*computed("ifelse(#DATA(1)>0,1,#DATA(2))").node, written));
  EXPECT_FALSE(is_mutable(*computed("ifelse(#DATA(1)>0,1,#DATA(3))").node, written));
  EXPECT_THROW(columns({}, {compute()}, none), error_debug);
}

TEST(RowScale, ThreeFormsOneAnswer) {
  const arma::Col<double> clusters = {1.0, 4.0};
  const arma::Col<arma::uword> of = {0, 0, 1};
  const row_scale per_cluster = row_scale::per_cluster(clusters, of);
  EXPECT_EQ(per_cluster.precision(2), 4.0);
  EXPECT_EQ(per_cluster.variance(2), 0.25);
  EXPECT_EQ(per_cluster.sd(2), 0.5);
  EXPECT_FALSE(per_cluster.is_one());
  const row_scale per_row = row_scale::per_row(clusters);
  EXPECT_EQ(per_row.precision(1), 4.0);
  EXPECT_EQ(per_row.kind(), row_scale::form::per_row);
  const row_scale one(3.0);
  EXPECT_TRUE(one.is_one());
  EXPECT_EQ(one.value(), 3.0);
  EXPECT_EQ(one.variance(7), 3.0);
  EXPECT_EQ(one.precision(7), 1.0 / 3.0);
  EXPECT_EQ(one.kind(), row_scale::form::one);
}

TEST(CrossProducts, FollowMutableColumnsAndWeights) {
  World world(2, unbalanced, 73);
  const auto structure = world.clusters(0);
  const auto& clusters = *structure.selectors[0];
  std::vector<bool> written(9, false);
  written[3] = true;
  columns c({0, 3, 2}, {}, written);
  gram G;
  cluster_products A;
  auto check = [&](const row_scale& scale) {
    c.refresh(world.data, nullptr);
    G.refresh(c, scale);
    A.refresh(c, clusters, scale);
    arma::Mat<double> const X = c.values();
    arma::Mat<double> W = arma::eye(X.n_rows, X.n_rows);
    if (!scale.is_one())
      for (arma::uword i = 0; i < X.n_rows; ++i) W(i, i) = scale.precision(i);
    EXPECT_LT(arma::abs(G.values() - X.t() * W * X).max(), 1e-10);
    for (arma::uword k = 0; k < clusters.size(); ++k) {
      arma::uvec const rows = clusters[k];
      arma::Mat<double> const S = X.rows(rows).t() * W(rows, rows) * X.rows(rows);
      for (arma::uword j = 0; j < 3; ++j)
        for (arma::uword i = 0; i <= j; ++i)
          EXPECT_NEAR(A.values()(k, cluster_products::packed(i, j)), S(i, j), 1e-10);
    }
  };
  check(row_scale());
  const unsigned version = G.version();
  world.data.col(3) += 0.3;
  check(row_scale());
  EXPECT_NE(G.version(), version);
  const arma::Col<double> precisions = arma::linspace(0.5, 2.0, world.data.n_rows);
  check(row_scale::per_row(precisions));
  check(row_scale());
}

TEST(CrossProducts, StaticColumnsKeepTheirFactor) {
  World world(1, {{20}}, 74);
  columns c({0, 2}, {}, {});
  c.refresh(world.data, nullptr);
  gram G;
  G.refresh(c);
  const unsigned version = G.version();
  G.refresh(c);
  EXPECT_EQ(G.version(), version);
}

// The sums of squares by products against a pass over the rows.
TEST(StaticProducts, AgreeWithARowPassAndTellOfCancellation) {
  World world(2, unbalanced, 75);
  simulate_outcome(world, 0, 1.0, 75);
  const auto structure = world.clusters(0);
  columns x({0, 2, 3}, {}, {}), z({0, 2}, {}, {});
  x.refresh(world.data, nullptr);
  z.refresh(world.data, nullptr);
  gram G;
  G.refresh(x);
  cluster_products A;
  A.refresh(z, *structure.selectors[0]);
  coefficient_step step({0, 1, 2}, {});
  step.factor(G.values(), x.values().n_rows);
  const arma::Col<double> y = world.data.col(1);
  arma::Mat<double> b(3, 1, arma::fill::zeros);
  static_products products;
  EXPECT_FALSE(products.built());
  products.build(x.values(), G, step, y, 1.0, b.memptr(), &z.values(), structure.selectors[0], &A);
  EXPECT_TRUE(products.built());
  Random rng(5, 1U);
  const arma::Mat<double> u = rng.randn(static_cast<int>(structure.n_clusters(0)), 2);
  products.draw_coefficients(step, 1.0, &u, rng, b.memptr());
  products.effect_sums();
  arma::Col<double> r = y - x.values() * b;
  arma::Mat<double> t;
  cluster_sums(z.values(), r.memptr(), *structure.selectors[0], row_scale(), t);
  EXPECT_LT(arma::abs(products.effect_sums() - t).max(), 1e-10);
  subtract_effects(z.values(), u, *structure.selectors[0], r.memptr());
  EXPECT_NEAR(products.sum_of_squares(&u), arma::dot(r, r), 1e-9);

  // An outcome that the model fits exactly leaves only rounding.
  arma::Col<double> exact = x.values() * b;
  subtract_effects(z.values(), arma::Mat<double>(-u), *structure.selectors[0], exact.memptr());
  products.build(x.values(), G, step, exact, 1.0, b.memptr(), &z.values(), structure.selectors[0], &A);
  products.condition_on(b.memptr());
  products.effect_sums();
  EXPECT_TRUE(std::isnan(products.sum_of_squares(&u)));
}

TEST(Coefficients, FixedOnesEnterTheMean) {
  World world(1, {{40}}, 76);
  simulate_outcome(world, 0, 1.0, 76);
  columns x({0, 2, 3, 4}, {}, {});
  x.refresh(world.data, nullptr);
  gram G;
  G.refresh(x);
  coefficient_step step({0, 2}, {1, 3});
  step.factor(G.values(), 40);
  const arma::Col<double> h = x.values().t() * world.data.col(1);
  arma::Col<double> b = {9.0, 0.5, 9.0, -0.7};
  step.mean(G.values(), h.memptr(), 1.0, b.memptr());
  const arma::Col<double> r = world.data.col(1) - 0.5 * world.data.col(2) + 0.7 * world.data.col(4);
  const arma::Col<double> expected = arma::solve(x.values().cols(arma::uvec{0, 2}), r);
  EXPECT_NEAR(b(0), expected(0), 1e-10);
  EXPECT_NEAR(b(2), expected(1), 1e-10);
  EXPECT_EQ(b(1), 0.5);
}

TEST(Coefficients, NoneToDrawTakesNoRandomNumber) {
  coefficient_step step({}, {0});
  step.factor(arma::Mat<double>(1, 1, arma::fill::ones), 10);
  Random rng(5, 1U), same(5, 1U);
  const double h = 1.0;
  double b = 3.0;
  step.draw(arma::Mat<double>(1, 1, arma::fill::ones), &h, 1.0, rng, &b);
  EXPECT_EQ(b, 3.0);
  EXPECT_EQ(rng.output(), same.output());
}

TEST(VarianceShares, AreComputedAboutTheMeans) {
  World world(1, {{30}}, 77);
  world.data.col(2) += 1e7;
  std::vector<bool> written(9, false);
  written[3] = true;
  columns x({0, 2, 3}, {}, written);
  column_moments moments;
  for (int round = 0; round < 2; ++round) {
    x.refresh(world.data, nullptr);
    moments.refresh(x);
    EXPECT_LT(arma::abs(moments.covariance - arma::cov(world.data.cols(arma::uvec{0, 2, 3}))).max(), 1e-7);
    EXPECT_NEAR(moments.mean(2), arma::mean(world.data.col(3)), 1e-12);
    world.data.col(3) = world.data.col(3) % world.data.col(4);
  }
  const double b[] = {5.0, 0.3, -2.0};
  const arma::Mat<double> C = arma::cov(arma::Mat<double>(x.values()));
  EXPECT_NEAR(fixed_variance(moments, b, 1), 0.09 * C(1, 1) + 4 * C(2, 2) - 1.2 * C(1, 2), 1e-6);
}

TEST(Scan, OneEffectMatchesTheGeneralAlgebra) {
  // q = 1, 2 have code of their own: three terms with the third (then also the second) switched off by a huge
  // precision give the same effects.
  World world(2, unbalanced, 78);
  arma::uword const C = 9;
  Random rng(4);
  const arma::Mat<double> A6 = arma::abs(rng.randn(static_cast<int>(C), 6)) * 0.1 +
                               arma::repmat(arma::Row<double>{3, 0, 3, 0, 0, 3}, C, 1);
  const arma::Mat<double> t = rng.randn(static_cast<int>(C), 3);
  arma::Mat<double> S3 = {{1.2, 0.4, 0}, {0.4, 0.9, 0}, {0, 0, 1e18}};
  random_effects_step step;
  arma::Mat<double> u3(C, 3), u2(C, 2);
  Random first(6, 1U), second(6, 1U);
  // The third term's normals stand between those of the clusters: compare cluster by cluster.
  for (arma::uword c = 0; c < C; ++c) {
    arma::Mat<double> one3(1, 3), one2(1, 2);
    Random r3 = first, r2 = first;
    step.draw(A6.row(c), t.row(c), 0.8, S3, nullptr, r3, one3);
    step.draw(A6(arma::span(c), arma::span(0, 2)), t(arma::span(c), arma::span(0, 1)), 0.8,
              S3.submat(0, 0, 1, 1), nullptr, r2, one2);
    EXPECT_NEAR(one3(0, 0), one2(0, 0), 1e-8);
    EXPECT_NEAR(one3(0, 1), one2(0, 1), 1e-8);
    first.output();
    first.normal.reset();
  }
}

TEST(Scan, RefusesAnIndefinitePrecision) {
  random_effects_step step;
  Random rng(6, 1U);
  for (arma::uword q : {1, 2, 3}) {
    const arma::Mat<double> A(1, q * (q + 1) / 2, arma::fill::zeros), t(1, q, arma::fill::zeros);
    const arma::Mat<double> S = -arma::eye(q, q);
    arma::Mat<double> u(1, q);
    EXPECT_THROW(step.draw(A, t, 1.0, S, nullptr, rng, u), numeric_error);
  }
}

TEST(Marginal, RefusesAnIndefiniteCovariance) {
  World world(2, unbalanced, 79);
  const arma::Col<double> r(world.data.n_rows, arma::fill::ones);
  EXPECT_THROW(
      marginal_log_likelihood(r, {world.data.cols(0, 0)}, {arma::Mat<double>(1, 1, arma::fill::value(-1.0))},
                              1.0, world.clusters(0)),
      numeric_error);
}

}  // namespace
}  // namespace tovik::tests::scan_test
