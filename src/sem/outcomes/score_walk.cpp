#include "sem/outcomes/score_walk.hpp"

#include <limits>
#include <numeric>

namespace tovik::sem {

namespace {
constexpr double infinity = std::numeric_limits<double>::infinity();
}  // namespace

void score_walk::set_list(const estimator::likelihood& list, const arma::Col<arma::uword>& units,
                          unsigned level) {
  list_ = &list;
  groups_ = scan::value_groups(units, level, list.together);
  current_.resize(units.n_elem);
  candidates_.resize(units.n_elem);
  densities_.resize(groups_.n_groups());
}

void score_walk::draw(double sd, Random& rng, estimator::tune_obj& tune, arma::Mat<double>& data) {
  const arma::Col<arma::uword>& units = groups_.units();
  for (arma::uword k = 0; k < units.n_elem; ++k) current_[k] = scores_.values(units(k));
  if (how_ == category::free) {
    metropolis_.draw(groups_, *this, scan::row_scale(sd * sd), rng, tune, data, current_.data());
    return;
  }
  width_ = tune.value * sd;
  for (arma::uword k = 0; k < units.n_elem; ++k)
    candidates_[k] = scores_.cuts.draw(scores_.sets[units(k)], current_[k], rng, width_);
  metropolis_.accept(groups_, *this, 1, candidates_.data(), rng, tune, data, current_.data());
}

double score_walk::log_density(const arma::Mat<double>& data) {
  groups_.density(*list_, nullptr, data, groups_.all_groups(), densities_.data());
  const bool plain = group_weights_.empty();
  return plain ? std::accumulate(densities_.begin(), densities_.end(), 0.0)
               : std::inner_product(densities_.begin(), densities_.end(), group_weights_.begin(), 0.0);
}

void score_walk::weigh(const arma::Col<double>& w) {
  unit_weights_.resize(w.n_elem);
  group_weights_.assign(groups_.n_groups(), 0.0);
  for (arma::uword g = 0; g < groups_.n_groups(); ++g) {
    for (arma::uword at = groups_.begin(g); at < groups_.begin(g + 1); ++at)
      group_weights_[g] += w(groups_.units()(groups_.value_at(at)));
    group_weights_[g] /= static_cast<double>(groups_.begin(g + 1) - groups_.begin(g));
    for (arma::uword at = groups_.begin(g); at < groups_.begin(g + 1); ++at)
      unit_weights_[groups_.units()(groups_.value_at(at))] = group_weights_[g];
  }
}

void score_walk::write(arma::Mat<double>& data, const arma::Col<arma::uword>& which, const double* values,
                       unsigned char*) {
  for (arma::uword j = 0; j < which.n_elem; ++j) {
    arma::uword const unit = groups_.units()(which(j));
    scores_.write(data, unit, values[j]);
    if (how_ == category::free) scores_.impute(data, unit);
  }
  scores_.refresh(data);
}

/// Log of the share of the proposals around the score of a unit that its category leaves.
double score_walk::log_mass(arma::uword unit) const {
  const arma::Col<double>& tau = scores_.cuts.tau;
  arma::uword const k = scores_.sets[unit];
  const double y = scores_.values(unit);
  const double lower = k == 0 ? -infinity : (tau[k - 1] - y) / width_;
  const double upper = k == tau.n_elem ? infinity : (tau[k] - y) / width_;
  return scan::log_interval(lower, upper);
}

// A truncated proposal from y to z has the density of the plain one over the mass M(y) that is left of it, so
// that it is reversible under M: what stays of the density is that over M.
void score_walk::log_density(const arma::Mat<double>& data, const arma::Col<arma::uword>& groups,
                             double* out) {
  groups_.density(*list_, nullptr, data, groups, out);
  if (how_ == category::free) return;
  for (arma::uword j = 0; j < groups.n_elem; ++j)
    for (arma::uword at = groups_.begin(groups(j)); at < groups_.begin(groups(j) + 1); ++at)
      out[j] -= log_mass(groups_.units()(groups_.value_at(at)));
}

void score_walk::log_likelihood(const arma::Mat<double>& data, const arma::Col<arma::uword>& groups,
                                double* out) {
  log_density(data, groups, out);
}

}  // namespace tovik::sem
