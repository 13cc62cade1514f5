// Labelled coefficients of outcomes with correlated residuals, drawn with the other coefficients of their
// equations, leave the joint distribution of parameters and data unchanged.

#include <gtest/gtest.h>

#include <cmath>

#include "label_experiment.hpp"
#include "prior_states.hpp"
#include "sem/outcomes/multi.hpp"

namespace tovik::tests::label_member_invariance_test {
namespace {

/// Labels come from their priors, the covariance matrix of m and y from its own, all else as in
/// LabelExperiment; the outcomes in the order given, none before one that it reads.
class MemberExperiment {
 public:
  static constexpr int replications = 8000, applications = 6;

  MemberExperiment(const std::vector<std::string>& names, const arma::mat& data,
                   const std::vector<std::string>& ids, const std::vector<std::string>& statements,
                   const std::vector<std::string>& parameters,
                   std::vector<std::pair<std::string, prior_draw>> priors, std::uint32_t seed,
                   const std::vector<std::string>& outcomes = {"m", "y"})
      : bench(names, data, ids, statements, parameters, {1, 1}, seed, true), priors_(std::move(priors)) {
    for (const auto& model : bench.models)
      if (auto* found = dynamic_cast<sem::Multi*>(model.get())) block_ = found;
    for (const std::string& name : outcomes) equations_.push_back(&bench.regression(name));
  }

  void expect_invariant(bool walks = false) {
    ASSERT_NE(block_, nullptr);
    proposal_count proposals;
    const auto count = [&] {
      for (const sem::drawn_label& label : bench.labels) {
        ASSERT_TRUE(walks || !label.constraint->walks()) << label.name;
        proposals.add(label.constraint->tune);
      }
    };
    kernel_leaves_joint(
        {.replications = replications,
         .applications = applications,
         .before = [&] { bench.set_proposals(0.25); },
         .after = count},
        [&] { draw_joint(); }, [&] { return functions(); }, [&] { bench.scan(); });
    EXPECT_EQ(proposals.total > 0, walks);
    if (walks) {
      EXPECT_GT(proposals.accepted, proposals.total / 20);
    }
  }

  label_bench bench;

 private:
  void draw_joint() {
    Random& rng = bench.estimator.random;
    const arma::mat S = draw_prior_covariance(block_->members().size(), rng);
    arma::vec v(block_->n_params());
    arma::uword at = 0;
    for (arma::uword j = 0; j < S.n_cols; ++j)
      for (arma::uword i = j; i < S.n_rows; ++i) v(at++) = S(i, j);
    block_->addStarts(v);
    for (sem::Regression* one : equations_) draw_equation(*one);
    for (const auto& [name, draw] : priors_) bench.label(name).constraint->write(draw(rng));
    const auto n = static_cast<int>(bench.data().n_rows);
    const arma::mat correlated = rng.randn(n, static_cast<int>(S.n_cols)) * arma::chol(S);
    for (sem::Regression* one : equations_) {
      const arma::vec e = one->link != nullptr ? arma::vec(correlated.col(block_->position_of(*one)))
                                               : std::sqrt(one->residVar()) * rng.randn(n, 1);
      bench.data().col(one->y(0)) = one->compute_predicted(bench.data()) + e;
    }
  }

  void draw_equation(sem::Regression& one) {
    Random& rng = bench.estimator.random;
    if (auto* y = dynamic_cast<sem::Normal*>(&one); y->estimate_resid) y->sigma2 = 1.0 / rng.rgamma(1.0, 2.0);
    // Coefficients without labels are known: they have no proper prior to come from.
    ASSERT_TRUE(one.free.is_empty());
    for (unsigned L = 0; L < one.n_levels; ++L) {
      if (one.u[L].n_cols == 0) continue;
      one.iSigma[L](0, 0) = rng.rgamma(1.0, 2.0);
      one.Sigma[L](0, 0) = 1.0 / one.iSigma[L](0, 0);
      for (double& u : one.u[L]) u = std::sqrt(one.Sigma[L](0, 0)) * rng.rnorm();
    }
  }

  std::vector<double> functions() {
    const arma::mat& Sigma = block_->covariance();
    std::vector<double> out = {std::log(Sigma(0, 0)), std::log(Sigma(1, 1)), block_->correlations()(1, 0)};
    const arma::vec x = bench.data().col(bench.column("x")), z = bench.data().col(bench.column("z"));
    arma::mat e(bench.data().n_rows, equations_.size());
    for (std::size_t k = 0; k < equations_.size(); ++k) {
      const sem::Regression& one = *equations_[k];
      e.col(k) = one.compute_residual(bench.data()) / std::sqrt(one.covariance(0)(0, 0));
      const arma::vec y = bench.data().col(one.y(0));
      for (const auto& [name, draw] : priors_) {
        const double b = bench.label(name).constraint->value;
        out.insert(out.end(), {b, b * arma::dot(y, x), b * arma::dot(y, z)});
      }
      out.insert(out.end(), {arma::dot(e.col(k), x), arma::dot(e.col(k), z), std::log(arma::dot(y, y))});
      for (const arma::mat& u : one.u)
        if (!u.is_empty()) out.insert(out.end(), {u(0, 0) + u(u.n_rows - 1, 0), std::log(arma::dot(u, u))});
    }
    for (std::size_t k = 1; k < equations_.size(); ++k) out.push_back(arma::dot(e.col(0), e.col(k)));
    return out;
  }

