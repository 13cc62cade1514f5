#include "sem/outcomes/phantom.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "sem/densities.hpp"
#include "sem/estimator.hpp"
#include "sem/random.hpp"
#include "support/error.hpp"

namespace tovik::sem {

namespace {
constexpr double half_log_2_pi = 0.9189385332046728;
}

/// The scores as the steps on values see them: a change of a score from where the step began adds what both
/// sides gain.
class Phantom::score_target : public scan::value_target {
 public:
  score_target(Phantom const& model, std::vector<double> start) : model_(model), start_(std::move(start)) {}

  void write(arma::Mat<double>& data, arma::Col<arma::uword> const& which, double const* values,
             unsigned char*) override {
    for (arma::uword j = 0; j < which.n_elem; ++j) model_.write(data, which(j), values[j]);
  }
  void log_likelihood(arma::Mat<double> const& data, arma::Col<arma::uword> const& units,
                      double* out) override {
    double const* P = data.colptr(model_.y(0));
    delta_.resize(start_.size());
    for (arma::uword j = 0; j < units.n_elem; ++j) delta_[j] = P[model_.row(units(j))] - start_[units(j)];
    std::fill_n(out, units.n_elem, 0.0);
    for (auto const& side : model_.sides_) side->add_gain(units, delta_.data(), out);
  }
  void log_density(arma::Mat<double> const& data, arma::Col<arma::uword> const& units, double* out) override {
    log_likelihood(data, units, out);
    double const* P = data.colptr(model_.y(0));
    for (arma::uword j = 0; j < units.n_elem; ++j) {
      double const x = P[model_.row(units(j))];
      out[j] -= 0.5 * x * x;
    }
  }

