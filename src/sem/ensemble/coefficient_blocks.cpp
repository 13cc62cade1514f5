#include "sem/ensemble/coefficient_blocks.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "sem/outcomes/multi.hpp"
#include "sem/outcomes/multi_scale.hpp"
#include "sem/outcomes/nbinomial.hpp"
#include "sem/outcomes/parameter.hpp"
#include "support/error.hpp"

namespace tovik::sem {

using model::constraint_info;
using scan::coefficient_block;
using scan::parameter_prior;

joint_coefficients::joint_coefficients(std::shared_ptr<coefficient_block> block,
                                       std::vector<Regression*> equations, Random& rng)
    : block_(std::move(block)), equations_(std::move(equations)), rng_(rng) {
  block_->now = coefficient_block::phase::drawn;
  for (Regression* equation : equations_) {
    Multi* const outcomes = equation->link.get();
    const auto is_there = [&](const Regression* other) {
      return other != equation && other->link.get() == outcomes;
    };
    if (outcomes == nullptr || std::none_of(equations_.begin(), equations_.end(), is_there)) {
      alone_.push_back(equation);
      continue;
    }
    const auto is_same = [&](const correlated& c) { return c.block == outcomes; };
    const auto found = std::find_if(correlated_.begin(), correlated_.end(), is_same);
    if (found == correlated_.end())
      correlated_.push_back({outcomes, {equation}});
    else
      found->members.push_back(equation);
  }
  for (Regression* equation : equations_)
    if (auto* counts = dynamic_cast<NBinomial*>(equation)) counts_.push_back(counts);
  if (counts_.size() != equations_.size()) counts_.clear();
  parts_.resize(counts_.size());
  for (arma::uword p = 0; p < block_->parameters().size(); ++p) all_.push_back(p);
}

// Before the weights are drawn, which it integrates out.
void joint_coefficients::move_counts(const arma::Mat<double>& data) {
  if (counts_.empty()) return;
  for (std::size_t k = 0; k < counts_.size(); ++k) counts_[k]->tell_counts(data, all_, parts_[k]);
  block_->tell(all_, terms_);
  if (newton_.move(parts_, terms_, rng_)) block_->take(all_, terms_.value);
}

// All responses first: those of one equation may be predictors of the next. The effects come last, of all
// equations before anything else is drawn, since the coefficients were drawn without them.
void joint_coefficients::draw(arma::Mat<double>& data) {
  move_counts(data);
  bool ready = true;
  for (Regression* equation : equations_) ready = equation->make_ready(data) && ready;
  if (!ready) return;
  block_->clear();
  block_->now = coefficient_block::phase::collected;
  for (Regression* equation : alone_) equation->collect_coefficients(data);
  for (const auto& [outcomes, members] : correlated_) outcomes->collect_coefficients(data, members, *block_);
  block_->now = coefficient_block::phase::drawn;
  block_->draw(rng_);
  block_->settle_all();
  for (Regression* equation : alone_) equation->follow_coefficients(data);
}

coefficient_blocks::coefficient_blocks(const models& models, const std::vector<planned_label>& plan)
    : models_(models) {
  if (!sampler_settings::draw_label_blocks) return;
  for (const planned_label& label : plan)
    if (suits(label)) join(label);
  groups_.erase(
      std::remove_if(groups_.begin(), groups_.end(), [this](group& g) { return !sort_equations(g); }),
      groups_.end());
}

Regression& coefficient_blocks::equation(unsigned model) const {
  return dynamic_cast<Regression&>(*models_.at(model));
}

bool coefficient_blocks::suits(const planned_label& label) const {
  if (label.role != label_role::drawn || !label.followers.empty() || label.places.empty()) return false;
  for (const constraint_info& info : label.places) {
    if (info.kind != constraint_info::place::fixed) return false;
    const auto* holder = dynamic_cast<const Regression*>(models_.at(info.model).get());
    if (holder == nullptr || info.position >= holder->betas_.n_elem) return false;
    // The products of a block know one matrix for all units, and no sampling weights.
    const Multi* const outcomes = holder->link.get();
    if (outcomes != nullptr && holder->sampling() != nullptr) return false;
    if (dynamic_cast<const MultiScale*>(outcomes) != nullptr) return false;
  }
  parameter_prior unused;
  return prior_of(label, unused);
}

// Without one the label has that of its first place.
bool coefficient_blocks::prior_of(const planned_label& label, parameter_prior& out) const {
  if (label.prior < 0) {
    const constraint_info& first = label.places.front();
    out.precision = 1.0 / equation(first.model).coefficient_variance(first.position);
    return true;
  }
  const auto& prior = dynamic_cast<const Parameter&>(*models_.at(static_cast<unsigned>(label.prior)));
  switch (prior.dist) {
    case distribution::normal:
      out.precision = 1.0 / prior.b;
      out.mean = prior.a;
      return prior.b > 0.0 && out.precision > 0.0 && std::isfinite(out.precision) && std::isfinite(out.mean);
    case distribution::uniform:
    case distribution::truncate:
      out.lower = prior.a;
      out.upper = prior.b;
      return prior.a < prior.b;
    default:
      return false;
  }
}

/// One group of the label and of all groups that share an equation with it.
void coefficient_blocks::join(const planned_label& label) {
  group joined;
  for (const constraint_info& info : label.places) {
    if (std::find(joined.equations.begin(), joined.equations.end(), info.model) == joined.equations.end())
      joined.equations.push_back(info.model);
  }
  const auto shares = [&](const group& g) {
    return std::any_of(g.equations.begin(), g.equations.end(), [&](unsigned e) {
      return std::find(joined.equations.begin(), joined.equations.end(), e) != joined.equations.end();
    });
  };
  std::vector<group> rest;
  for (group& g : groups_) {
    if (!shares(g)) {
      rest.push_back(std::move(g));
      continue;
    }
    joined.labels.insert(joined.labels.end(), g.labels.begin(), g.labels.end());
    joined.equations.insert(joined.equations.end(), g.equations.begin(), g.equations.end());
    std::sort(joined.equations.begin(), joined.equations.end());
    joined.equations.erase(std::unique(joined.equations.begin(), joined.equations.end()),
                           joined.equations.end());
  }
  joined.labels.push_back(&label);
  rest.push_back(std::move(joined));
  groups_ = std::move(rest);
}

/// Puts each behind those whose outcomes it reads; false where they go round in a circle.
bool coefficient_blocks::sort_equations(group& g) const {
  std::vector<unsigned> left = g.equations, sorted;
  std::sort(left.begin(), left.end());
  const auto waits = [&](unsigned e) {
    return std::any_of(left.begin(), left.end(), [&](unsigned other) {
      if (other == e) return false;
      const arma::Col<arma::uword> columns = models_[other]->columns();
      return std::any_of(columns.begin(), columns.end(), [&](arma::uword c) { return models_[e]->reads(c); });
    });
  };
  while (!left.empty()) {
    const auto next = std::find_if_not(left.begin(), left.end(), waits);
    if (next == left.end()) return false;
    sorted.push_back(*next);
    left.erase(next);
  }
  g.equations = std::move(sorted);
  return true;
}

bool coefficient_blocks::holds(const planned_label& label) const {
  return std::any_of(groups_.begin(), groups_.end(), [&](const group& g) {
    return std::find(g.labels.begin(), g.labels.end(), &label) != g.labels.end();
  });
}

void coefficient_blocks::add(const planned_label& label,
                             const std::shared_ptr<estimator::constraint>& parameter) {
  member m{&label, parameter, {}};
  if (!prior_of(label, m.prior)) throw error_debug("The label has no place in a block.");
  for (const constraint_info& info : label.places) equation(info.model).label_coefficient(info.position);
  members_.push_back(std::move(m));
}

std::vector<std::unique_ptr<joint_coefficients>> coefficient_blocks::build(Random& rng) {
  std::vector<std::unique_ptr<joint_coefficients>> out;
  for (const group& g : groups_)
    if (auto joint = build(g, rng)) out.push_back(std::move(joint));
  return out;
}

/// Bounded parameters, other labels, then the coefficients without labels, equation by equation.
std::unique_ptr<joint_coefficients> coefficient_blocks::build(const group& g, Random& rng) const {
  std::vector<const member*> labels;
  for (const member& m : members_)
    if (std::find(g.labels.begin(), g.labels.end(), m.label) != g.labels.end()) labels.push_back(&m);
  std::stable_partition(labels.begin(), labels.end(), [](const member* m) { return m->prior.bounded(); });
  std::vector<coefficient_block::parameter> parameters;
  std::vector<arma::Col<arma::uword>> of_equation;
  for (unsigned e : g.equations)
    of_equation.emplace_back(equation(e).betas_.n_elem, arma::fill::value(coefficient_block::none));
  for (const member* m : labels) {
    const constraint_info& first = m->label->places.front();
    for (const constraint_info& info : m->label->places) {
      const auto at = std::find(g.equations.begin(), g.equations.end(), info.model) - g.equations.begin();
      of_equation[static_cast<std::size_t>(at)](info.position) = parameters.size();
    }
    const bool several = std::any_of(m->label->places.begin(), m->label->places.end(),
                                     [&](const constraint_info& info) { return info.model != first.model; });
    parameters.push_back(
        {m->prior, equation(first.model).betas_.memptr() + first.position, m->parameter, several});
  }
  for (std::size_t k = 0; k < g.equations.size(); ++k) {
    Regression& e = equation(g.equations[k]);
    for (arma::uword j : e.free) {
      of_equation[k](j) = parameters.size();
      parameters.push_back({{1.0 / e.coefficient_variance(j)}, e.betas_.memptr() + j});
    }
  }
  auto block = std::make_shared<coefficient_block>(std::move(parameters));
  std::vector<Regression*> equations;
  for (std::size_t k = 0; k < g.equations.size(); ++k) {
    equations.push_back(&equation(g.equations[k]));
    equations.back()->share_coefficients(block, of_equation[k]);
  }
  if (equations.size() == 1) return nullptr;
  return std::make_unique<joint_coefficients>(std::move(block), std::move(equations), rng);
}

}  // namespace tovik::sem
