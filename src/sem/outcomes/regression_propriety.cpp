// Whether the data carry the flat priors of a regression.

#include <algorithm>
#include <cmath>
#include <string>

#include "sem/outcomes/design_check.hpp"
#include "sem/outcomes/regression.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik::sem {

namespace {

bool constant_within(const double* x, const estimator::selector& clusters) {
  for (arma::uword c = 0; c < clusters.size(); ++c) {
    arma::uword const begin = clusters.start[c], end = begin + clusters.count[c];
    for (arma::uword i = begin + 1; i < end; ++i)
      if (x[i] != x[begin]) return false;
  }
  return true;
}

std::string counted(arma::uword n, const std::string& what) {
  return std::to_string(n) + " " + what + (n == 1 ? "" : "s");
}

}  // namespace

bool Regression::is_estimated(arma::uword j) const {
  return arma::any(free == j) || driven_.holds(j);
}

arma::uword Regression::n_estimated_coefficients() const {
  arma::uword k = 0;
  for (arma::uword j = 0; j < betas_.n_elem; ++j) k += is_estimated(j) ? 1 : 0;
  return k;
}

arma::uword Regression::n_between(const arma::Mat<double>& data, unsigned L) const {
  arma::uword count = 0;
  arma::Col<double> scratch;
  for (arma::uword j = 0; j < betas_.n_elem; ++j) {
    if (!is_estimated(j)) continue;
    const double* x = scan_->terms().terms.x.at(j, data, unit_rows(), scratch);
    if (constant_within(x, *cluster.selectors[L])) ++count;
  }
  return count;
}

// With q random effects and c coefficients of predictors that vary between the clusters only, the effects'
// scatter matrix has n - c degrees of freedom; the flat prior of Sigma takes away q + 1 more, and a density
// of q x q matrices with fewer than q + 1 left is not integrable at zero (Hobert & Casella, 1996, JASA 91,
// 1461-1473).
void Regression::check_clusters(const arma::Mat<double>& data, const equation_names& names) const {
  if (raneff_prior != 2) return;
  for (unsigned L = 0; L < n_levels; ++L) {
    arma::uword const q = n_random(L);
    if (q == 0) continue;
    arma::uword const n = n_telling(data, L);
    arma::uword const c = scan_->terms().prior.is_flat() ? n_between(data, L) : 0;
    arma::uword const least = 2 * q + c + 1;
    if (n >= least) continue;
    throw error("ERROR: There are too few clusters of '" + names.levels.at(L) + "' in the model of '" +
                names.outcome + "'.\n       " + counted(n, "cluster") +
                (n < u[L].n_rows ? " with different values" : "") + " for " + counted(q, "random effect") +
                " and " + counted(c, "coefficient") + " between clusters: a flat prior of variances needs " +
                std::to_string(least) + ".\n       Use 'OPTIONS: prior1;' or fewer random effects.");
  }
}

// The residual variance given the data, the coefficients integrated out: n - k degrees of freedom, of which a
// flat prior takes two.
void Regression::check_units(const equation_names& names) const {
  if (!residual_variance_moves() || resid_prior == 1) return;
  check_units(names, resid_prior == 2 ? 3 : 1, "'OPTIONS: prior1;'");
}

void Regression::check_units(const equation_names& names, arma::uword spare,
                             const std::string& instead) const {
  arma::uword const k = n_estimated_coefficients(), n = n_known(), least = k + spare;
  if (n >= least) return;
  throw error("ERROR: There are too few observed values of '" + names.outcome + "'.\n       " +
              counted(n, "value") + " for " + counted(k, "coefficient") +
              ": the prior of the residual variance needs " + std::to_string(least) + ".\n       Use " +
              instead + " or fewer predictors.");
}

void Regression::check_design(const arma::Mat<double>& data, const equation_names& names) const {
  if (scan_->terms().prior.is_flat())
    check_columns(scan_->terms().terms.x, data, unit_rows(), free, has_intercept, names);
}

// A cluster in which all values are the first, or all the last, is as likely under an effect without bounds:
// such clusters do not hold a flat prior of the variance together (compare Natarajan & Kass, 2000, JASA 95,
// 227-237).
arma::uword Regression::n_mixed(unsigned L, const std::vector<place>& of_units) const {
  const estimator::selector& clusters = *cluster.selectors[L];
  arma::uword mixed = 0;
  for (arma::uword c = 0; c < clusters.size(); ++c) {
    bool not_first = false, not_last = false;
    for (arma::uword i = clusters.start[c]; i < clusters.start[c] + clusters.count[c]; ++i) {
      not_first = not_first || of_units[i] == place::between || of_units[i] == place::last;
      not_last = not_last || of_units[i] == place::between || of_units[i] == place::first;
    }
    mixed += not_first && not_last ? 1 : 0;
  }
  return mixed;
}

void Regression::check_propriety(const arma::Mat<double>& data, const equation_names& names) const {
  check_units(names);
  check_clusters(data, names);
}

}  // namespace tovik::sem
