#include "sem/ensemble/labels.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "model/model_list.hpp"
#include "random/densities.hpp"
#include "sem/ensemble/label_wiring.hpp"
#include "sem/ensemble/sheared_label.hpp"
#include "sem/outcomes/computation.hpp"
#include "sem/outcomes/lambda_holder.hpp"
#include "sem/outcomes/parameter.hpp"
#include "sem/outcomes/yeo_johnson.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik::sem {

namespace {

using estimator::constraint;
using place = model::constraint_info::place;

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

}  // namespace

label_wiring::label_wiring(const label_world& world)
    : world_(world), plan_(plan_labels(world.list)), blocks_(world.models, plan_) {}

wired_labels label_wiring::wire() {
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

evaluate::value* label_wiring::cell(const std::string& key) const {
  const auto found = world_.cells.find(key);
  return found == world_.cells.end() ? nullptr : found->second.cell.get();
}

void label_wiring::bind(const std::string& key, double* address) const {
  if (evaluate::value* c = cell(key)) c->set(address);
}

void label_wiring::bind_variances() const {
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

Computation& label_wiring::computation(unsigned i) const {
  return dynamic_cast<Computation&>(model(i));
}

void label_wiring::bind_computation(unsigned i) const {
  if (auto* node = dynamic_cast<Computation*>(&model(i))) bind(to_lower(world_.list[i].name()), node->ptr());
}

unsigned label_wiring::effect_level(const constraint_info& info) const {
  return static_cast<unsigned>(world_.list[info.model].levels - 1 - info.level);
}

double* label_wiring::address(const constraint_info& info) const {
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

lambda_holder& label_wiring::holder_of(const constraint_info& info) const {
  return dynamic_cast<lambda_holder&>(model(info.model));
}

bool label_wiring::keep_lambda(const planned_label& label) const {
  if (label.prior < 0 || !label.followers.empty() || label.places.size() != 1) return false;
  if (label.places.front().kind != place::lambda) return false;
  const auto prior =
      std::dynamic_pointer_cast<Parameter>(world_.models.at(static_cast<std::size_t>(label.prior)));
  lambda_holder& holder = holder_of(label.places.front());
  holder.take_lambda_prior(prior, {prior->value.memptr()});
  bind(label.key, holder.lambda_address());
  return true;
}

void label_wiring::bind_handle(const planned_label& label) const {
  if (!label.places.empty()) bind(label.key, address(label.places.front()));
}

constraint::term label_wiring::model_term(unsigned i) const {
  const estimator::Outcome* holder = &model(i);
  // The same key as the model's own terms have.
  const void* source = holder->link != nullptr ? static_cast<const void*>(holder->link.get())
                                               : holder->likelihoodFunc(likelihood_type::imputed).source();
  return {source,
          [holder](const double&, const arma::Mat<double>& data) { return holder->logLiklihood(data); }};
}

double label_wiring::take(const constraint_info& info, constraint& to) const {
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

void label_wiring::place_derived(const planned_label& label) const {
  if (label.places.empty()) return;
  Computation& node = computation(static_cast<unsigned>(label.computation));
  node.places = std::make_unique<constraint>(label.name);
  for (const constraint_info& info : label.places) take(info, *node.places);
}

void label_wiring::make_drawn(const planned_label& label) {
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

void label_wiring::keep(const planned_label& label, drawn_label drawn) {
  drawn_.push_back(std::move(drawn));
  planned_.push_back(&label);
}

void label_wiring::add_cell(const planned_label& label, constraint& parameter) const {
  evaluate::value* c = cell(label.key);
  if (c == nullptr) return;
  c->set(nullptr);
  add_link(parameter, c->get());
}

void label_wiring::add_link(constraint& parameter, double* address) {
  parameter.links.push_back(address);
  ++parameter.n_links;
}

void label_wiring::make_block_label(const planned_label& label, drawn_label out) {
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

bool label_wiring::starts_at_lambda(const planned_label& label) {
  return !label.places.empty() && label.places.front().kind == place::lambda;
}

void label_wiring::add_prior(const planned_label& label, constraint& parameter) const {
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

void label_wiring::follow(Computation& node, constraint& parameter) const {
  parameter.refresh.emplace_back([&node] { node.update(); });
  if (node.places == nullptr) return;
  for (const constraint::term& f : node.places->likelihoods) parameter.add_once(f);
}

wired_labels wire_labels(const label_world& world) {
  return label_wiring(world).wire();
}

std::vector<Computation*> computations_of(const std::vector<std::shared_ptr<estimator::Outcome>>& models) {
  std::vector<Computation*> out;
  for (const auto& model : models) {
    if (auto* node = dynamic_cast<Computation*>(model.get())) out.push_back(node);
  }
  return out;
}

}  // namespace tovik::sem
