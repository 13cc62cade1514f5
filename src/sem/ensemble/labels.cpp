#include "sem/ensemble/labels.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <utility>

#include "evaluate/value.hpp"
#include "model/model_list.hpp"
#include "random/densities.hpp"
#include "sem/ensemble/label_plan.hpp"
#include "sem/ensemble/sheared_label.hpp"
#include "sem/outcomes/computation.hpp"
#include "sem/outcomes/lambda_holder.hpp"
#include "sem/outcomes/multi_struct.hpp"
#include "sem/outcomes/parameter.hpp"
#include "sem/outcomes/yeo_johnson.hpp"
#include "sem/phantoms/phantom.hpp"
#include "sem/phantoms/phantom_links.hpp"
#include "sem/wiring/proposals.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik::sem {

namespace {

using estimator::constraint;
using model::constraint_info;
using place = constraint_info::place;

/// The parts of a variance that expressions read by name.
constexpr std::array<std::pair<const char*, parameter_type>, 5> variance_names = {{
    {".coefvar", parameter_type::coef_var},
    {".iceptvar", parameter_type::icept_total},
    {".slopevar", parameter_type::slope_total},
    {".residvar", parameter_type::residual_variance_read},
    {".totalvar", parameter_type::total_var},
}};

/// Log density of the default prior of a residual variance, up to a constant; `unit`: the 1 of the first
/// prior.
constraint::term variance_prior(int code, double unit) {
  return [code, unit](const double& v, const arma::Mat<double>&) {
    switch (code) {
      case 1:
        return v > 0.0 ? dinvgamma(v, 1.0, 0.5 * unit, true) : -INFINITY;
      case 2:
        return 0.0;
      case 3:
        return -std::log(v);
      default:
        throw error_debug("Unknown prior for a variance.");
    }
  };
}

/// Of a coefficient with the prior N(0, v).
constraint::term coefficient_prior(double v) {
  return [v](const double& b, const arma::Mat<double>&) { return -0.5 * b * b / v; };
}

class wiring {
 public:
  explicit wiring(const label_world& world)
      : world_(world), plan_(plan_labels(world.list)), blocks_(world.models, plan_) {}

  wired_labels wire() {
    bind_variances();
    for (unsigned i = 0; i < world_.models.size(); ++i) bind_computation(i);
    for (const planned_label& label : plan_) {
      if (label.role == label_role::derived) place_derived(label);
    }
    for (const planned_label& label : plan_) {
      if (label.role == label_role::handle) bind_handle(label);
      if (label.role == label_role::correlation) join_correlations(label);
      if (label.role == label_role::drawn && !keep_lambda(label)) make_drawn(label);
    }
    wired_labels out;
    out.blocks = blocks_.build(world_.rng);
    shear_labels(planned_, blocks_, world_.models, drawn_);
    for (const auto& model : world_.models) model->connectDriven(world_.data);
    start();
    out.labels = std::move(drawn_);
    return out;
  }

 private:
  estimator::Outcome& model(unsigned i) const { return *world_.models.at(i); }

  evaluate::value* cell(const std::string& key) const {
    const auto found = world_.cells.find(key);
    return found == world_.cells.end() ? nullptr : found->second.cell.get();
  }

  void bind(const std::string& key, double* address) const {
    if (evaluate::value* c = cell(key)) c->set(address);
  }

  void bind_variances() const {
    for (unsigned i = 0; i < world_.list.size(); ++i) {
      // The names may still be another model's.
      if (!model::shows_variances(world_.list[i].kind(), world_.list[i].link)) continue;
      for (const model::anyVariable& outcome : world_.list[i].outcomes) {
        if (outcome.variable == nullptr) continue;
        for (const auto& [part, kind] : variance_names) {
          const std::string key = to_lower(outcome.fullname_noModifer() + part);
          if (cell(key) != nullptr) bind(key, model(i).constraint(kind, 0, 0)->ptr());
        }
      }
    }
  }

  void bind_computation(unsigned i) const {
    if (auto* node = dynamic_cast<Computation*>(&model(i)))
      bind(to_lower(world_.list[i].name()), node->ptr());
  }