  std::vector<std::pair<std::string, prior_draw>> priors_;
  sem::Multi* block_ = nullptr;
  std::vector<sem::Regression*> equations_;
};

const std::vector<std::string> names = {"m", "x", "y", "z"};

/// Predictors far from 0, correlated.
arma::mat columns() {
  Random rng(7, 1);
  arma::mat out = rng.randn(12, 4);
  out.col(1) += 2.0;
  out.col(3) = 0.7 * out.col(1) + 0.5 * out.col(3) - 1.0;
  return out;
}

TEST(LabelsOfMembers, OfOneMemberAreDrawnGivenTheOther) {
  MemberExperiment e(names, columns(), {}, {"m ~ 1@0.3 z@0.2", "y ~ 1@a x@b z@c", "m <-> y"},
                     {"a ~ normal(0.3, 0.5)", "b ~ truncate(0, 2)", "c ~ normal(0, 1)"},
                     {{"a", normal_prior(0.3, 0.5)}, {"b", uniform_prior(0, 2)}, {"c", normal_prior(0, 1)}},
                     431);
  EXPECT_TRUE(e.bench.blocks.empty());
  e.expect_invariant();
}

/// The second reads the outcome of the first, whose residual stands on both sides of the correlation.
TEST(LabelsOfMembers, OneOfTwoMembersThatReadEachOther) {
  MemberExperiment e(
      names, columns(), {}, {"m ~ 1@a x@b", "y ~ 1@0.2 z@b m@c", "m <-> y"},
      {"a ~ normal(0, 0.5)", "b ~ normal(-0.2, 0.5)", "c ~ normal(0, 0.5)"},
      {{"a", normal_prior(0, 0.5)}, {"b", normal_prior(-0.2, 0.5)}, {"c", normal_prior(0, 0.5)}}, 432);
  ASSERT_EQ(e.bench.blocks.size(), 1u);
  e.expect_invariant();
}

TEST(LabelsOfMembers, ABoundedOneOfTwoMembersAndAThirdEquation) {
  MemberExperiment e(names, columns(), {}, {"x ~ 1@b z@0.5", "m ~ 1@a x@b", "y ~ 1@a z@0.4", "m <-> y"},
                     {"a ~ normal(0, 0.5)", "b ~ uniform(-1, 1)"},
                     {{"a", normal_prior(0, 0.5)}, {"b", uniform_prior(-1, 1)}}, 433, {"x", "m", "y"});
  ASSERT_EQ(e.bench.blocks.size(), 1u);
  e.expect_invariant();
}

arma::mat in_schools() {
  arma::mat data = columns();
  data.insert_cols(0, arma::vec({1, 1, 1, 2, 3, 3, 3, 3, 4, 4, 5, 5}));
  return data;
}

TEST(LabelsOfMembers, OfOneMemberWithRandomEffectsIntegratedOut) {
  MemberExperiment e({"school", "m", "x", "y", "z"}, in_schools(), {"school"},
                     {"m ~ 1@a x@b | 1", "y ~ 1@0.3 z@0.2 | 1", "m <-> y"},
                     {"a ~ normal(0, 2)", "b ~ normal(0, 1)"},
                     {{"a", normal_prior(0, 2)}, {"b", normal_prior(0, 1)}}, 434);
  e.expect_invariant();
}

TEST(LabelsOfMembers, OfTwoMembersWithRandomEffects) {
  MemberExperiment e({"school", "m", "x", "y", "z"}, in_schools(), {"school"},
                     {"m ~ 1@a x@b | 1", "y ~ 1@a z@b | 1", "m <-> y"},
                     {"a ~ normal(0, 2)", "b ~ normal(0, 1)"},
                     {{"a", normal_prior(0, 2)}, {"b", normal_prior(0, 1)}}, 436);
  ASSERT_EQ(e.bench.blocks.size(), 1u);
  e.expect_invariant();
}

/// A prior that no block takes: the label walks, and takes others along.
TEST(LabelsOfMembers, ThatWalkTakeOthersAlong) {
  MemberExperiment e(names, columns(), {}, {"m ~ 1@a x@b", "y ~ 1@c z@b", "m <-> y"},
                     {"a ~ normal(0, 0.5)", "b ~ gamma(2, 0.4)", "c ~ normal(0, 0.5)"},
                     {{"a", normal_prior(0, 0.5)},
                      {"b", [](Random& rng) { return rng.rgamma(2.0, 0.4); }},
                      {"c", normal_prior(0, 0.5)}},
                     435);
  e.expect_invariant(true);
}

}  // namespace
}  // namespace tovik::tests::label_member_invariance_test
