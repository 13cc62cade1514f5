// Where labelled parameters start.

#include <algorithm>
#include <cmath>

#include "model/model_list.hpp"
#include "sem/ensemble/label_wiring.hpp"
#include "sem/outcomes/computation.hpp"
#include "sem/outcomes/lambda_holder.hpp"
#include "sem/outcomes/parameter.hpp"
#include "sem/outcomes/yeo_johnson.hpp"
#include "sem/phantoms/phantom.hpp"
#include "sem/wiring/proposals.hpp"
#include "support/error.hpp"

namespace tovik::sem {

namespace {

using place = model::constraint_info::place;

}  // namespace

const model::parameter* label_wiring::written_at(const constraint_info& info,
                                                 model::parameter& scratch) const {
  const Model& equation = world_.list[info.model];
  if (info.kind == place::variance) return &equation.variance;
  if (info.kind == place::lambda) return &equation.outcomes.front().lambda;
  if (info.kind != place::fixed) return nullptr;
  scratch = equation.fixedParameters().at(info.position);
  return &scratch;
}

bool label_wiring::admits(const planned_label& label, double x) const {
  for (const constraint_info& info : label.places) {
    if (info.kind == place::variance && !(x > 0.0)) return false;
  }
  if (label.prior < 0) return std::isfinite(x);
  const auto& node = dynamic_cast<const Parameter&>(model(static_cast<unsigned>(label.prior)));
  return std::isfinite(node.prior(x, world_.data));
}

double label_wiring::start_of_lambda(const planned_label& label) const {
  const double x = *address(label.places.front());
  if (label.prior < 0) return inside(*default_lambda_prior(model(label.places.front().model).estimator), x);
  return inside(dynamic_cast<const Parameter&>(model(static_cast<unsigned>(label.prior))), x);
}

double label_wiring::start_of(const planned_label& label) const {
  if (starts_at_lambda(label)) return start_of_lambda(label);
  std::vector<double> candidates;
  if (label.prior >= 0) candidates.push_back(model(static_cast<unsigned>(label.prior)).betas()(0));
  for (const constraint_info& info : label.places) {
    model::parameter scratch;
    const model::parameter* written = written_at(info, scratch);
    if (written == nullptr) continue;
    if (written->has_start()) return *address(info);
    candidates.push_back(*address(info));
  }
  candidates.push_back(0.0);
  candidates.push_back(1.0);
  // At 0 a term like (x*k) is a column of zeros, which no regression can take.
  const bool in_term = std::any_of(label.places.begin(), label.places.end(),
                                   [](const constraint_info& info) { return info.kind == place::computed; });
  for (double x : candidates) {
    if (in_term && x == 0.0) x = admits(label, 0.1) ? 0.1 : -0.1;
    if (admits(label, x)) return x;
  }
  const auto variance =
      std::find_if(label.places.begin(), label.places.end(),
                   [](const constraint_info& info) { return info.kind == place::variance; });
  return variance == label.places.end() ? candidates.front() : start_of_variance(label, *address(*variance));
}

/// What the prior admits at or near a value, by factors of 2.
double label_wiring::start_of_variance(const planned_label& label, double near) const {
  constexpr int doublings = 100;
  for (int k = 0; k <= doublings; ++k) {
    if (admits(label, std::ldexp(near, -k))) return std::ldexp(near, -k);
    if (admits(label, std::ldexp(near, k))) return std::ldexp(near, k);
  }
  throw error("ERROR: The prior of the residual variance '" + label.name + "' leaves it no positive value.");
}

void label_wiring::start() {
  // All starts are read before one is written: labels of one model do not see each other's.
  std::vector<double> starts;
  for (const planned_label* label : planned_) starts.push_back(start_of(*label));
  for (std::size_t k = 0; k < drawn_.size(); ++k) {
    for (const constraint_info& info : planned_[k]->places)
      if (info.kind == place::lambda) holder_of(info).start_lambda(starts[k], world_.data);
    drawn_[k].constraint->value = starts[k];
    for (double* link : drawn_[k].constraint->links) *link = starts[k];
  }
  settle_correlations();
  settle_blocks();
  // With every label in place, what follows from them.
  for (Computation* node : computations_of(world_.models)) node->update();
  for (std::size_t k = 0; k < drawn_.size(); ++k) drawn_[k].constraint->write(starts[k]);
  for (const auto& model : world_.models) {
    if (auto* phantom = dynamic_cast<Phantom*>(model.get())) phantom->find_proposals(world_.data);
    if (auto* holder = dynamic_cast<lambda_holder*>(model.get())) holder->settle_lambda(world_.data);
  }
  for (drawn_label& label : drawn_) {
    if (!label.searched) continue;
    label.constraint->connect();
    label.constraint->variance =
        proposal_variance(*label.constraint, world_.data, label.constraint->variance);
  }
}

}  // namespace tovik::sem
