// Moves of the scores of a factor whose residuals, or those of its indicators, are correlated with others'
// leave the joint distribution of scores, parameters, covariance matrices and indicators unchanged.

#include <gtest/gtest.h>

#include <cmath>

#include "block_world.hpp"
#include "invariance_frame.hpp"
#include "sem/ensemble/factor_moves.hpp"

namespace tovik::tests::factor_moves_block_kernel_test {
namespace {

/// f and two or three indicators: the first with a known loading, the second with a known intercept, the
/// third with neither; what is not known has a normal prior. Two blocks: the factor with the first indicator,
/// or with an outcome of its own level that does not measure it; the other indicators.
struct CorrelatedIndicators {
  static constexpr arma::uword column = 9;
  World world;
  LoneEstimator estimator;
  Random rng{718, 2U};
  std::vector<std::shared_ptr<sem::Normal>> models;  ///< factor, then indicators, then the other outcome
  std::vector<std::shared_ptr<sem::Multi>> blocks;
  std::vector<block_prior> priors;
  std::unique_ptr<sem::factor_moves> moves;
  bool variance_moves, correlation_moves;  ///< of the factor

  /// `elements`: of the block that holds the factor; `variance`: NaN where it is drawn.
  CorrelatedIndicators(unsigned level, unsigned char elements, double correlation, double variance)
      : world(level + 1, level == 0 ? nesting{{7}} : nesting{{3, 1, 4}, {2, 3}}, 717),
        estimator(717),
        variance_moves(std::isnan(variance)),
        correlation_moves(elements == sem::block_setup::drawn) {
    world.data.insert_cols(column, 4);
    models.push_back(std::make_shared<sem::MultiFactor>(
        &estimator, data::type::latent, sem::Factor::without_values(setup(column, level, {0}, {0}, {0.0}))));
    add(setup(1, 0, {0, column}, {1}, {0.8}));
    add(setup(10, 0, {0, column}, {0}, {0.3}));
    add(setup(11, 0, {0, column}, {}, {}));
    if (level > 0) add(setup(12, level, {0}, {}, {}));
    add_block({models[0], level > 0 ? models[4] : models[1]}, elements, correlation, variance);
    if (level > 0)
      add_block({models[1], models[2], models[3]}, 0, 0.0, arma::datum::nan);
    else
      add_block({models[2], models[3]}, 0, 0.0, arma::datum::nan);
    std::vector<sem::factor_moves::reader> readers;
    for (std::size_t k = 1; k < 4; ++k) readers.push_back({models[k].get(), 1});
    EXPECT_TRUE(sem::factor_moves::suits(*models[0], readers));
    moves = std::make_unique<sem::factor_moves>(*models[0], readers);
  }

  sem::equation_setup setup(arma::uword y, unsigned level, const arma::uvec& x, const arma::uvec& fixed,
                            const arma::vec& values) const {
    sem::equation_setup out = world.setup(level, x);
    out.y = y;
    out.fixed = fixed;
    out.fixed_values = values;
    out.prior = {1, 1};
    if (y != column) out.coefficients = sem::scan::coefficient_prior::ridge(y == 11 ? 1.0 : 0.5);
    out.mutable_columns.assign(world.data.n_cols, false);
    for (arma::uword j : {1u, 9u, 10u, 11u, 12u}) out.mutable_columns[j] = true;
    return out;
  }
  void add(const sem::equation_setup& equation) {
    models.push_back(std::make_shared<sem::MultiNormal>(&estimator, data::type::continuous, equation));
  }
  void add_block(const std::vector<std::shared_ptr<sem::Normal>>& members, unsigned char elements,
                 double correlation, double variance) {
    sem::block_setup out;
    for (const auto& member : members) out.members.push_back(member.get());
    arma::uword const p = members.size();
    out.prior = {1, 1};
    out.correlations.eye(p, p);
    out.correlations(0, 1) = out.correlations(1, 0) = correlation;
    out.elements.zeros(p, p);
    out.elements(0, 1) = out.elements(1, 0) = elements;
    out.known_variances.zeros(p);
    arma::vec known(p);
    known.fill(arma::datum::nan);
    known(0) = variance;
    out.known_variances(0) = std::isnan(variance) ? 0 : 1;
    if (out.known_variances(0) != 0 || elements != 0)
      blocks.push_back(std::make_shared<sem::MultiStruct>(&estimator, out));
    else
      blocks.push_back(std::make_shared<sem::MultiUnstruct>(&estimator, out));
    blocks.back()->register_ptrs();
    priors.emplace_back(out.correlations, out.elements, known);
  }

