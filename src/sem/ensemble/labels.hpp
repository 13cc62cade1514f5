#pragma once

#include <armadillo>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "model/parameter_info.hpp"
#include "sem/ensemble/coefficient_blocks.hpp"
#include "sem/outcomes/priors.hpp"
#include "sem/wiring/outcome.hpp"

namespace tovik {
class ModelList;
class Random;
}  // namespace tovik

namespace tovik::sem {

class Computation;

/// What the wiring of labels needs: the equations, the outcome model of each (in the same order), and the
/// cells that the expressions of the chain read.
struct label_world {
  const ModelList& list;
  const std::vector<std::shared_ptr<estimator::Outcome>>& models;
  const std::unordered_map<std::string, model::parameter_info>& cells;
  const arma::Mat<double>& data;
  Random& rng;
  priors prior;
};

/// A parameter with a name: drawn singly after the models, or with the coefficients of its equations.
struct drawn_label {
  std::shared_ptr<estimator::constraint> constraint;  ///< with the label as its name
  std::string name;
  unsigned appearances = 0;
  /// The first proposal follows from the shape of the log density: not for a mere residual variance, of which
  /// the starting state tells too little.
  bool searched = false;
};

struct wired_labels {
  std::vector<drawn_label> labels;
  /// To be drawn before the models, in this order.
  std::vector<std::unique_ptr<joint_coefficients>> blocks;
};

/// Gives every cell its live storage, and makes the parameters that are drawn singly: places that they take
/// over are no longer drawn by their models. The models have their starting states. A drawn parameter starts
/// at the user's start, else in the middle of its prior, else at its first place; all its places then stand
/// there, and what is computed from it is computed.
///
/// With p such a parameter, a draw targets the product of its prior and of the likelihoods of all models that
/// hold p or a computed parameter that follows it, each once. Without a prior of its own the parameter has
/// that of its first place: the equation's for a coefficient (flat, or normal for categories), the default
/// prior for a residual variance.
///
/// Throws tovik::error where labels are used in ways that cannot be sampled (see plan_labels).
///
/// Where its full conditional is one that can be drawn from, p is not proposed: coefficients with normal or
/// flat priors are drawn in blocks (see coefficient_blocks); see also solve_labels.
wired_labels wire_labels(const label_world& world);

/// The computed parameters among the models, in the order of their statements.
std::vector<Computation*> computations_of(const std::vector<std::shared_ptr<estimator::Outcome>>& models);

}  // namespace tovik::sem
