// Blocks of outcomes whose variances have models: scans of members and block leave the joint distribution of
// parameters and data unchanged, and the block alone has the posterior of a grid.

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "invariance_frame.hpp"
#include "sample_tests.hpp"
#include "scan_world.hpp"
#include "sem/autosolver/solver.hpp"
#include "sem/outcomes/block_member.hpp"
#include "sem/outcomes/multi_scale.hpp"
#include "sem/outcomes/scaled.hpp"
#include "threshold_posterior.hpp"

namespace tovik::tests::multi_scale_kernel_test {
namespace {

using sem::equation_setup;
using sem::LogScale;
using sem::MultiScale;
using sem::NormalScale;

constexpr int replications = 16000;
constexpr int applications = 6;
constexpr double log_prior_variance = 0.3, known_variance = 0.7;

/// Outcomes in columns 1, 9 and 10: the variances of the first two have models on column 3 and 4, that of the
/// third is known.
struct Block {
  World world;
  LoneEstimator estimator;
  Random rng;
  std::vector<equation_setup> setups;
  std::vector<std::shared_ptr<LogScale>> scales;
  std::vector<std::shared_ptr<sem::Regression>> members;
  std::shared_ptr<MultiScale> block;
  arma::Mat<double> R;
  bool first_is_read = false, first_is_solved = false, first_is_factor = false;
  const Setting<bool> check{sem::Regression::check_residuals, true};

  Block(unsigned levels, const nesting& sizes, std::uint32_t seed)
      : world(levels, sizes, seed), estimator(seed), rng(seed, 3U) {
    world.data.insert_cols(9, 2);
    for (unsigned k = 0; k < 3; ++k) {
      setups.push_back(world.setup(0, {0, 2}));
      equation_setup& setup = setups.back();
      setup.y = column(k);
      let_move(setup, world, {1, 9, 10});
      setup.prior = {1, 1};
      setup.coefficients = sem::scan::coefficient_prior::ridge(1.0);
    }
    setups[2].estimate_resid = false;
    setups[2].resid_value = known_variance;
  }
  static arma::uword column(unsigned k) { return k == 0 ? 1 : 8 + k; }