  void draw_joint() {
    std::vector<arma::vec> residuals(models.size());
    for (std::size_t b = 0; b < blocks.size(); ++b) {
      const arma::mat Sigma = priors[b].draw(rng);
      arma::vec v(blocks[b]->n_params());
      arma::uword at = 0;
      for (arma::uword j = 0; j < Sigma.n_cols; ++j)
        for (arma::uword i = j; i < Sigma.n_rows; ++i) v(at++) = Sigma(i, j);
      blocks[b]->addStarts(v);
      const auto n = static_cast<int>(blocks[b]->members().front()->n_units);
      const arma::mat e = rng.randn(n, static_cast<int>(Sigma.n_cols)) * arma::chol(Sigma);
      for (std::size_t m = 0; m < models.size(); ++m)
        if (models[m]->link == blocks[b]) residuals[m] = e.col(blocks[b]->position_of(*models[m]));
    }
    for (std::size_t m = 0; m < models.size(); ++m) {
      sem::Normal& y = *models[m];
      for (arma::uword j : y.free) y.betas_(j) = std::sqrt(y.coefficient_variance(j)) * rng.rnorm();
      const arma::vec values = y.compute_predicted(world.data) + residuals[m];
      for (arma::uword i = 0; i < world.data.n_rows; ++i)
        world.data(i, y.y(0)) = values(world.units[y.level](i));
    }
  }

  std::vector<double> functions() const {
    std::vector<double> out;
    for (const auto& block : blocks) {
      const arma::mat& S = block->covariance();
      const bool first = block == blocks.front();
      for (arma::uword j = 0; j < S.n_cols; ++j)
        if (!first || j > 0 || variance_moves) out.push_back(std::log(S(j, j)));
      if (!first || correlation_moves) out.push_back(block->correlations()(1, 0));
      arma::mat e(block->members().front()->n_units, S.n_cols);
      for (arma::uword j = 0; j < S.n_cols; ++j)
        e.col(j) = block->members()[j]->compute_residual(world.data) / std::sqrt(S(j, j));
      for (arma::uword j = 0; j < S.n_cols; ++j)
        out.insert(out.end(), {e(0, j), arma::accu(e.col(j)), std::log(arma::dot(e.col(j), e.col(j)))});
      out.push_back(arma::dot(e.col(0), e.col(1)));
    }
    const double f = world.data(0, column) / std::sqrt(blocks[0]->covariance()(0, 0));
    out.push_back(f);
    for (std::size_t m = 1; m < models.size(); ++m)
      for (arma::uword j : models[m]->free)
        out.insert(out.end(), {models[m]->betas_(j), models[m]->betas_(j) * f});
    return out;
  }

  void expect_invariant() {
    double moved = 0.0, before = 0.0;
    constexpr int replications = 10000;
    kernel_leaves_joint(
        {.replications = replications,
         .applications = 4,
         .before = [&] { before = models[3]->betas_(1); },
         .after = [&] { moved += std::fabs(std::log(models[3]->betas_(1) / before)) > 0.05 ? 1.0 : 0.0; }},
        [&] { draw_joint(); }, [&] { return functions(); }, [&] { moves->draw(world.data, rng); });
    EXPECT_GT(moved, 0.5 * replications);
  }
};

constexpr unsigned char drawn = sem::block_setup::drawn, known = sem::block_setup::known;

TEST(FactorMovesInBlocks, OfAFactorWithAnIndicatorOfItsBlock) {
  CorrelatedIndicators w(0, drawn, 0.0, arma::datum::nan);
  w.expect_invariant();
}

TEST(FactorMovesInBlocks, OfAFactorWithAKnownVariance) {
  CorrelatedIndicators w(0, drawn, 0.0, 0.7);
  w.expect_invariant();
}

TEST(FactorMovesInBlocks, OfAFactorWithAKnownCorrelation) {
  CorrelatedIndicators w(0, known, 0.4, arma::datum::nan);
  w.expect_invariant();
}

TEST(FactorMovesInBlocks, OfAFactorOfClustersAndABlockOfIndicators) {
  CorrelatedIndicators w(1, drawn, 0.0, arma::datum::nan);
  w.expect_invariant();
}

}  // namespace
}  // namespace tovik::tests::factor_moves_block_kernel_test
