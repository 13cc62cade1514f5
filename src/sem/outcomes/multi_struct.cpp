#include "sem/outcomes/multi_struct.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "random/constants.hpp"
#include "random/random.hpp"
#include "sem/scan/blas.hpp"
#include "support/error.hpp"

namespace tovik::sem {

MultiStruct::MultiStruct(const Estimator* estimator_, const block_setup& setup)
    : Outcome(shape_of(estimator_, setup)),
      Multi(estimator_, setup),
      known_variances_(setup.known_variances),
      S_(size(), size()) {
  for (arma::uword j = 0; j < size(); ++j)
    for (arma::uword i = j + 1; i < size(); ++i)
      if (!is_free(i, j) && (setup.correlations(i, j) != 0.0 || elements_(i, j) == block_setup::labelled))
        keeps_correlations_ = true;
}

// The normal approximation of each element around where it starts, twice as wide.
void MultiStruct::prepare() {
  for (label& one : labels_) one.rho->value = R_(one.i, one.j);
  if (!tune_.empty()) return;
  const double n = n_units();
  const auto add = [&](double sd) {
    tune_.emplace_back(2.0 * sd, estimator::tune_obj::kind_type::parameter);
  };
  for (arma::uword j = 0; j < size(); ++j)
    if (known_variances_(j) == 0) add(Sigma_(j, j) * std::sqrt(2.0 / n));
  for (arma::uword j = 0; j < size(); ++j) {
    for (arma::uword i = j + 1; i < size(); ++i) {
      const double product = Sigma_(i, i) * Sigma_(j, j), squared = Sigma_(i, j) * Sigma_(i, j);
      const double sd = std::sqrt((product + squared) / n);
      if (is_free(i, j)) add(sd);
      if (elements_(i, j) == block_setup::labelled) add(sd / std::sqrt(product));
    }
  }
}

void MultiStruct::tune() {
  for (estimator::tune_obj& proposal : tune_) proposal.tune();
}

void MultiStruct::addProposals(std::vector<estimator::tune_obj*>& to) {
  for (estimator::tune_obj& proposal : tune_) to.push_back(&proposal);
}

estimator::tune_results MultiStruct::tuneResults() const {
  estimator::tune_results out;
  out.insert(out.end(), tune_.begin(), tune_.end());
  return out;
}

arma::uword MultiStruct::n_estimated() const {
  arma::uword count = labels_.size();
  for (arma::uword j = 0; j < size(); ++j) {
    if (known_variances_(j) == 0) ++count;
    for (arma::uword i = j + 1; i < size(); ++i)
      if (is_free(i, j)) ++count;
  }
  return count;
}

MultiStruct::label* MultiStruct::label_of(arma::uword i, arma::uword j) {
  const auto found = std::find_if(labels_.begin(), labels_.end(),
                                  [&](const label& one) { return one.i == i && one.j == j; });
  return found == labels_.end() ? nullptr : &*found;
}

/// Covariances of j whose density is that of the matrix: they are volume of their own where a variance moves
/// them along. One that is known, or is drawn under the prior of a correlation, is not.
arma::uword MultiStruct::n_free(arma::uword j) {
  arma::uword count = 0;
  if (flat_correlations_) return count;
  for (arma::uword k = 0; k < size(); ++k) {
    if (k == j) continue;
    const label* driven = label_of(std::max(j, k), std::min(j, k));
    if (is_free(j, k) || (driven != nullptr && !driven->has_prior)) ++count;
  }
  return count;
}

void MultiStruct::read_products(const arma::Mat<double>& data) {
  const arma::Mat<double>& e = sample(data);
  for (arma::uword j = 0; j < size(); ++j)
    for (arma::uword i = 0; i <= j; ++i) S_(i, j) = S_(j, i) = scan::dot(e.n_rows, e.colptr(i), e.colptr(j));
  walk_.set_target(n_units(), S_, prior(), scales());
}

void MultiStruct::draw_matrix(const arma::Mat<double>& data) {
  read_products(data);
  if (!walk_.start(Sigma_)) throw numeric_error::not_positive_definite();
  auto tuned = tune_.begin();
  for (arma::uword j = 0; j < size(); ++j) {
    if (known_variances_(j) != 0) continue;
    if (keeps_correlations_)
      walk_.draw_scale(j, n_free(j), *tuned++, *rng, max_iter);
    else
      walk_.draw_variance(j, *tuned++, *rng, max_iter);
  }
  for (arma::uword j = 0; j < size(); ++j) {
    for (arma::uword i = j + 1; i < size(); ++i) {
      if (is_free(i, j)) walk_.draw_covariance(i, j, *tuned++, *rng, max_iter);
      if (elements_(i, j) != block_setup::labelled) continue;
      if (label* driven = label_of(i, j)) draw_label(*driven, *tuned, data);
      ++tuned;
    }
  }
  std::copy_n(walk_.Sigma().memptr(), Sigma_.n_elem, Sigma_.memptr());
  settle_correlations();
}

/// What the moves of the variances have rounded.
void MultiStruct::settle_correlations() {
  if (!keeps_correlations_) return;
  for (arma::uword j = 0; j < size(); ++j) {
    for (arma::uword i = j + 1; i < size(); ++i) {
      if (is_free(i, j)) continue;
      const label* driven = label_of(i, j);
      const bool known = elements_(i, j) == block_setup::known;
      if (!known && driven == nullptr) continue;
      const double rho = known ? first_correlations()(i, j) : driven->rho->value;
      Sigma_(i, j) = Sigma_(j, i) = rho * std::sqrt(Sigma_(i, i) * Sigma_(j, j));
    }
  }
}

void MultiStruct::draw_label(label& which, estimator::tune_obj& tuned, const arma::Mat<double>& data) {
  std::copy_n(walk_.Sigma().memptr(), Sigma_.n_elem, Sigma_.memptr());
  refresh();
  const double unit = std::sqrt(Sigma_(which.i, which.i) * Sigma_(which.j, which.j));
  scan::covariance_walk::interval within = walk_.admissible(which.i, which.j);
  within.lower /= unit;
  within.upper /= unit;
  estimator::constraint& rho = *which.rho;
  const double old = rho.value;
  double x = old;
  ++tuned.total;
  if (!scan::covariance_walk::propose(within, old, tuned.value, *rng, max_iter, x)) return;
  double change = scan::covariance_walk::log_mass(within, old, tuned.value) -
                  scan::covariance_walk::log_mass(within, x, tuned.value);
  change -= walk_.log_prior() + rho.log_density(data);
  change += rho.move_to(x, data);
  const bool usable = walk_.start(Sigma_);
  if (usable) change += walk_.log_prior();
  const double log_u = std::log(rng->runif());
  if (usable && log_u <= change) {
    ++tuned.accepted;
    if (!which.moves_residuals) return;
    read_products(data);
    walk_.start(Sigma_);
    return;
  }
  rho.write(old);
  walk_.start(Sigma_);
}

/// The log density of all residuals of the draw, from their products.
double MultiStruct::density_of_matrix() const {
  double trace = 0.0;
  for (arma::uword k = 0; k < S_.n_elem; ++k) trace += S_.memptr()[k] * Omega_.memptr()[k];
  return -0.5 * (n_units() * (static_cast<double>(size()) * log_2_pi + log_det()) + trace);
}

std::shared_ptr<estimator::constraint> MultiStruct::drive_correlation(unsigned index,
                                                                      const estimator::constraint& others,
                                                                      bool has_prior, bool moves_residuals) {
  arma::uword const j = index % size(), i = index / size();
  if (!(j < i) || i >= size() || elements_(i, j) != block_setup::labelled)
    throw error_debug("The block has no such label.");
  auto rho = correlation_handle(i, j);
  if (moves_residuals)
    rho->add_once(density_term());
  else
    rho->add_once({static_cast<const Multi*>(this),
                   [this](const double&, const arma::Mat<double>&) { return density_of_matrix(); }});
  *rho += others;
  labels_.push_back({i, j, has_prior, moves_residuals, rho});
  return rho;
}

bool MultiStruct::start_correlation(unsigned index, double x) {
  label* driven = label_of(index / size(), index % size());
  if (driven == nullptr) throw error_debug("The block has no such label.");
  const double old = driven->rho->value;
  arma::Mat<double> wanted = Sigma_;
  wanted(driven->i, driven->j) = wanted(driven->j, driven->i) =
      x * std::sqrt(Sigma_(driven->i, driven->i) * Sigma_(driven->j, driven->j));
  arma::Mat<double> root;
  if (!arma::chol(root, wanted)) {
    driven->rho->value = old;
    return false;
  }
  driven->rho->write(x);
  return true;
}

}  // namespace tovik::sem
