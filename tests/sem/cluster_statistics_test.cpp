// Log likelihoods from sums within clusters against those from the units.

#include "sem/scan/cluster_statistics.hpp"

#include <gtest/gtest.h>

#include "random/densities.hpp"
#include "scan_world.hpp"
#include "sem/scan/marginal.hpp"
#include "support/error.hpp"

namespace tovik::tests::cluster_statistics_test {
namespace {

using sem::scan::cluster_statistics;

struct Equation {
  World world;
  sem::estimator::cluster structure;
  arma::mat X;
  arma::vec y, b;
  std::vector<arma::mat> z, u, Sigma;

  Equation(unsigned levels, const std::vector<arma::uword>& q, std::uint32_t seed)
      : world(levels, {{40, 55}, {60}, {35, 50, 45}}, seed), structure(world.clusters(0)) {
    Random rng(seed, 9);
    X = world.data.cols(arma::uvec{0, 2, 3});
    y = X * arma::vec{1.0, 0.5, -0.2} + rng.randn(static_cast<int>(X.n_rows), 1);
    b = {1.3, 0.4, -0.1};
    for (std::size_t L = 0; L < q.size(); ++L) {
      z.push_back(world.data.cols(arma::uvec{0, 2, 4}.head(q[L])));
      u.push_back(0.5 * rng.randn(static_cast<int>(structure.n_clusters(static_cast<int>(L))),
                                  static_cast<int>(q[L])));
      const arma::mat root = rng.randn(static_cast<int>(q[L]) + 3, static_cast<int>(q[L]));
      Sigma.push_back(root.t() * root);
    }
  }

  cluster_statistics sums() const {
    std::vector<const arma::mat*> columns;
    for (const arma::mat& level : z) columns.push_back(&level);
    cluster_statistics out;
    out.build(X, y, arma::solve(X, y), columns, structure);
    return out;
  }

  arma::vec conditional(double v, unsigned above) const {
    arma::vec r = y - X * b;
    for (std::size_t L = 0; L < z.size(); ++L)
      for (arma::uword i = 0; i < r.n_elem; ++i)
        r(i) -= arma::dot(z[L].row(i), u[L].row((*structure.row_cluster[L])(i)));
    const arma::vec each = logNormPDF(r, v);
    arma::vec out(structure.n_clusters(static_cast<int>(above) - 1), arma::fill::zeros);
    for (arma::uword i = 0; i < r.n_elem; ++i) out((*structure.row_cluster[above - 1])(i)) += each(i);
    return out;
  }
};

void expect_agreement(unsigned levels, const std::vector<arma::uword>& q) {
  Equation equation(levels, q, 17);
  cluster_statistics sums = equation.sums();
  ASSERT_TRUE(sums.built());
  for (double v : {0.4, 1.7}) {
    equation.b(1) += 0.2;
    for (unsigned above = 1; above < levels; ++above) {
      arma::vec found;
      ASSERT_TRUE(sums.conditional(equation.b.memptr(), equation.u, v, above, found));
      EXPECT_TRUE(arma::approx_equal(found, equation.conditional(v, above), "reldiff", 1e-10));
    }
    arma::vec found;
    ASSERT_TRUE(sums.marginal(equation.b.memptr(), equation.Sigma, v, found));
    const arma::vec wanted = sem::scan::marginal_log_likelihood(
        equation.y - equation.X * equation.b, equation.z, equation.Sigma, v, equation.structure);
    EXPECT_TRUE(arma::approx_equal(found, wanted, "reldiff", 1e-10));
  }
}

TEST(ClusterStatistics, OneLevel) {
  for (arma::uword q : {1, 2, 3}) expect_agreement(2, {q});
}

TEST(ClusterStatistics, TwoLevels) {
  expect_agreement(3, {1, 1});
  expect_agreement(3, {2, 1});
  expect_agreement(3, {0, 2});
  expect_agreement(3, {1, 0});
}

TEST(ClusterStatistics, KeepNothingThatIsLargerThanTheDesign) {
  Equation equation(2, {3}, 18);
  const World many(2, nesting(60, {2, 3}), 4);
  equation.structure = many.clusters(0);
  equation.X = many.data.cols(0, 2);
  equation.y = many.data.col(3);
  equation.z = {many.data.cols(0, 1)};
  EXPECT_FALSE(equation.sums().built());
}

TEST(ClusterStatistics, GiveWayWhereRoundingWouldShow) {
  Equation equation(2, {1}, 19);
  cluster_statistics sums = equation.sums();
  equation.b(0) += 1e4;  // squares of 1e10 against a variance of 1e-3
  arma::vec out;
  EXPECT_FALSE(sums.marginal(equation.b.memptr(), equation.Sigma, 1e-3, out));
  EXPECT_FALSE(sums.conditional(equation.b.memptr(), equation.u, 1e-3, 1, out));
}

TEST(ClusterStatistics, RefuseAnIndefiniteCovariance) {
  for (arma::uword q : {1, 2, 3}) {
    Equation equation(2, {q}, 20);
    cluster_statistics sums = equation.sums();
    equation.Sigma[0] = -arma::eye(q, q);
    arma::vec out;
    EXPECT_THROW(sums.marginal(equation.b.memptr(), equation.Sigma, 1.0, out), numeric_error);
  }
}

}  // namespace
}  // namespace tovik::tests::cluster_statistics_test
