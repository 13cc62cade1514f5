// The density of the observed cells of equations that phantoms or a block tie together, against the
// covariance matrix of all cells and all random effects of a cluster.

#include <gtest/gtest.h>

#include <cmath>

#include "calibration/dense_normal.hpp"
#include "model/defaults.hpp"
#include "sem/outcomes/multi.hpp"
#include "sem/outcomes/normal.hpp"
#include "small_run.hpp"
#include "support/error.hpp"

namespace tovik::tests::joint_likelihood_test {
namespace {

using sem::Normal;
using index = arma::uword;

/// A residual (place 0) or a random effect of the place-th level above, of one unit of its level.
struct variable {
  std::size_t model;
  unsigned place;
  index effect, unit;
  double value;  ///< of an effect
};

/// An observed cell: its residual, the effects that enter it, and what the coefficients leave of it.
struct cell {
  index residual;
  std::vector<std::pair<index, double>> effects;
  double r;
};

/// All cells and variables of one unit of the highest level.
struct dense_unit {
  std::vector<variable> variables;
  std::vector<cell> cells;
};

/// The state of a chain, taken apart.
class dense_state {
 public:
  dense_state(const small_run& run, const sem::Mcmc& chain) : run_(run), chain_(chain) {
    for (unsigned i = 0; i < chain.outcomes()->n_outcomes(); ++i) {
      const sem::estimator::Outcome& model = chain.outcomes()->outcome(i);
      normals_.push_back(dynamic_cast<const Normal*>(&model));
      if (model.type == data::type::phantom) scores_.emplace_back(model.y(0), model.params()(0));
    }
  }

  /// The cells and effects of the given equations in one unit of the highest level.
  dense_unit unit(const std::vector<std::size_t>& equations, index top) const {
    dense_unit out;
    for (std::size_t m : equations) add_equation(out, m, top);
    return out;
  }

  double marginal(const dense_unit& at) const {
    arma::mat const C = covariance(at.variables);
    arma::mat W(at.cells.size(), at.variables.size(), arma::fill::zeros);
    arma::vec r(at.cells.size());
    for (index k = 0; k < r.n_elem; ++k) {
      W(k, at.cells[k].residual) = 1;
      for (const auto& [effect, z] : at.cells[k].effects) W(k, effect) = z;
      r(k) = at.cells[k].r;
    }
    return log_normal(r, W * C * W.t());
  }

  /// log p(residuals, effects) - log p(effects).
  double conditional(const dense_unit& at) const {
    arma::mat const C = covariance(at.variables);
    std::vector<index> effects;
    for (index v = 0; v < at.variables.size(); ++v)
      if (at.variables[v].place > 0) effects.push_back(v);
    std::vector<index> both = effects;
    arma::vec x(effects.size() + at.cells.size());
    for (index k = 0; k < effects.size(); ++k) x(k) = at.variables[effects[k]].value;
    for (index k = 0; k < at.cells.size(); ++k) {
      double e = at.cells[k].r;
      for (const auto& [effect, z] : at.cells[k].effects) e -= z * at.variables[effect].value;
      x(effects.size() + k) = e;
      both.push_back(at.cells[k].residual);
    }
    arma::uvec const all(both), given(effects);
    if (effects.empty()) return log_normal(x, C(all, all));
    return log_normal(x, C(all, all)) - log_normal(arma::vec(x.head(effects.size())), C(given, given));
  }

 private:
  static double log_normal(const arma::vec& x, const arma::mat& V) {
    return x.is_empty() ? 0.0 : dense_log_normal(x, arma::vec(x.n_elem, arma::fill::zeros), V);
  }

  void add_equation(dense_unit& out, std::size_t m, index top) const {
    const Normal& model = *normals_.at(m);
    const auto& working = chain_.working();
    const unsigned highest = working.n_levels() - 1;
    std::vector<std::vector<index>> at(model.n_levels);  // the first variable of each cluster
    for (unsigned L = 0; L < model.n_levels; ++L) {
      const unsigned level = model.level + 1 + L;
      for (index c = 0; c < working.n_units(level); ++c) {
        at[L].push_back(out.variables.size());
        if (working.units(highest)(working.first_rows(level)(c)) != top) continue;
        for (index j = 0; j < model.u[L].n_cols; ++j)
          out.variables.push_back({m, L + 1, j, c, model.u[L](c, j)});
      }
    }
    const arma::mat& data = working.data;
    for (index i = 0; i < model.n_units; ++i) {
      const index row = working.first_rows(model.level)(i);
      // The rows were given in the order of their clusters.
      if (working.units(highest)(row) != top || std::isnan(run_.data(row, model.y(0)))) continue;
      cell one{out.variables.size(), {}, data(row, model.y(0))};
      out.variables.push_back({m, 0, 0, i, 0.0});
      for (index j = 0; j < model.x.n_elem; ++j) one.r -= model.betas()(j) * data(row, model.x(j));
      for (unsigned L = 0; L < model.n_levels; ++L) {
        const index c = working.units(model.level + 1 + L)(row);
        for (index j = 0; j < model.z[L].n_elem; ++j)
          one.effects.emplace_back(at[L][c] + j, data(row, model.z[L](j)));
      }
      out.cells.push_back(one);
    }
  }