  Computation& computation(unsigned i) const { return dynamic_cast<Computation&>(model(i)); }

  /// Level of random effects by the catalogue's number: the nearest above the outcome first.
  unsigned effect_level(const constraint_info& info) const {
    return static_cast<unsigned>(world_.list[info.model].levels - 1 - info.level);
  }

  double* address(const constraint_info& info) const {
    estimator::Outcome& holder = model(info.model);
    switch (info.kind) {
      case place::fixed:
        if (info.position >= holder.betas().n_elem) break;
        return const_cast<double*>(holder.betas().memptr()) + info.position;
      case place::variance:
        return holder.constraint(parameter_type::residual_variance_read, 0, 0)->ptr();
      case place::random: {
        const unsigned L = effect_level(info);
        const unsigned q = static_cast<unsigned>(holder.n_random(L));
        return holder.constraint(parameter_type::random_covariance, info.position * (q + 1), L)->ptr();
      }
      case place::lambda:
        return holder_of(info).lambda_address();
      default:
        break;
    }
    throw error_debug("Could not find parameter name in map.");
  }

  lambda_holder& holder_of(const constraint_info& info) const {
    return dynamic_cast<lambda_holder&>(model(info.model));
  }

  /// The lambda of one equation that nothing else follows stays with it, and takes its prior along.
  bool keep_lambda(const planned_label& label) const {
    if (label.prior < 0 || !label.followers.empty() || label.places.size() != 1) return false;
    if (label.places.front().kind != place::lambda) return false;
    const auto prior =
        std::dynamic_pointer_cast<Parameter>(world_.models.at(static_cast<std::size_t>(label.prior)));
    lambda_holder& holder = holder_of(label.places.front());
    holder.take_lambda_prior(prior, {prior->value.memptr()});
    bind(label.key, holder.lambda_address());
    return true;
  }

  void bind_handle(const planned_label& label) const {
    if (!label.places.empty()) bind(label.key, address(label.places.front()));
  }

  /// The first phantom with the label draws it, for all others and for what else carries the label.
  void join_correlations(const planned_label& label) {
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
      others += *prior;
    }
    for (unsigned follower : label.followers) follow(computation(follower), others);
    if (!others.likelihoods.empty() || !others.links.empty() || !others.refresh.empty())
      leader->addRho(others, label.prior >= 0, moves_equations);
    correlations_.push_back({leader, &label, start});
    bind(label.key, leader->constraint(parameter_type::phantom_correlation, 0, 0)->ptr());
  }

