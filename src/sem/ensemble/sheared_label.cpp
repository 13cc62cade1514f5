#include "sem/ensemble/sheared_label.hpp"

#include <algorithm>
#include <memory>
#include <utility>

#include "sem/ensemble/labels.hpp"
#include "sem/outcomes/parameter.hpp"

namespace tovik::sem {

namespace {

using places = std::vector<sheared_label::place>;

/// Of a label that stands at coefficients of regressions and nowhere else; else empty.
places places_of(const planned_label& label, const coefficient_blocks::models& models) {
  places out;
  for (const model::constraint_info& info : label.places) {
    auto* equation = dynamic_cast<Regression*>(models.at(info.model).get());
    if (info.kind != model::constraint_info::place::fixed || equation == nullptr) return {};
    out.push_back({equation, info.position});
  }
  return out;
}

bool positive_everywhere(const planned_label& label, const coefficient_blocks::models& models) {
  if (label.prior < 0) return true;
  const auto& prior = dynamic_cast<const Parameter&>(*models.at(static_cast<unsigned>(label.prior)));
  return prior.dist == distribution::normal || prior.dist == distribution::laplace ||
         prior.dist == distribution::cauchy;
}

sheared_label::companion companion_of(const planned_label& label, const places& places,
                                      estimator::constraint& parameter, const coefficient_blocks& blocks) {
  sheared_label::companion out = {&parameter, places, parameter.likelihoods, 0.0};
  scan::parameter_prior prior;
  if (!blocks.holds(label) || !blocks.prior_of(label, prior)) return out;
  out.precision = prior.precision;
  out.densities.emplace_back([prior](const double& x, const arma::Mat<double>&) {
    return -0.5 * prior.precision * (x - prior.mean) * (x - prior.mean);
  });
  return out;
}

bool meet(const places& a, const places& b) {
  return std::any_of(a.begin(), a.end(), [&](const auto& p) {
    return std::any_of(b.begin(), b.end(), [&](const auto& q) { return p.equation == q.equation; });
  });
}

double curvature(const places& a, const places& b) {
  double sum = 0.0;
  for (const auto& p : a)
    for (const auto& q : b)
      if (p.equation == q.equation) sum += p.equation->label_curvature(p.position, q.position);
  return sum;
}

}  // namespace

sheared_label::sheared_label(const estimator::constraint& walk, std::vector<place> places)
    : constraint(walk), places_(std::move(places)) {
  for (const place& p : places_) equations_.push_back(p.equation);
}

void sheared_label::add(const companion& other) {
  for (const place& p : other.places) {
    equations_.push_back(p.equation);
    add_once(p.equation->coefficient_term());
  }
  for (const term& f : other.densities) {
    add_once({f.source(), [label = other.label, f](const double&, const arma::Mat<double>& data) {
                return f(label->value, data);
              }});
  }
  companions_.push_back(other);
  slopes_.zeros(companions_.size());
  anchors_.zeros(companions_.size());
}

void sheared_label::anchor() {
  anchor_ = value;
  for (std::size_t k = 0; k < companions_.size(); ++k) anchors_(k) = companions_[k].label->value;
}

void sheared_label::move(double x) {
  for (std::size_t k = 0; k < companions_.size(); ++k)
    companions_[k].label->write(anchors_(k) - slopes_(k) * (x - anchor_));
  write(x);
  for (Regression* equation : equations_) equation->follow_labels();
}

void sheared_label::connect() {
  arma::uword const n = companions_.size();
  arma::Mat<double> M(n, n);
  arma::Col<double> m(n), slopes;
  for (arma::uword k = 0; k < n; ++k) {
    m(k) = curvature(companions_[k].places, places_);
    for (arma::uword l = 0; l < n; ++l) M(k, l) = curvature(companions_[k].places, companions_[l].places);
    M(k, k) += companions_[k].precision;
  }
  if (arma::solve(slopes, M, m, arma::solve_opts::no_approx) && slopes.is_finite())
    slopes_ = slopes;
  else
    slopes_.zeros();
}

void shear_labels(const std::vector<const planned_label*>& planned, const coefficient_blocks& blocks,
                  const coefficient_blocks::models& models, std::vector<drawn_label>& labels) {
  if (!sampler_settings::draw_label_blocks) return;
  std::vector<places> of_label;
  std::vector<sheared_label*> sheared(labels.size(), nullptr);
  for (const planned_label* label : planned) of_label.push_back(places_of(*label, models));
  const auto goes_along = [&](std::size_t k, std::size_t l) {
    return k != l && meet(of_label[k], of_label[l]) && positive_everywhere(*planned[l], models);
  };
  // All stand where they will stay before one holds another.
  for (std::size_t k = 0; k < labels.size(); ++k) {
    bool has_companions = false;
    for (std::size_t l = 0; l < labels.size(); ++l) has_companions = has_companions || goes_along(k, l);
    if (!has_companions || !labels[k].constraint->walks()) continue;
    auto replaced = std::make_shared<sheared_label>(*labels[k].constraint, of_label[k]);
    sheared[k] = replaced.get();
    labels[k].constraint = std::move(replaced);
  }
  // The densities of each by itself, before those of companions join them.
  std::vector<sheared_label::companion> companions;
  for (std::size_t l = 0; l < labels.size(); ++l)
    companions.push_back(companion_of(*planned[l], of_label[l], *labels[l].constraint, blocks));
  for (std::size_t k = 0; k < labels.size(); ++k) {
    if (sheared[k] == nullptr) continue;
    for (std::size_t l = 0; l < labels.size(); ++l)
      if (goes_along(k, l)) sheared[k]->add(companions[l]);
  }
}

}  // namespace tovik::sem
