// Correlations of which one side is normal only given weights of its units.

#include <cmath>
#include <limits>

#include "random/random.hpp"
#include "sem/phantoms/phantom.hpp"
#include "sem/phantoms/phantom_group.hpp"
#include "sem/scan/blas.hpp"
#include "support/error.hpp"

namespace tovik::sem {

double phantom_block::log_density_given_scores() {
  double out = 0.0;
  for (const member& m : members_) {
    if (!m.side->part().loadings.valid()) return -std::numeric_limits<double>::infinity();
    weighted_side* weighted = m.side->weighted();
    out += weighted != nullptr ? weighted->log_density(*data_) : m.side->part().log_density();
  }
  return out;
}

/// Of the log density of each member's values, in what the phantoms add to them: inv(C) e where e has the
/// covariance matrix C, g of a weighted side.
void phantom_block::take_slopes(Random& rng, const arma::Mat<double>& data) {
  slopes_.resize(members_.size());
  weights_.resize(members_.size());
  for (std::size_t m = 0; m < members_.size(); ++m) {
    correlated_side& side = *members_[m].side;
    if (weighted_side* weighted = side.weighted()) {
      slopes_[m].set_size(n_units_, 1);
      weights_[m].set_size(n_units_);
      slope_.set_size(n_units_);
      weighted->draw_weights(rng, data, weights_[m], slope_);
      slopes_[m].col(0) = slope_;
      continue;
    }
    const arma::Mat<double>& E = side.part().values();
    const arma::Mat<double>& precision = side.part().loadings.precision();
    slopes_[m].zeros(n_units_, E.n_cols);
    for (arma::uword j = 0; j < E.n_cols; ++j)
      for (arma::uword i = 0; i < E.n_cols; ++i)
        scan::add_scaled(n_units_, precision(i, j), E.colptr(i), slopes_[m].colptr(j));
  }
}

/// What one of its places tells of a phantom, the others' scores in the same member given: with the loading l
/// its log density is l s P - l^2 p P^2 / 2, s the slope at the other scores and p the precision.
void phantom_block::add_information(std::size_t phantom, const entry& at) {
  const phantom_loadings& here = members_[at.member].side->part().loadings;
  const arma::Col<double>& w = weights_[at.member];
  arma::uword const t = here.terms()[at.term].effect;
  const double l = here.loadings()(t, at.term);
  if (l == 0.0) return;
  const auto precision = [&](arma::uword i, arma::uword j) {
    return w.is_empty() ? here.precision()(t, j) : w(i);
  };
  slope_.set_size(n_units_);
  for (arma::uword i = 0; i < n_units_; ++i) slope_(i) = slopes_[at.member](i, t);
  for (std::size_t k = 0; k < phantoms_.size(); ++k) {
    if (k == phantom) continue;
    for (const entry& other : entries_[k]) {
      if (other.member != at.member) continue;
      arma::uword const j = here.terms()[other.term].effect;
      const double load = here.loadings()(j, other.term);
      for (arma::uword i = 0; i < n_units_; ++i) slope_(i) -= precision(i, j) * load * scores_(i, k);
    }
  }
  for (arma::uword i = 0; i < n_units_; ++i) {
    information_(i) += l * l * precision(i, t);
    sum_(i) += l * slope_(i);
  }
}

void phantom_block::draw_scores_in_turn(Random& rng, arma::Mat<double>& data) {
  for (const member& m : members_)
    if (!m.side->part().loadings.valid()) throw error_debug("Correlations leave their outcomes no variance.");
  arma::uword const K = phantoms_.size();
  scores_.set_size(n_units_, K);
  Z_.set_size(n_units_, K);
  information_.set_size(n_units_);
  sum_.set_size(n_units_);
  for (arma::uword k = 0; k < K; ++k) phantoms_[k]->read_scores(data, scores_.colptr(k));
  take_slopes(rng, data);
  rng.fill_randn(Z_.memptr(), Z_.n_elem);
  for (arma::uword k = 0; k < K; ++k) {
    information_.ones();
    sum_.zeros();
    for (const entry& at : entries_[k]) add_information(k, at);
    for (arma::uword i = 0; i < n_units_; ++i)
      scores_(i, k) = sum_(i) / information_(i) + Z_(i, k) / std::sqrt(information_(i));
    phantoms_[k]->write_scores(data, scores_.colptr(k));
  }
}

}  // namespace tovik::sem