  arma::mat S(std::size_t m, unsigned place) const {
    return place == 0 ? arma::mat{normals_[m]->sigma2} : normals_[m]->Sigma[place - 1];
  }

  /// The element of this end in its equation that the scores in a column enter, or -1.
  int entered(const variable& v, index column) const {
    const auto& terms = normals_[v.model]->part(v.place).loadings.terms();
    for (const auto& term : terms)
      if (term.column == column) return static_cast<int>(term.effect);
    return -1;
  }

  double covariance(const variable& a, const variable& b) const {
    const unsigned level = normals_[a.model]->level + a.place;
    if (level != normals_[b.model]->level + b.place || a.unit != b.unit) return 0.0;
    arma::mat const A = S(a.model, a.place), B = S(b.model, b.place);
    if (a.model == b.model) return A(a.effect, b.effect);
    const Normal &left = *normals_[a.model], &right = *normals_[b.model];
    if (a.place == 0 && b.place == 0 && left.link != nullptr && left.link == right.link)
      return left.link->covariance()(left.link->position_of(left), left.link->position_of(right));
    for (const auto& [column, rho] : scores_)
      if (entered(a, column) == static_cast<int>(a.effect) &&
          entered(b, column) == static_cast<int>(b.effect))
        return rho * std::sqrt(A(a.effect, a.effect) * B(b.effect, b.effect));
    return 0.0;
  }

  arma::mat covariance(const std::vector<variable>& all) const {
    arma::mat out(all.size(), all.size());
    for (index i = 0; i < all.size(); ++i)
      for (index j = 0; j < all.size(); ++j) out(i, j) = covariance(all[i], all[j]);
    return out;
  }

  const small_run& run_;
  const sem::Mcmc& chain_;
  std::vector<const Normal*> normals_;            ///< null for a phantom
  std::vector<std::pair<index, double>> scores_;  ///< column and correlation
};

class JointLikelihood : public testing::Test {
 protected:
  void SetUp() override {
    old_ = sem::defaults::optimize_models;
    sem::defaults::optimize_models = false;
  }
  void TearDown() override { sem::defaults::optimize_models = old_; }

  static std::size_t place_of(const small_run& run, const std::string& name) {
    for (std::size_t i = 0; i < run.models.size(); ++i)
      if (run.models[i].kind() != model::kind::phantom && run.models[i].name() == name) return i;
    throw error_debug("No equation " + name);
  }

  /// After some scans, the cubes of a few more are those of dense algebra: one density for the equations
  /// `tied`, one for each of `alone`, 0 for the others.
  static void expect_dense(small_run& run, const std::vector<std::string>& tied,
                           const std::vector<std::string>& alone = {}) {
    prepare(run);
    auto chain = run.chain(Random(5, 1), {1, 1});
    std::vector<std::size_t> together;
    for (const std::string& name : tied) together.push_back(place_of(run, name));
    std::vector<std::vector<std::size_t>> sets = {together};
    for (const std::string& name : alone) sets.push_back({place_of(run, name)});
    for (int scan = 0; scan < 5; ++scan) {
      for (int i = 0; i < 3; ++i) chain->oneRep();
      arma::cube const found = chain->getLikelihoods();
      ASSERT_EQ(found.n_slices, run.models.size() + 1);
      const dense_state state(run, *chain);
      arma::cube expected(arma::size(found), arma::fill::zeros);
      for (const auto& set : sets) {
        std::size_t first = *std::min_element(set.begin(), set.end());
        for (std::size_t member : set)
          for (unsigned i = 0; i < run.models.size(); ++i)
            if (chain->outcomes()->outcome(static_cast<unsigned>(member)).link.get() ==
                    dynamic_cast<const sem::Multi*>(&chain->outcomes()->outcome(i)) &&
                run.models[i].is_multi())
              first = i;
        for (index c = 0; c < found.n_rows; ++c) {
          const dense_unit unit = state.unit(set, c);
          expected(c, 0, first) = state.marginal(unit);
          expected(c, 1, first) = state.conditional(unit);
        }
        expected.slice(found.n_slices - 1) += expected.slice(first);
      }
      EXPECT_LT(arma::abs(found - expected).max(), 1e-8);
    }
  }