 private:
  Phantom const& model_;
  std::vector<double> start_, delta_;
};

Phantom::Phantom(Estimator const* estimator_, phantom_setup const& setup)
    : Outcome(estimator_, data::type::phantom, arma::Col<arma::uword>{setup.column}, {}, {}, {}, {}, {},
              setup.n_levels, setup.level, false),
      value_node("Phantom"),
      cluster(setup.cluster),
      rho(estimator_->rng(), setup.c),
      fixed_(setup.fixed) {
  if (cluster.own_rows.empty()) throw error_debug("The phantom has no units.");
  if (setup.n_levels > cluster.n_levels())
    throw error_debug("The phantom has more levels than its clusters.");
  rho.value = setup.fixed ? setup.value : 0.0;
  rho.level = setup.level;
  if (fixed_) rho.hold();
  arma::uword const n = cluster.own_rows[0]->n_elem;
  groups_ = scan::value_groups(arma::regspace<arma::Col<arma::uword>>(0, n - 1), setup.level, {});
  mean_.assign(n, 0.0);
}

void Phantom::attach(std::unique_ptr<correlated_side> side) {
  correlated_side* end = side.get();
  sides_.push_back(std::move(side));
  rho.links.push_back(end->rho());
  rho.n_links = static_cast<unsigned>(rho.links.size());
  rho.refresh.emplace_back([end] { end->refresh(); });
  rho.add_once({end->source(), [this, end](double const&, arma::Mat<double> const& data) {
                  if (entangled_) end->begin(data, nullptr);
                  return end->log_density();
                }});
}

void Phantom::follow(Phantom& leader) {
  rho.hold();
  estimator::constraint here = rho;
  here.links.push_back(&rho.value);
  entangled_ = true;
  leader.addRho(here);
}

void Phantom::addRho(estimator::constraint const& label, bool has_prior) {
  rho += label;
  if (has_prior) rho.drop_prior();
  entangled_ = entangled_ || !label.likelihoods.empty();
}

void Phantom::set_pass(std::shared_ptr<phantom_pass> pass, bool begins) {
  pass_ = std::move(pass);
  begins_pass_ = begins;
}

void Phantom::write(arma::Mat<double>& data, arma::uword unit, double value) const {
  double* column = data.colptr(y(0));
  if (level == 0)
    column[unit] = value;
  else
    std::fill_n(column + cluster.rows->start[unit], cluster.rows->count[unit], value);
}

void Phantom::draw_start(arma::Mat<double>& data) {
  scores_.resize(mean_.size());
  rng->fill_randn(scores_.data(), scores_.size());
  for (arma::uword i = 0; i < scores_.size(); ++i) write(data, i, scores_[i]);
}

void Phantom::begin(arma::Mat<double> const& data) {
  if (pass_ != nullptr && begins_pass_) ++pass_->number;
  for (auto const& side : sides_) side->begin(data, pass_.get());
}

void Phantom::draw(arma::Mat<double>& data) {
  begin(data);
  rho.draw(data);
  // The last evaluation may have been of a candidate that was rejected.
  if (entangled_)
    for (auto const& side : sides_) side->begin(data, nullptr);
  draw_scores(data);
}

void Phantom::draw_scores(arma::Mat<double>& data) {
  arma::uword const n = mean_.size();
  scores_.resize(n);
  for (arma::uword i = 0; i < n; ++i) scores_[i] = data(row(i), y(0));
  for (auto const& side : sides_) side->begin_scores();
  score_target target(*this, scores_);
  scan::row_scale const unit;
  if (ess_sampler)
    slice_.draw(groups_, target, mean_.data(), unit, *rng, ess_max_niter, data, scores_.data());
  else
    metropolis_.draw(groups_, target, unit, *rng, imp_tune, data, scores_.data());
  for (auto const& side : sides_) side->scores_changed(data);
}

arma::Col<double> Phantom::logLiklihood(arma::Mat<double> const& data, int const& at_level) const {
  int const above = at_level - static_cast<int>(level);
  if (above < 0 || static_cast<unsigned>(above) > cluster.n_levels())
    throw error_debug("The phantom has no likelihood at this level.");
  arma::uword const n = mean_.size();
  arma::Col<double> out(above == 0 ? n : cluster.n_clusters(above - 1), arma::fill::zeros);
  for (arma::uword i = 0; i < n; ++i) {
    double const x = data(row(i), y(0));
    arma::uword const unit = above == 0 ? i : (*cluster.row_cluster[static_cast<std::size_t>(above) - 1])(i);
    out(unit) -= half_log_2_pi + 0.5 * x * x;
  }
  return out;
}

arma::Col<double> Phantom::marginal_logLiklihood(arma::Mat<double> const& data) const {
  return logLiklihood(data, static_cast<int>(level + cluster.n_levels()));
}

double Phantom::logLiklihood(arma::Mat<double> const& data) const {
  return arma::accu(logLiklihood(data, static_cast<int>(level)));
}

estimator::likelihood_function Phantom::likelihoodFunc(likelihood_type const& kind) const {
  if (kind != likelihood_type::imputed) return value_node::likelihoodFunc(kind);
  return {this, [this](arma::Mat<double> const& data, int const& at) { return logLiklihood(data, at); }};
}

void Phantom::addStarts(arma::Col<double> const& v) {
  if (v.n_elem != 1) throw error_debug("Starting values do not match the parameters.");
  rho.write(fixed_ ? rho.value : v(0));
}

bool Phantom::feasible() const {
  return std::all_of(sides_.begin(), sides_.end(), [](auto const& side) { return side->refresh(); });
}

void Phantom::tune() {
  imp_tune.tune();
  rho.tune.tune();
}

std::shared_ptr<estimator::constraint> Phantom::constraint(parameter_type const& kind, unsigned const&,
                                                           unsigned const&) {
  if (kind != parameter_type::phantom_correlation)
    throw error_debug("Unrecognized constraint for Phantom model.");
  return std::make_shared<estimator::constraint>(rho.make_constraint());
}

}  // namespace tovik::sem
