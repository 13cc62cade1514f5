#pragma once

#include <armadillo>
#include <cstdint>
#include <memory>
#include <vector>

#include "sem/phantom_world.hpp"
#include "sem/yjt_world.hpp"

namespace tovik::tests {

/// One correlation: the phantom's column and level, and where it stands: (model, place, effect) twice; the
/// second carries the sign.
struct tie {
  arma::uword column;
  unsigned level;
  struct end {
    std::size_t model;
    unsigned place;
    arma::uword effect;
  } ends[2];
};

/// Outcomes and correlations among them that phantoms carry. Outcomes stand in the columns 1, 9 and 10, the
/// scores of phantoms in those from 11 on.
struct TiedWorld {
  World world;
  std::vector<sem::equation_setup> setups;
  std::vector<tie> ties;
  LoneEstimator estimator;
  Random rng;
  std::vector<std::unique_ptr<sem::Phantom>> phantoms;

  TiedWorld(unsigned levels, const nesting& sizes, std::uint32_t seed);

  /// An equation with known coefficients.
  sem::equation_setup& add(unsigned level, arma::uword y, arma::Col<arma::uword> x);

  /// Terms of a place, in the order of the ties.
  void finish();

  /// Phantoms for the ties of these models. `pairs`: variances are drawn with their correlations, too.
  template <typename Models>
  void connect(const Models& models, bool pairs = true) {
    phantoms.clear();
    const auto group = std::make_shared<sem::phantom_group>();
    for (const tie& t : ties) {
      phantoms.push_back(phantom_of(t));
      for (const auto& end : t.ends) phantoms.back()->attach(models[end.model]->correlated(t.column));
      phantoms.back()->join(group);
    }
    group->connect();
    group->set_before_models(pairs);
  }

  /// Standard normal, into their columns.
  void draw_scores();

 private:
  std::unique_ptr<sem::Phantom> phantom_of(const tie& t);
};

/// Normal outcomes with known coefficients and correlations among them.
struct CorrelatedWorld : TiedWorld {
  std::vector<lambda_bounds> lambda;  ///< of each outcome, for those that are transformed; may be shorter
  bool pairs = true;                  ///< variances are drawn with their correlations, too
  std::vector<std::unique_ptr<sem::Normal>> models;

  using TiedWorld::TiedWorld;

  void build();

  std::vector<double> rhos_of(std::size_t model, unsigned place, const std::vector<double>& all) const;

  /// Variances, correlations, scores, effects and outcomes from their joint distribution.
  void draw_joint();

  /// Rows of `place` given the phantoms: Lambda P + noise with what is left.
  arma::Mat<double> draw_place(std::size_t m, unsigned place, const arma::Mat<double>& S,
                               const std::vector<double>& rhos);

  void draw_outcome(std::size_t m, const std::vector<arma::Mat<double>>& S, const std::vector<double>& rhos);

  void scan();

  std::vector<double> functions() const;

 private:
  bool is_transformed(std::size_t m) const { return m < lambda.size() && lambda[m].is_set(); }
  std::unique_ptr<sem::Normal> make(std::size_t m);
};

}  // namespace tovik::tests