  void build() {
    members.clear();
    scales.clear();
    for (unsigned k = 0; k < 2; ++k) {
      equation_setup of_scale = world.setup(0, {0, 3 + k});
      of_scale.coefficients = sem::scan::coefficient_prior::ridge(log_prior_variance);
      scales.push_back(std::make_shared<LogScale>(&estimator, of_scale));
      if (k == 0 && first_is_factor)
        members.push_back(std::make_shared<sem::FactorScale>(&estimator, data::type::latent,
                                                             sem::Factor::without_values(setups[k])));
      else
        members.push_back(std::make_shared<NormalScale>(&estimator, data::type::continuous, setups[k]));
    }
    members.push_back(std::make_shared<sem::MultiNormal>(&estimator, data::type::continuous, setups[2]));
    sem::block_setup setup;
    for (const auto& member : members) setup.members.push_back(member.get());
    setup.prior = {1, 1};
    setup.correlations.eye(3, 3);
    setup.elements.zeros(3, 3);
    setup.known_variances = {1, 1, 1};
    block = std::make_shared<MultiScale>(&estimator, setup);
    block->register_ptrs();
    for (unsigned k = 0; k < 2; ++k) block->addLogScale(scales[k].get(), k);
    dynamic_cast<sem::Normal&>(*members[2]).sigma2 = known_variance;
    block->start();
    if (first_is_solved) solve();
    if (!first_is_read) return;
    members[0]->addLL(contributions(members), sem::likelihood_type::imputed);
  }
  /// The second outcome reads the first in its last term.
  void solve() {
    auto solver = std::make_shared<sem::autosolver::solver<sem::autosolver::normal>>();
    solver->rng = &estimator.random;
    solver->units = std::make_shared<const arma::uvec>(members[0]->missing_rows);
    const auto reads = sem::autosolver::solution::constant(static_cast<unsigned>(setups[1].x.n_elem) - 1,
                                                           static_cast<unsigned>(column(0)));
    solver->functions = {
        block->distributionFunc({{members[0].get(), {}}, {members[1].get(), reads}}, 0, *solver->units)};
    members[0]->addDist(solver, sem::distribution_type::fixed);
  }
  /// Uniform among the correlation matrices.
  void draw_correlations() {
    arma::Mat<double> root;
    do {
      R.eye(3, 3);
      for (arma::uword j = 0; j < 3; ++j)
        for (arma::uword i = j + 1; i < 3; ++i) R(i, j) = R(j, i) = 2.0 * rng.runif() - 1.0;
    } while (!arma::chol(root, R));
  }
  void draw_joint() {
    draw_correlations();
    const arma::Col<double> unit = {1.0, 1.0, std::sqrt(known_variance)};
    set_matrix(R % (unit * unit.t()));
    const arma::uword n = world.data.n_rows;
    arma::Mat<double> e(n, 3);
    for (double& z : e) z = rng.rnorm();
    e = e * arma::chol(R);
    for (unsigned k = 0; k < 3; ++k) {
      sem::Regression& member = *members[k];
      for (double& b : member.betas_) b = rng.rnorm();
      if (member.n_levels > 0 && member.u[0].n_cols == 1) {
        member.iSigma[0](0, 0) = rng.rgamma(1.0, 2.0);
        member.Sigma[0](0, 0) = 1.0 / member.iSigma[0](0, 0);
        for (double& u : member.u[0]) u = std::sqrt(member.Sigma[0](0, 0)) * rng.rnorm();
      }
      arma::Col<double> sd(n, arma::fill::value(std::sqrt(known_variance)));
      if (k < 2) {
        for (double& g : scales[k]->betas_) g = std::sqrt(log_prior_variance) * rng.rnorm();
        sd = arma::sqrt(scales[k]->variances(world.data));
      }
      world.data.col(column(k)) = member.compute_predicted(world.data) + sd % e.col(k);
    }
    block->forget_residuals();
  }
  /// Sigma as the block draws it.
  void set_matrix(const arma::Mat<double>& Sigma) {
    for (unsigned j = 0; j < 3; ++j)
      for (unsigned i = j + 1; i < 3; ++i) {
        const auto handle = block->constraint(sem::parameter_type::phantom_correlation, j + 3 * i, 0);
        handle->write(0.0);
      }
    for (unsigned j = 0; j < 3; ++j)
      for (unsigned i = j + 1; i < 3; ++i)
        block->constraint(sem::parameter_type::phantom_correlation, j + 3 * i, 0)
            ->write(Sigma(i, j) / std::sqrt(Sigma(i, i) * Sigma(j, j)));
  }
  void scan() {
    for (const auto& member : members) member->draw(world.data);
    block->draw(world.data);
  }
  std::vector<double> functions() const {
    const arma::Mat<double>& C = block->correlations();
    std::vector<double> out = {C(1, 0), C(2, 0), C(2, 1), arma::det(C)};
    for (unsigned k = 0; k < 3; ++k) {
      const arma::Mat<double>& b = members[k]->betas();
      const arma::Col<double> e = members[k]->compute_residual(world.data);
      out.insert(out.end(), {b(0), b(1), b(0) * world.data(0, column(k)), e(0) * C(1, 0)});
      if (k < 2) {
        const arma::Mat<double>& g = scales[k]->betas();
        const arma::Col<double> v = scales[k]->variances(world.data);
        out.insert(out.end(), {g(0), g(1), std::log(arma::accu(e % e / v)), g(1) * std::log(std::fabs(e(4))),
                               g(0) + std::log(std::fabs(e(5)))});
      }
      if (members[k]->n_levels > 0 && members[k]->u[0].n_cols > 0)
        out.insert(out.end(), {members[k]->u[0](0, 0), std::log(members[k]->Sigma[0](0, 0)),
                               members[k]->u[0](0, 0) * world.data(0, column(k))});
    }
    const arma::Col<double> e0 = members[0]->compute_residual(world.data),
                            e1 = members[1]->compute_residual(world.data);
    out.insert(out.end(),
               {e0(0) * e1(0), C(1, 0) * e0(3) * e1(3), scales[0]->betas()(1) * scales[1]->betas()(1),
                arma::accu(block->logLiklihood(world.data, 0))});
    return out;
  }
  void scans_leave_joint() {
    build();
    world_leaves_joint(*this, {replications, applications});
  }
};

TEST(MultiScaleKernel, MembersWithMissingValues) {
  Block block(1, {{14}}, 750);
  block.setups[0].missing_units = {0, 3, 7};
  block.setups[2].missing_units = {3, 5};
  block.scans_leave_joint();
}

TEST(MultiScaleKernel, MembersWithRandomIntercepts) {
  Block block(2, {{5, 1, 4}, {3, 2}}, 751);
  for (equation_setup& setup : block.setups) {
    setup.z[0] = {0};
    setup.icept = {1};
  }
  block.setups[1].missing_units = {1, 6};
  block.scans_leave_joint();
}

TEST(MultiScaleKernel, MissingValuesThatAnotherMemberReads) {
  Block block(1, {{12}}, 752);
  block.setups[0].missing_units = {0, 3, 7};
  block.setups[1].x = {0, 1};
  block.first_is_read = true;
  block.scans_leave_joint();
}

TEST(MultiScaleKernel, MissingValuesThatAnotherMemberReadsSolved) {
  Block block(1, {{12}}, 755);
  block.setups[0].missing_units = {0, 3, 7};
  block.setups[1].x = {0, 1};
  block.first_is_solved = true;
  block.scans_leave_joint();
}

void factor_that_is_read(bool solved, std::uint32_t seed) {
  Block block(1, {{12}}, seed);
  block.setups[1].x = {0, 1};
  block.first_is_factor = true;
  (solved ? block.first_is_solved : block.first_is_read) = true;
  block.scans_leave_joint();
}

TEST(MultiScaleKernel, AFactorThatAnotherMemberReads) {
  factor_that_is_read(false, 756);
}

TEST(MultiScaleKernel, AFactorThatAnotherMemberReadsSolved) {
  factor_that_is_read(true, 758);
}

TEST(MultiScaleKernel, AFactorWithRandomIntercepts) {
  Block block(2, {{5, 1, 4}, {3, 2}}, 757);
  block.setups[0].z[0] = {0};
  block.setups[0].icept = {1};
  block.first_is_factor = true;
  block.scans_leave_joint();
}

// With known g the block has a variance and a correlation, both with a flat prior: their density stands on a
// grid.
TEST(MultiScaleKernel, AFreeVarianceBesideAVarianceModel) {
  World world(1, {{20}}, 753);
  simulate_outcome(world, 0, 1.0, 753);
  world.data.insert_cols(9, 0.6 * world.data.col(1) + 0.8 * world.data.col(4));
  LoneEstimator estimator(754);
  equation_setup of_scale = world.setup(0, {0, 3});
  of_scale.fixed = {0, 1};
  of_scale.fixed_values = {0.8, 0.5};
  LogScale scale(&estimator, of_scale);
  equation_setup first = world.setup(0, {0}), second = first;
  second.y = 9;
  for (equation_setup* setup : {&first, &second}) {
    setup->fixed = {0};
    setup->fixed_values = {1.0};
  }
  auto a = std::make_shared<NormalScale>(&estimator, data::type::continuous, first);
  auto b = std::make_shared<sem::MultiNormal>(&estimator, data::type::continuous, second);
  sem::block_setup setup;
  setup.members = {a.get(), b.get()};
  setup.correlations.eye(2, 2);
  setup.elements.zeros(2, 2);
  setup.known_variances = {1, 0};
  auto block = std::make_shared<MultiScale>(&estimator, setup);
  block->register_ptrs();
  block->addLogScale(&scale, 0);
  block->start();
  const arma::Col<double> e = a->compute_residual(world.data) / arma::sqrt(scale.variances(world.data)),
                          f = b->compute_residual(world.data);
  const double ee = arma::dot(e, e), ef = arma::dot(e, f), ff = arma::dot(f, f), top = ff / 20.0;
  const int n = 400;
  arma::Mat<double> log_density(n, n);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) {
      const double v = (i + 0.5) * 8.0 * top / n, rho = -1.0 + (j + 0.5) * 2.0 / n, left = 1.0 - rho * rho;
      log_density(static_cast<arma::uword>(i), static_cast<arma::uword>(j)) =
          -10.0 * std::log(v * left) - 0.5 * (ee - 2.0 * rho * ef / std::sqrt(v) + ff / v) / left;
    }
  const arma::Mat<double> density = arma::exp(log_density - log_density.max());
  const GridCdf of_variance(0.0, 8.0 * top / n, arma::sum(density, 1)),
      of_correlation(-1.0, 2.0 / n, arma::sum(density, 0).t());
  std::vector<double> variance, correlation;
  for (int i = 0; i < 8000; ++i) {
    for (int thin = 0; thin < 15; ++thin) block->draw(world.data);
    variance.push_back(block->covariance()(1, 1));
    correlation.push_back(block->correlations()(1, 0));
    if (i == 2000)
      for (int k = 0; k < 3; ++k) block->tune();
  }
  EXPECT_LT(kolmogorov(variance, of_variance), 2.5);
  EXPECT_LT(kolmogorov(correlation, of_correlation), 2.5);
  // What is reported are means over the units.
  const arma::Col<double> v = scale.variances(world.data), rows = block->params(world.data);
  EXPECT_NEAR(rows(0), arma::mean(v), 1e-10);
  EXPECT_NEAR(rows(1), block->covariance()(1, 0) * arma::mean(arma::sqrt(v)), 1e-10);
  EXPECT_NEAR(rows(3), std::sqrt(arma::mean(v)), 1e-10);
  EXPECT_NEAR(rows(4), correlation.back(), 1e-12);
}

}  // namespace
}  // namespace tovik::tests::multi_scale_kernel_test
