// Labels of correlations, which the phantom or the block that has the correlation draws.

#include <algorithm>
#include <cmath>

#include "model/model_list.hpp"
#include "sem/ensemble/label_wiring.hpp"
#include "sem/outcomes/computation.hpp"
#include "sem/outcomes/multi_struct.hpp"
#include "sem/phantoms/phantom.hpp"
#include "sem/phantoms/phantom_links.hpp"
#include "support/error.hpp"

namespace tovik::sem {

namespace {

using place = model::constraint_info::place;

constexpr int steps = 20;

[[noreturn]] void no_correlation(const std::string& label) {
  throw error("ERROR: The prior of the correlation '" + label +
              "' leaves its outcomes no covariance matrix.");
}

/// Calls try_at until it is true: at the start, on the way from there to 0, then at either side of 0.
template <class Try>
bool search_start(double start, const Try& try_at) {
  for (int step = 0; step <= steps; ++step)
    if (try_at(start * (1.0 - static_cast<double>(step) / steps))) return true;
  for (int step = 1; step < steps; ++step) {
    const double x = static_cast<double>(step) / steps;
    if (try_at(x) || try_at(-x)) return true;
  }
  return false;
}

}  // namespace

void label_wiring::join_correlations(const planned_label& label) {
  Phantom* leader = nullptr;
  constraint others(label.name);
  for (const constraint_info& info : label.places) {
    if (info.kind != place::phantom) {
      if (info.kind != place::correlation) take(info, others);
      continue;
    }
    auto& phantom = dynamic_cast<Phantom&>(model(info.model));
    if (leader == nullptr)
      leader = &phantom;
    else
      phantom.follow(*leader);
  }
  if (leader == nullptr) {
    join_block(label, others);
    return;
  }
  for (const constraint_info& info : label.places)
    if (info.kind == place::correlation)
      others += *model(info.model).constraint(parameter_type::phantom_correlation, info.position, 0);
  const bool moves_equations =
      !others.likelihoods.empty() || !others.links.empty() || !label.followers.empty();
  double start = leader->params()(0);
  if (label.prior >= 0) {
    const auto prior = model(static_cast<unsigned>(label.prior)).constraint(parameter_type::value, 0, 0);
    if (std::fabs(prior->value) < 1.0) start = prior->value;
    const bool found = search_start(start, [&](double x) {
      if (!(std::fabs(x) < 1.0) || !admits(label, x)) return false;
      start = x;
      return true;
    });
    if (!found) no_correlation(label.name);
    others += *prior;
  }
  for (unsigned follower : label.followers) follow(computation(follower), others);
  if (!others.likelihoods.empty() || !others.links.empty() || !others.refresh.empty())
    leader->addRho(others, label.prior >= 0, moves_equations);
  correlations_.push_back({leader, &label, start});
  bind(label.key, leader->constraint(parameter_type::phantom_correlation, 0, 0)->ptr());
}

void label_wiring::join_block(const planned_label& label, constraint& others) {
  const auto here = std::find_if(label.places.begin(), label.places.end(),
                                 [](const constraint_info& info) { return info.kind == place::correlation; });
  if (here == label.places.end()) return;
  const auto handle = model(here->model).constraint(parameter_type::phantom_correlation, here->position, 0);
  bind(label.key, handle->ptr());
  if (!is_driven_correlation(label)) return;
  const bool moves_equations =
      !others.likelihoods.empty() || !others.links.empty() || !label.followers.empty();
  double start = handle->value;
  if (label.prior >= 0) {
    const auto prior = model(static_cast<unsigned>(label.prior)).constraint(parameter_type::value, 0, 0);
    const bool written = start != 0.0;
    if (!written && std::fabs(prior->value) < 1.0) start = prior->value;
    others += *prior;
  }
  for (unsigned follower : label.followers) follow(computation(follower), others);
  auto& block = dynamic_cast<MultiStruct&>(model(here->model));
  block.drive_correlation(here->position, others, label.prior >= 0, moves_equations);
  block_correlations_.push_back({&block, here->position, &label, start});
}

void label_wiring::settle_blocks() const {
  for (const block_correlation& c : block_correlations_) {
    const bool settled = search_start(
        c.start, [&](double x) { return admits(*c.label, x) && c.block->start_correlation(c.position, x); });
    if (!settled) no_correlation(c.label->name);
  }
}

void label_wiring::settle_correlations() const {
  // All values stand there before what follows from one of them is computed.
  for (const labelled_correlation& c : correlations_) {
    c.leader->rho.value = c.start;
    for (double* link : c.leader->rho.links) *link = c.start;
  }
  for (const labelled_correlation& c : correlations_) c.leader->addStarts({c.start});
  for (int step = 1; step <= steps; ++step) {
    if (phantoms_feasible(world_.models)) return;
    for (const labelled_correlation& c : correlations_) {
      const double x = c.start * (1.0 - static_cast<double>(step) / steps);
      if (admits(*c.label, x)) c.leader->addStarts({x});
    }
  }
  check_phantoms(world_.list, world_.models);
}

}  // namespace tovik::sem