  /// Columns t, g, y, z, v, x, w: 3 units t of 2 to 3 clusters g of 2 to 4 rows; w varies over clusters. Some
  /// cells of y, z, v are missing where `holes`.
  static arma::mat nested(bool holes) {
    Random rng(12, 1);
    std::vector<arma::rowvec> rows;
    double g = 0;
    for (int t = 0; t < 3; ++t) {
      const double top = rng.rnorm();
      for (int c = 0; c < 2 + t % 2; ++c, ++g) {
        const double middle = rng.rnorm(), w = rng.rnorm() + middle + 0.5 * top;
        for (int i = 0; i < 2 + (c + t) % 3; ++i) {
          const double x = rng.rnorm(), e = rng.rnorm();
          rows.push_back({static_cast<double>(t), g, x + top + middle + e, middle - 0.6 * e + rng.rnorm(),
                          0.4 * e + rng.rnorm(), x, w});
        }
      }
    }
    arma::mat out(rows.size(), 7);
    for (index i = 0; i < out.n_rows; ++i) out.row(i) = rows[i];
    if (holes) {
      out(1, 2) = out(2, 3) = out(4, 2) = out(4, 3) = out(6, 4) = out(7, 2) = out(7, 3) = out(7, 4) =
          arma::datum::nan;
    }
    return out;
  }
  static inline const std::vector<std::string> names = {"t", "g", "y", "z", "v", "x", "w"};

 private:
  bool old_ = true;
};

TEST_F(JointLikelihood, OfTwoCorrelatedResidualsWithMissingCells) {
  for (bool holes : {false, true}) {
    small_run run(names, nested(holes), {}, {"y ~ x", "z ~ x", "y <-> z"});
    expect_dense(run, {"y", "z"});
  }
}

TEST_F(JointLikelihood, OfAChainOfCorrelations) {
  for (bool holes : {false, true}) {
    small_run run(names, nested(holes), {}, {"y ~ x", "z ~ x", "v ~ 1", "y <-> z", "z <-> v"});
    expect_dense(run, {"y", "z", "v"});
  }
}

TEST_F(JointLikelihood, OfResidualsAndRandomEffects) {
  for (bool holes : {false, true}) {
    small_run run(names, nested(holes), {"g"}, {"y ~ x | x", "z ~ x | 1", "y <-> z", "y[g] <-> z[g]"});
    expect_dense(run, {"y", "z"});
  }
}

TEST_F(JointLikelihood, OfResidualsWhoseEffectsAreIndependent) {
  small_run run(names, nested(true), {"g", "t"}, {"y ~ x | x[g]", "z ~ x", "y <-> z"});
  expect_dense(run, {"y", "z"});
}

TEST_F(JointLikelihood, OfALevelTwoOutcomeAndARandomIntercept) {
  for (bool holes : {false, true}) {
    arma::mat data = nested(holes);
    if (holes) data.col(6).replace(data(5, 6), arma::datum::nan);
    small_run run(names, data, {"g"}, {"y ~ x | x", "w ~ 1", "w <-> y[g]"});
    expect_dense(run, {"y", "w"});
  }
}

TEST_F(JointLikelihood, OfCorrelationsAtThreeLevels) {
  arma::mat data = nested(true);
  data.col(6).replace(data(5, 6), arma::datum::nan);
  small_run run(
      names, data, {"g", "t"},
      {"y ~ x | x[g]", "z ~ 1", "w ~ 1", "y <-> z", "w <-> y[g]", "w[t] <-> y[t]", "z[t] <-> y[t]"});
  expect_dense(run, {"y", "z", "w"});
}

TEST_F(JointLikelihood, OfABlock) {
  sem::defaults::optimize_models = true;
  for (bool holes : {false, true}) {
    small_run run(names, nested(holes), {"g"}, {"y ~ x | x", "z ~ x | 1", "v ~ 1", "y <-> z", "z <-> v"});
    expect_dense(run, {"y", "z", "v"});
  }
}

TEST_F(JointLikelihood, OfABlockWithCorrelatedEffects) {
  sem::defaults::optimize_models = true;
  small_run run(names, nested(true), {"g"},
                {"y ~ x | x", "z ~ x | 1", "v ~ 1 | 1", "y <-> z", "y[g] <-> z[g]", "v[g] <-> z[g]"});
  expect_dense(run, {"y", "z", "v"});
}

TEST_F(JointLikelihood, LeavesOtherEquationsAlone) {
  small_run run(names, nested(true), {"g"}, {"y ~ x | 1", "z ~ x", "v ~ x | x", "y <-> z"});
  expect_dense(run, {"y", "z"}, {"v"});
}

TEST_F(JointLikelihood, OfOneEquationIsThatOfItsObservedCells) {
  arma::mat data = nested(true);
  data.col(6).replace(data(5, 6), arma::datum::nan);
  for (const std::vector<std::string>& ids : {std::vector<std::string>{}, {"g"}, {"g", "t"}}) {
    small_run run(names, data, ids, {"y ~ x", "z ~ 1", "w ~ 1"});
    const index cells = run.chain(Random(5, 1), {1, 1})->getUnobservedCells();
    EXPECT_EQ(cells, 3u + 3u + (ids.empty() ? arma::uvec(arma::find_nonfinite(data.col(6))).n_elem : 1u));
    expect_dense(run, {"y"}, {"z", "w"});
  }
}

}  // namespace
}  // namespace tovik::tests::joint_likelihood_test