  /// A correlation of a block alone, which the block draws whether or not it has a prior and other places.
  void join_block(const planned_label& label, constraint& others) {
    const auto here = std::find_if(label.places.begin(), label.places.end(), [](const constraint_info& info) {
      return info.kind == place::correlation;
    });
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

  /// As settle_correlations() does with phantoms: towards 0 until the matrices of the blocks have them.
  void settle_blocks() const {
    constexpr int steps = 20;
    for (const block_correlation& c : block_correlations_) {
      bool settled = false;
      for (int step = 0; step <= steps && !settled; ++step) {
        const double x = c.start * (1.0 - static_cast<double>(step) / steps);
        settled = admits(*c.label, x) && c.block->start_correlation(c.position, x);
      }
      if (settled) continue;
      throw error("ERROR: The prior of the correlation '" + c.label->name +
                  "' leaves its outcomes no covariance matrix.");
    }
  }

  /// The middles of several priors may leave an outcome nothing beside its correlations: all starts then go
  /// towards 0, each as far as its prior lets it. Throws tovik::error where that does not do.
  void settle_correlations() const {
    // All values stand there before what follows from one of them is computed.
    for (const labelled_correlation& c : correlations_) {
      c.leader->rho.value = c.start;
      for (double* link : c.leader->rho.links) *link = c.start;
    }
    for (const labelled_correlation& c : correlations_) c.leader->addStarts({c.start});
    constexpr int steps = 20;
    for (int step = 1; step <= steps; ++step) {
      if (phantoms_feasible(world_.models)) return;
      for (const labelled_correlation& c : correlations_) {
        const double x = c.start * (1.0 - static_cast<double>(step) / steps);
        if (admits(*c.label, x)) c.leader->addStarts({x});
      }
    }
    check_phantoms(world_.list, world_.models);
  }

  /// The likelihood of a model that reads the parameter inside a term.
  constraint::term model_term(unsigned i) const {
    const estimator::Outcome* holder = &model(i);
    // The same key as the model's own terms have.
    const void* source = holder->link != nullptr ? static_cast<const void*>(holder->link.get())
                                                 : holder->likelihoodFunc(likelihood_type::imputed).source();
    return {source,
            [holder](const double&, const arma::Mat<double>& data) { return holder->logLiklihood(data); }};
  }

  /// Takes a place over into `to`; returns what one place tells of the proposal: 1 / variance.
  double take(const constraint_info& info, constraint& to) const {
    estimator::Outcome& holder = model(info.model);
    switch (info.kind) {
      case place::fixed: {
        to += *holder.constraint(parameter_type::coefficient, info.position, 0);
        return 1.0 / holder.betaCovB(world_.data, info.position)(0, 0);
      }
      case place::variance: {
        const auto variance = holder.constraint(parameter_type::residual_variance, 0, 0);
        to += *variance;
        return 1.0 / variance->variance;
      }
      case place::lambda: {
        const auto lambda = holder.constraint(parameter_type::lambda, 0, 0);
        to += *lambda;
        return 1.0 / lambda->variance;
      }
      case place::computed:
      case place::computed_random:
        to.add_once(model_term(info.model));
        return 0.0;
      default:
        throw error_debug("Could not find parameter name in map.");
    }
  }

  void place_derived(const planned_label& label) const {
    if (label.places.empty()) return;
    Computation& node = computation(static_cast<unsigned>(label.computation));
    node.places = std::make_unique<constraint>(label.name);
    for (const constraint_info& info : label.places) take(info, *node.places);
  }

  void make_drawn(const planned_label& label) {
    drawn_label out;
    out.name = label.name;
    out.appearances = label.appearances;
    out.searched = label.prior >= 0 || !label.followers.empty();
    out.constraint = std::make_shared<constraint>(label.name);
    constraint& parameter = *out.constraint;
    parameter.rng = &world_.rng;
    if (blocks_.holds(label)) {
      make_block_label(label, std::move(out));
      return;
    }
    add_prior(label, parameter);
    double precision = 0.0;
    for (const constraint_info& info : label.places) {
      precision += take(info, parameter);
      if (info.kind != place::variance) out.searched = true;
    }
    const double variance = 1.0 / precision;
    parameter.variance = std::isfinite(variance) && variance > 0.0 ? variance : 1.0;
    add_cell(label, parameter);
    for (unsigned follower : label.followers) follow(computation(follower), parameter);
    keep(label, std::move(out));
  }

  void keep(const planned_label& label, drawn_label drawn) {
    drawn_.push_back(std::move(drawn));
    planned_.push_back(&label);
  }

  /// The cell holds its own number, one of the places that follow the parameter.
  void add_cell(const planned_label& label, constraint& parameter) const {
    evaluate::value* c = cell(label.key);
    if (c == nullptr) return;
    c->set(nullptr);
    add_link(parameter, c->get());
  }

  static void add_link(constraint& parameter, double* address) {
    parameter.links.push_back(address);
    ++parameter.n_links;
  }

  void make_block_label(const planned_label& label, drawn_label out) {
    for (const constraint_info& info : label.places) add_link(*out.constraint, address(info));
    if (label.prior >= 0) {
      const auto value = model(static_cast<unsigned>(label.prior)).constraint(parameter_type::value, 0, 0);
      add_link(*out.constraint, value->ptr());
    }
    add_cell(label, *out.constraint);
    out.searched = false;
    blocks_.add(label, out.constraint);
    keep(label, std::move(out));
  }

  static bool starts_at_lambda(const planned_label& label) {
    return !label.places.empty() && label.places.front().kind == place::lambda;
  }

  void add_prior(const planned_label& label, constraint& parameter) const {
    if (label.prior >= 0) {
      parameter += *model(static_cast<unsigned>(label.prior)).constraint(parameter_type::value, 0, 0);
    } else if (starts_at_lambda(label)) {
      const auto prior = default_lambda_prior(model(label.places.front().model).estimator);
      parameter.likelihoods.emplace_back(
          [prior](const double& x, const arma::Mat<double>& data) { return prior->prior(x, data); });
    } else if (!label.places.empty() && label.places.front().kind == place::variance) {
      parameter.likelihoods.push_back(
          variance_prior(world_.prior.resvar, model(label.places.front().model).residual_unit()));
    } else if (!label.places.empty() && label.places.front().kind == place::fixed) {
      const constraint_info& first = label.places.front();
      const double v = model(first.model).coefficient_variance(first.position);
      if (std::isfinite(v)) parameter.likelihoods.push_back(coefficient_prior(v));
    }
  }

  void follow(Computation& node, constraint& parameter) const {
    parameter.refresh.emplace_back([&node] { node.update(); });
    if (node.places == nullptr) return;
    for (const constraint::term& f : node.places->likelihoods) parameter.add_once(f);
  }

  const model::parameter* written_at(const constraint_info& info, model::parameter& scratch) const {
    const Model& equation = world_.list[info.model];
    if (info.kind == place::variance) return &equation.variance;
    if (info.kind == place::lambda) return &equation.outcomes.front().lambda;
    if (info.kind != place::fixed) return nullptr;
    scratch = equation.fixedParameters().at(info.position);
    return &scratch;
  }

  /// Whether the drawn parameter can stand at x: its prior has a density there, and no variance is negative.
  bool admits(const planned_label& label, double x) const {
    for (const constraint_info& info : label.places) {
      if (info.kind == place::variance && !(x > 0.0)) return false;
    }
    if (label.prior < 0) return std::isfinite(x);
    const auto& node = dynamic_cast<const Parameter&>(model(static_cast<unsigned>(label.prior)));
    return std::isfinite(node.prior(x, world_.data));
  }

  /// The identity or the user's start, within the range of the prior.
  double start_of_lambda(const planned_label& label) const {
    const double x = *address(label.places.front());
    if (label.prior < 0) return inside(*default_lambda_prior(model(label.places.front().model).estimator), x);
    return inside(dynamic_cast<const Parameter&>(model(static_cast<unsigned>(label.prior))), x);
  }

  /// The user's start, else the middle of the prior, else the first place's own. A start of the user holds
  /// whatever the prior says of it.
  double start_of(const planned_label& label) const {
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
    const bool in_term =
        std::any_of(label.places.begin(), label.places.end(),
                    [](const constraint_info& info) { return info.kind == place::computed; });
    for (double x : candidates) {
      if (in_term && x == 0.0) x = admits(label, 0.1) ? 0.1 : -0.1;
      if (admits(label, x)) return x;
    }
    return candidates.front();
  }

  void start() {
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

  const label_world& world_;
  std::vector<planned_label> plan_;
  coefficient_blocks blocks_;
  std::vector<drawn_label> drawn_;
  std::vector<const planned_label*> planned_;  ///< of each drawn label
  struct labelled_correlation {
    Phantom* leader;
    const planned_label* label;
    double start;
  };
  std::vector<labelled_correlation> correlations_;
  struct block_correlation {
    MultiStruct* block;
    unsigned position;
    const planned_label* label;
    double start;
  };
  std::vector<block_correlation> block_correlations_;
};

}  // namespace

wired_labels wire_labels(const label_world& world) {
  return wiring(world).wire();
}

std::vector<Computation*> computations_of(const std::vector<std::shared_ptr<estimator::Outcome>>& models) {
  std::vector<Computation*> out;
  for (const auto& model : models) {
    if (auto* node = dynamic_cast<Computation*>(model.get())) out.push_back(node);
  }
  return out;
}

}  // namespace tovik::sem
