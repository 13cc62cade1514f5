#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "sem/count_world.hpp"
#include "sem/invariance_frame.hpp"
#include "sem/label_bench.hpp"
#include "sem/outcomes/logistic.hpp"
#include "sem/outcomes/ordinal.hpp"

namespace tovik::tests {

using prior_draw = std::function<double(Random&)>;

/// One world in which labels come from their priors and the outcomes, in the order given, from their
/// equations.
struct LabelExperiment {
  label_bench bench;
  std::vector<std::pair<std::string, prior_draw>> priors;
  std::vector<std::string> outcomes;
  bool rebuild = false;  ///< models keep what they know of the data: make them anew
  int replications = 12000;
  int applications = 10;

  sem::Normal* normal(const std::string& name) { return dynamic_cast<sem::Normal*>(&bench.regression(name)); }

  void draw_joint() {
    if (rebuild) bench.build();
    Random& rng = bench.estimator.random;
    for (const std::string& name : outcomes) {
      sem::Regression& model = bench.regression(name);
      if (sem::Normal* y = normal(name); y != nullptr && y->estimate_resid)
        y->sigma2 = 1.0 / rng.rgamma(1.0, 2.0);
      if (auto* counts = dynamic_cast<sem::NBinomial*>(&model))
        counts->set_dispersion(draw_prior_dispersion(rng));
      for (arma::uword j : model.free)
        model.betas_(j) = std::sqrt(model.coefficient_variance(j)) * rng.rnorm();
      for (unsigned L = 0; L < model.n_levels; ++L) {
        if (model.u[L].n_cols == 0) continue;
        model.iSigma[L](0, 0) = rng.rgamma(1.0, 2.0);
        model.Sigma[L](0, 0) = 1.0 / model.iSigma[L](0, 0);
        for (double& u : model.u[L]) u = std::sqrt(model.Sigma[L](0, 0)) * rng.rnorm();
      }
    }
    for (const auto& [name, draw] : priors) bench.label(name).constraint->write(draw(rng));
    for (const std::string& name : outcomes) bench.draw_outcome(name);
    if (rebuild) keep_state();
  }

  /// The models are made for data that stand: once more at the new outcomes, with the same state.
  void keep_state() {
    std::vector<double> values;
    for (const auto& [name, draw] : priors) values.push_back(bench.label(name).constraint->value);
    std::vector<arma::vec> states;
    std::vector<std::vector<arma::mat>> effects;
    for (const std::string& name : outcomes) {
      states.push_back(bench.regression(name).params());
      effects.push_back(bench.regression(name).u);
    }
    bench.build();
    for (std::size_t k = 0; k < outcomes.size(); ++k) {
      bench.regression(outcomes[k]).u = effects[k];
      bench.regression(outcomes[k]).addStarts(states[k]);
    }
    for (std::size_t k = 0; k < priors.size(); ++k) bench.label(priors[k].first).constraint->write(values[k]);
  }

  /// Of an outcome: its values, of a count in a scale in which no sum of most of them is 0.
  arma::vec values_of(const std::string& outcome) {
    sem::Regression& model = bench.regression(outcome);
    const arma::vec y = bench.data().col(model.y(0));
    if (dynamic_cast<sem::NBinomial*>(&model) == nullptr) return y;
    return arma::log1p(y) - 0.3;
  }

  std::vector<double> functions() {
    std::vector<double> out;
    for (const auto& [name, draw] : priors) {
      const double value = bench.label(name).constraint->value;
      out.push_back(value);
      for (const std::string& outcome : outcomes) {
        const arma::vec y = values_of(outcome);
        out.push_back(value * arma::dot(y, bench.data().col(bench.column("x"))));
        out.push_back(value * arma::dot(y, bench.data().col(bench.column("z"))));
      }
    }
    for (const std::string& outcome : outcomes) {
      sem::Regression& model = bench.regression(outcome);
      for (arma::uword j : model.free) out.push_back(model.betas_(j));
      for (const arma::mat& Sigma : model.Sigma) {
        if (!Sigma.is_empty()) out.push_back(std::log(Sigma(0, 0)));
      }
      for (const arma::mat& u : model.u) {
        if (!u.is_empty()) out.push_back(u(0, 0) + u(u.n_rows - 1, 0));
      }
      if (auto* counts = dynamic_cast<sem::NBinomial*>(&model)) {
        const double log_r = std::log(counts->dispersion());
        out.insert(out.end(), {log_r, log_r * arma::accu(values_of(outcome)),
                               arma::accu(model.logLiklihood(bench.data(), 0))});
      }
      sem::Normal* y = normal(outcome);
      if (y == nullptr) continue;
      const arma::mat e = model.compute_residual(bench.data());
      out.push_back(std::log(y->sigma2));
      out.push_back(std::log(arma::accu(arma::square(e)) / y->sigma2));
      out.push_back(arma::dot(e, bench.data().col(bench.column("x"))) / std::sqrt(y->sigma2));
      out.push_back(arma::dot(e, bench.data().col(bench.column("z"))) / std::sqrt(y->sigma2));
    }
    return out;
  }

  void scan() { bench.scan(); }

  void expect_invariant(double proposal_sd = 0.5) {
    proposal_count proposals;
    bool walks = false;
    const auto count = [&] {
      for (const sem::drawn_label& label : bench.labels) {
        walks = walks || label.constraint->walks();
        proposals.add(label.constraint->tune);
      }
    };
    world_leaves_joint(*this, {.replications = replications,
                               .applications = applications,
                               .before = [&] { bench.set_proposals(proposal_sd * proposal_sd); },
                               .after = count});
    if (!walks) {
      EXPECT_EQ(proposals.total, 0u);
      return;
    }
    // A kernel that never moves would leave everything unchanged as well.
    EXPECT_GT(proposals.accepted, proposals.total / 20);
    EXPECT_LT(proposals.accepted, proposals.total - proposals.total / 20);
  }
};

inline prior_draw normal_prior(double mean, double variance) {
  return [=](Random& rng) { return mean + std::sqrt(variance) * rng.rnorm(); };
}

inline prior_draw uniform_prior(double lower, double upper) {
  return [=](Random& rng) { return lower + (upper - lower) * rng.runif(); };
}

}  // namespace tovik::tests
