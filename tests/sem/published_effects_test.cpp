// Random effects that other equations read as variables: the random walk leaves the joint distribution of all
// equations unchanged.

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "data/variable.hpp"
#include "invariance_frame.hpp"
#include "prior_states.hpp"
#include "sample_tests.hpp"
#include "support/error.hpp"

namespace tovik::tests::published_effects_test {
namespace {

using sem::equation_setup;
using sem::Normal;

constexpr int replications = 12000;
constexpr int applications = 10;
constexpr arma::uword unnamed = data::variable::no_column;
constexpr double known_variance = 0.7;  ///< of the readers

const nesting small = {{5, 1, 3}, {3, 4}, {4, 2, 3, 1}};

/// An equation whose effects stand in columns 11 and 12 of the data, and equations that read them.
struct PublishedWorld {
  World world;
  LoneEstimator estimator;
  Random rng;
  equation_setup owner;
  arma::Col<arma::uword> columns;  ///< one for each effect
  std::vector<equation_setup> readers;
  std::vector<std::unique_ptr<Normal>> models;  ///< the owner first
  bool together = false;
  Setting<bool> check{Normal::check_residuals, true};

  PublishedWorld(unsigned levels, std::uint32_t seed)
      : world(levels, small, seed), estimator(seed), rng(seed, 2U) {
    world.data.insert_cols(9, 4);
    world.data.cols(9, 12).zeros();
    owner = equation(0, 1, {0, 2}, {});
    owner.estimate_resid = true;
  }

  equation_setup equation(unsigned level, arma::uword y, arma::Col<arma::uword> x,
                          std::vector<sem::estimator::compute> computed) {
    equation_setup setup = world.setup(level, std::move(x));
    setup.y = y;
    setup.x_compute = std::move(computed);
    setup.prior = {1, 1};
    arma::uword const k = setup.x.n_elem + setup.x_compute.size();
    hold_coefficients(setup, arma::Col<double>(k, arma::fill::value(0.6)));
    setup.estimate_resid = false;
    setup.resid_value = known_variance;
    let_move(setup, world, {11, 12});
    return setup;
  }

  void build() {
    models.clear();
    models.push_back(std::make_unique<Normal>(&estimator, owner));
    for (const auto& reader : readers) models.push_back(std::make_unique<Normal>(&estimator, reader));
    Normal& model = *models[0];
    model.addIndicator(columns, sem::indicator_type::random_effect);
    model.addLL(contributions(models), sem::likelihood_type::random_effect);
    for (unsigned L = 0; together && L < model.n_levels; ++L) {
      model.accept_together(L);
      model.re_tune[L].value = 0.4;
    }
  }

  void draw_joint() {
    Normal& model = *models[0];
    model.sigma2 = 1.0 / rng.rgamma(1.0, 2.0);
    draw_covariances_and_effects(model, rng);
    model.publish_effects(world.data);
    for (const auto& m : models) draw_normal(world, *m, rng);
  }

  void scan() {
    for (const auto& m : models) m->draw(world.data);
  }

  std::vector<double> functions() const {
    std::vector<double> out;
    for (const auto& m : models) {
      const arma::Mat<double> e = m->compute_residual(world.data);
      const double sd = std::sqrt(m->sigma2);
      out.insert(out.end(),
                 {arma::accu(e) / sd, e(0) / sd, std::log(arma::accu(arma::square(e)) / m->sigma2)});
    }
    const Normal& model = *models[0];
    out.push_back(std::log(model.sigma2));
    for (unsigned L = 0; L < model.n_levels; ++L) {
      const auto& u = model.u[L];
      if (u.n_cols == 0) continue;
      const double scale = std::sqrt(model.Sigma[L](0, 0));
      out.push_back(std::log(arma::det(model.Sigma[L])));
      out.push_back(std::log(model.Sigma[L](0, 0)));
      out.insert(out.end(), {u(0, 0) / scale, u(1, u.n_cols - 1), arma::accu(u.col(0)) / scale});
      out.push_back(std::log(arma::accu(u % (u * model.iSigma[L]))));
    }
    return out;
  }

