#include "sem/phantoms/phantom_group.hpp"

#include <algorithm>
#include <limits>

#include "random/random.hpp"
#include "sem/phantoms/phantom.hpp"
#include "sem/scan/blas.hpp"
#include "sem/scan/small_cholesky.hpp"
#include "support/error.hpp"

namespace tovik::sem {

std::size_t phantom_block::member_of(correlated_side& side) {
  for (std::size_t m = 0; m < members_.size(); ++m)
    if (members_[m].side->source() == side.source()) return m;
  members_.push_back({&side, n_values_});
  n_values_ += side.part().loadings.loadings().n_rows;
  return members_.size() - 1;
}

void phantom_block::add(const Phantom& phantom) {
  std::vector<entry> places;
  for (const auto& side : phantom.sides()) {
    places.push_back({member_of(*side), side->term()});
    given_scores_ = given_scores_ || side->weighted() != nullptr;
  }
  phantoms_.push_back(&phantom);
  entries_.push_back(std::move(places));
  X_.set_size(n_units_, n_values_);
  none_.set_size(n_units_, 0);
}

bool phantom_block::touches(const Phantom& phantom) const {
  return std::any_of(phantom.sides().begin(), phantom.sides().end(), [&](const auto& side) {
    return std::any_of(members_.begin(), members_.end(),
                       [&](member const& m) { return m.side->source() == side->source(); });
  });
}

std::vector<const void*> phantom_block::sources() const {
  std::vector<const void*> out;
  for (const member& m : members_) out.push_back(m.side->source());
  return out;
}

void phantom_block::read(const arma::Mat<double>& data) {
  data_ = &data;
  for (const member& m : members_) {
    if (given_scores_) {
      m.side->read_given_scores(data);
      continue;
    }
    m.side->read(data);
    const arma::Mat<double>& E = m.side->part().values();
    if (E.n_rows != n_units_) throw error_debug("The sides of a correlation have different units.");
    std::copy_n(E.memptr(), E.n_elem, X_.colptr(m.first));
  }
  // All equations of a level have the same.
  if (!given_scores_) products_.assign(X_, none_, members_.front().side->part().weights());
}

/// Lambda. False when an equation has no variance left.
bool phantom_block::stack_loadings() {
  Lambda_.set_size(n_values_, phantoms_.size());
  Lambda_.zeros();
  for (const member& m : members_)
    if (!m.side->part().loadings.valid()) return false;
  for (std::size_t k = 0; k < entries_.size(); ++k) {
    for (const entry& at : entries_[k]) {
      const phantom_loadings& here = members_[at.member].side->part().loadings;
      arma::uword const effect = here.terms()[at.term].effect;
      Lambda_(members_[at.member].first + effect, k) = here.loadings()(effect, at.term);
    }
  }
  return true;
}

double phantom_block::log_density() {
  if (given_scores_) return log_density_given_scores();
  if (!stack_loadings()) return -std::numeric_limits<double>::infinity();
  arma::uword const p = n_values_;
  V_.set_size(p, p);
  V_.zeros();
  for (const member& m : members_) {
    const arma::Mat<double>& C = m.side->part().loadings.conditional();
    for (arma::uword j = 0; j < C.n_cols; ++j)
      for (arma::uword i = 0; i < C.n_rows; ++i) V_(m.first + i, m.first + j) = C(i, j);
  }
  for (arma::uword k = 0; k < phantoms_.size(); ++k)
    for (arma::uword j = 0; j < p; ++j)
      if (Lambda_(j, k) != 0.0) scan::add_scaled(p, Lambda_(j, k), Lambda_.colptr(k), V_.colptr(j));
  return products_.log_density(V_);
}

// W = inv(C) Lambda, H = I + Lambda' W = T T'. The scores of a unit with the values x are
// inv(H) W'x + inv(T)'z, so that those of all units are X M' + Z inv(T) with M = inv(H) W'.
bool phantom_block::prepare_scores() {
  if (!stack_loadings()) return false;
  arma::uword const p = n_values_, K = phantoms_.size();
  W_.set_size(p, K);
  W_.zeros();
  for (const member& m : members_) {
    const arma::Mat<double>& precision = m.side->part().loadings.precision();
    arma::uword const q = precision.n_rows;
    for (arma::uword k = 0; k < K; ++k)
      for (arma::uword j = 0; j < q; ++j)
        scan::add_scaled(q, Lambda_(m.first + j, k), precision.colptr(j), W_.colptr(k) + m.first);
  }
  H_.set_size(K, K);
  for (arma::uword k = 0; k < K; ++k)
    for (arma::uword l = 0; l < K; ++l)
      H_(l, k) = (l == k ? 1.0 : 0.0) + scan::dot(p, Lambda_.colptr(l), W_.colptr(k));
  if (!scan::reverse_cholesky(H_.memptr(), K)) return false;
  M_.set_size(K, p);
  for (arma::uword j = 0; j < p; ++j) {
    for (arma::uword k = 0; k < K; ++k) M_(k, j) = W_(j, k);
    scan::solve_upper(H_.memptr(), K, M_.colptr(j));
    scan::solve_upper_transposed(H_.memptr(), K, M_.colptr(j));
  }
  noise_.set_size(K, K);
  noise_.zeros();
  for (arma::uword k = 0; k < K; ++k) {
    noise_(k, k) = 1.0;
    scan::solve_upper(H_.memptr(), K, noise_.colptr(k));
  }
  return true;
}

void phantom_block::draw_scores(Random& rng, arma::Mat<double>& data) {
  if (given_scores_) {
    draw_scores_in_turn(rng, data);
    return;
  }
  if (!prepare_scores()) throw error_debug("Correlations leave their outcomes no variance.");
  arma::uword const K = phantoms_.size();
  Z_.set_size(n_units_, K);
  scores_.set_size(n_units_, K);
  rng.fill_randn(Z_.memptr(), Z_.n_elem);
  scores_.zeros();
  for (arma::uword k = 0; k < K; ++k) {
    for (arma::uword j = 0; j < n_values_; ++j)
      scan::add_scaled(n_units_, M_(k, j), X_.colptr(j), scores_.colptr(k));
    for (arma::uword l = 0; l <= k; ++l)
      scan::add_scaled(n_units_, noise_(l, k), Z_.colptr(l), scores_.colptr(k));
    phantoms_[k]->write_scores(data, scores_.colptr(k));
  }
}

// A phantom that touches several blocks makes them one.
void phantom_group::connect() {
  std::vector<std::vector<Phantom*>> sets;
  std::vector<std::unique_ptr<phantom_block>> found;
  for (Phantom* phantom : phantoms_) {
    std::vector<Phantom*> together;
    for (std::size_t b = 0; b < sets.size();) {
      if (!found[b]->touches(*phantom)) {
        ++b;
        continue;
      }
      together.insert(together.end(), sets[b].begin(), sets[b].end());
      sets.erase(sets.begin() + static_cast<std::ptrdiff_t>(b));
      found.erase(found.begin() + static_cast<std::ptrdiff_t>(b));
    }
    together.push_back(phantom);
    auto block = std::make_unique<phantom_block>(phantom->n_units());
    for (Phantom* each : together) block->add(*each);
    sets.push_back(std::move(together));
    found.push_back(std::move(block));
  }
  blocks_ = std::move(found);
  for (std::size_t b = 0; b < blocks_.size(); ++b)
    for (Phantom* phantom : sets[b]) phantom->enter(*blocks_[b]);
}

void phantom_group::read(const arma::Mat<double>& data) {
  for (const auto& block : blocks_) block->read(data);
}

void phantom_group::find_proposals(const arma::Mat<double>& data) {
  read(data);
  for (Phantom* phantom : phantoms_) phantom->rho.find_proposal(data);
}

void phantom_group::draw(Random& rng, arma::Mat<double>& data) {
  data_ = &data;
  read(data);
  for (Phantom* phantom : phantoms_) {
    phantom->rho.draw(data);
    if (before_models_ && !values_move_) phantom->block()->draw_pair(rng, *phantom);
  }
  // The last evaluation may have been of a candidate that was rejected.
  if (values_move_) read(data);
  for (const auto& block : blocks_) block->draw_scores(rng, data);
}

}  // namespace tovik::sem
