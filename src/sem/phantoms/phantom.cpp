#include "sem/phantoms/phantom.hpp"

#include <algorithm>
#include <utility>

#include "random/constants.hpp"
#include "random/random.hpp"
#include "sem/wiring/estimator.hpp"
#include "support/error.hpp"

namespace tovik::sem {

Phantom::Phantom(const Estimator* estimator_, const phantom_setup& setup)
    : Outcome(shape{.estimator = estimator_,
                    .type = data::type::phantom,
                    .y = {setup.column},
                    .n_levels = setup.n_levels,
                    .level = setup.level}),
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
  n_units_ = cluster.own_rows[0]->n_elem;
}

void Phantom::attach(std::unique_ptr<correlated_side> side) {
  correlated_side* end = side.get();
  sides_.push_back(std::move(side));
  rho.links.push_back(end->rho());
  rho.n_links = static_cast<unsigned>(rho.links.size());
  rho.refresh.emplace_back([end] { end->refresh(); });
}

void Phantom::join(std::shared_ptr<phantom_group> group) {
  group_ = std::move(group);
  group_->add(*this);
}

// The density of the block is that of the values of several sources: it stands for all of them.
void Phantom::enter(phantom_block& block) {
  block_ = &block;
  rho.add_once({&block, [this, &block](const double&, const arma::Mat<double>& data) {
                  if (group_->values_move()) block.read(data);
                  return block.log_density();
                }});
  for (const void* source : block.sources())
    rho.add_once({source, [](const double&, const arma::Mat<double>&) { return 0.0; }});
}

void Phantom::follow(Phantom& leader) {
  rho.hold();
  estimator::constraint here = rho;
  here.links.push_back(&rho.value);
  leader.addRho(here, false, false);
}

void Phantom::addRho(const estimator::constraint& label, bool has_prior, bool moves_equations) {
  rho += label;
  labelled_ = true;
  if (has_prior) rho.drop_prior();
  if (moves_equations) group_->set_values_move();
}

void Phantom::write_scores(arma::Mat<double>& data, const double* values) const {
  double* column = data.colptr(y(0));
  if (level == 0) {
    std::copy_n(values, n_units_, column);
    return;
  }
  for (arma::uword i = 0; i < n_units_; ++i)
    std::fill_n(column + cluster.rows->start[i], cluster.rows->count[i], values[i]);
}

void Phantom::read_scores(const arma::Mat<double>& data, double* values) const {
  const double* column = data.colptr(y(0));
  for (arma::uword i = 0; i < n_units_; ++i) values[i] = column[row(i)];
}

void Phantom::draw_start(arma::Mat<double>& data) {
  std::vector<double> scores(n_units_);
  rng->fill_randn(scores.data(), scores.size());
  write_scores(data, scores.data());
}

void Phantom::find_proposals(const arma::Mat<double>& data) {
  if (group_ != nullptr && group_->leads(*this)) group_->find_proposals(data);
}

void Phantom::draw(arma::Mat<double>& data) {
  if (group_ == nullptr) throw error_debug("The phantom is in no group.");
  if (group_->leads(*this)) group_->draw(*rng, data);
}

arma::Col<double> Phantom::observed_logLiklihood(const arma::Mat<double>&, const int& at_level) const {
  const int above = at_level - static_cast<int>(level);
  if (above < 0 || static_cast<unsigned>(above) > cluster.n_levels())
    throw error_debug("The phantom has no likelihood at this level.");
  return arma::Col<double>(above == 0 ? n_units_ : cluster.n_clusters(above - 1), arma::fill::zeros);
}

arma::Col<double> Phantom::observed_marginal_logLiklihood(const arma::Mat<double>& data) const {
  return observed_logLiklihood(data, static_cast<int>(level + cluster.n_levels()));
}

arma::Col<double> Phantom::logLiklihood(const arma::Mat<double>& data, const int& at_level) const {
  arma::Col<double> out = observed_logLiklihood(data, at_level);
  const int above = at_level - static_cast<int>(level);
  for (arma::uword i = 0; i < n_units_; ++i) {
    const double x = data(row(i), y(0));
    arma::uword const unit = above == 0 ? i : (*cluster.row_cluster[static_cast<std::size_t>(above) - 1])(i);
    out(unit) -= half_log_2_pi + 0.5 * x * x;
  }
  return out;
}

arma::Col<double> Phantom::marginal_logLiklihood(const arma::Mat<double>& data) const {
  return logLiklihood(data, static_cast<int>(level + cluster.n_levels()));
}

double Phantom::logLiklihood(const arma::Mat<double>& data) const {
  return arma::accu(logLiklihood(data, static_cast<int>(level)));
}

estimator::likelihood_function Phantom::likelihoodFunc(const likelihood_type& kind) const {
  if (kind != likelihood_type::imputed) return value_node::likelihoodFunc(kind);
  return {this, [this](const arma::Mat<double>& data, const int& at) { return logLiklihood(data, at); }};
}

void Phantom::addStarts(const arma::Col<double>& v) {
  if (v.n_elem != 1) throw error_debug("Starting values do not match the parameters.");
  rho.write(fixed_ ? rho.value : v(0));
}

bool Phantom::feasible() const {
  return std::all_of(sides_.begin(), sides_.end(), [](const auto& side) { return side->refresh(); });
}

void Phantom::tune() {
  if (rho.tune.total > 0) rho.adapt(group_->data());
}

std::shared_ptr<estimator::constraint> Phantom::constraint(const parameter_type& kind, const unsigned&,
                                                           const unsigned&) {
  if (kind != parameter_type::phantom_correlation)
    throw error_debug("Unrecognized constraint for Phantom model.");
  return std::make_shared<estimator::constraint>(rho.make_constraint());
}

}  // namespace tovik::sem