  void scans_leave_joint() {
    proposal_count proposals;
    const auto count = [&] {
      for (const auto& tune : models[0]->re_tune) proposals.add(tune);
    };
    world_leaves_joint(*this, {.replications = replications,
                               .applications = applications,
                               .begin = [&] { build(); },
                               .after = count});
    const auto total = static_cast<double>(proposals.total),
               accepted = static_cast<double>(proposals.accepted);
    EXPECT_GT(accepted, 0.05 * total);
    EXPECT_LT(accepted, 0.95 * total);
  }
};

TEST(PublishedEffects, EveryLevelsProposalIsTuned) {
  PublishedWorld w(3, 400);
  w.owner.z = {{0, 2, 3}, {0, 2}};
  Normal model(&w.estimator, w.owner);
  ASSERT_EQ(model.re_tune.size(), 2U);
  for (auto& proposal : model.re_tune) proposal.accepted = proposal.total = 10;  // far too timid
  model.tune();
  for (const auto& proposal : model.re_tune) {
    EXPECT_EQ(proposal.value, 3.0);
    EXPECT_EQ(proposal.total, 0U);
  }
  EXPECT_EQ(model.tuneResults().size(), 3U);  // and that of imputation
}

TEST(PublishedEffects, ReadByAnEquationOfLevelTwo) {
  PublishedWorld w(2, 401);
  w.owner.z = {{0, 3}};
  w.columns = {11, 12};
  w.readers.push_back(w.equation(1, 9, {0, 11, 12}, {}));
  w.scans_leave_joint();
}

TEST(PublishedEffects, OneOfTwoTermsInAProductAtLevelOne) {
  PublishedWorld w(2, 402);
  w.owner.z = {{0, 3}};
  w.columns = {unnamed, 12};
  w.readers.push_back(w.equation(0, 9, {0, 12}, {computed("#DATA(4)*#DATA(12)")}));
  w.scans_leave_joint();
}

TEST(PublishedEffects, OfLevelThreeBesideConjugateOnesOfLevelTwo) {
  PublishedWorld w(3, 403);
  w.owner.z = {{0, 4}, {0}};
  w.columns = {unnamed, unnamed, 11};
  w.readers.push_back(w.equation(1, 9, {0, 11}, {}));
  w.scans_leave_joint();
}

TEST(PublishedEffects, OfBothLevels) {
  PublishedWorld w(3, 404);
  w.owner.z = {{0}, {0, 3}};
  w.columns = {11, 12, unnamed};
  w.readers.push_back(w.equation(0, 9, {0, 11}, {computed("#DATA(12)*#DATA(11)")}));
  w.scans_leave_joint();
}

TEST(PublishedEffects, AcceptedTogether) {
  PublishedWorld w(2, 405);
  w.owner.z = {{0}};
  w.columns = {11};
  w.together = true;
  w.readers.push_back(w.equation(1, 9, {0}, {computed("#DATA(11)-mean(#DATA(11))")}));
  w.scans_leave_joint();
}

TEST(PublishedEffects, OfAnOutcomeOfLevelTwo) {
  PublishedWorld w(3, 406);
  w.owner = w.equation(1, 1, {0, 6}, {});
  w.owner.estimate_resid = true;
  w.owner.z = {{0}};
  w.columns = {11};
  w.readers.push_back(w.equation(0, 9, {0, 11}, {}));
  w.scans_leave_joint();
}

/// The columns are those of the effects, in all rows of each cluster.
TEST(PublishedEffects, StandInEveryRowOfTheirCluster) {
  PublishedWorld w(3, 407);
  w.owner.z = {{0}, {0, 3}};
  w.columns = {11, unnamed, 12};
  w.build();
  w.draw_joint();
  for (const auto& m : w.models) m->draw(w.world.data);
  const Normal& model = *w.models[0];
  for (arma::uword i = 0; i < w.world.data.n_rows; ++i) {
    EXPECT_EQ(w.world.data(i, 11), model.u[0](w.world.units[1](i), 0));
    EXPECT_EQ(w.world.data(i, 12), model.u[1](w.world.units[2](i), 1));
  }
}

/// The residual that the scan keeps is the one computed anew, also when the equation reads its own effects.
TEST(PublishedEffects, EquationThatReadsItsOwnEffects) {
  PublishedWorld w(2, 408);
  w.owner = w.equation(0, 1, {0}, {computed("#DATA(2)*#DATA(11)")});
  w.owner.estimate_resid = true;
  w.owner.z = {{0}};
  w.columns = {11};
  w.scans_leave_joint();
}

TEST(PublishedEffects, RejectsIndicatorsOfAnotherNumber) {
  PublishedWorld w(2, 409);
  w.owner.z = {{0, 3}};
  w.columns = {11};
  EXPECT_THROW(w.build(), error_debug);
  w.columns = {11, 12, 12};
  EXPECT_THROW(w.build(), error_debug);
}

}  // namespace
}  // namespace tovik::tests::published_effects_test
