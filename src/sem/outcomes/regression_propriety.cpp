// Whether the data carry the flat priors of a regression.

#include <algorithm>
#include <string>

#include "sem/outcomes/regression.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik::sem {

namespace {

bool constant_within(double const* x, estimator::selector const& clusters) {
  for (arma::uword c = 0; c < clusters.size(); ++c) {
    arma::uword const begin = clusters.start[c], end = begin + clusters.count[c];
    for (arma::uword i = begin + 1; i < end; ++i)
      if (x[i] != x[begin]) return false;
  }
  return true;
}

std::string counted(arma::uword n, std::string const& what) {
  return std::to_string(n) + " " + what + (n == 1 ? "" : "s");
}

}  // namespace

bool Regression::is_estimated(arma::uword j) const {
  return arma::any(free == j) || driven_.holds(j);
}

arma::uword Regression::n_between(arma::Mat<double> const& data, unsigned L) const {
  arma::uword count = 0;
  arma::Col<double> scratch;
  for (arma::uword j = 0; j < betas_.n_elem; ++j) {
    if (!is_estimated(j)) continue;
    double const* x = scan_->terms().terms.x.at(j, data, unit_rows(), scratch);
    if (constant_within(x, *cluster.selectors[L])) ++count;
  }
  return count;
}

// With q random effects and c coefficients of predictors that vary between the clusters only, the effects' scatter
// matrix has n - c degrees of freedom; the flat prior of Sigma takes away q + 1 more, and a density of q x q matrices
// with fewer than q + 1 left is not integrable at zero (Hobert & Casella, 1996, JASA 91, 1461-1473).
void Regression::check_clusters(arma::Mat<double> const& data, equation_names const& names) const {
  if (raneff_prior != 2) return;
  for (unsigned L = 0; L < n_levels; ++L) {
    arma::uword const q = n_random(L);
    if (q == 0) continue;
    arma::uword const n = u[L].n_rows, c = n_between(data, L), least = 2 * q + c + 1;
    if (n >= least) continue;
    throw error("ERROR: There are too few clusters of '" + names.levels.at(L) + "' in the model of '" +
                names.outcome + "'.\n       " + counted(n, "cluster") + " for " + counted(q, "random effect") +
                " and " + counted(c, "coefficient") + " between clusters: a flat prior of variances needs " +
                std::to_string(least) + ".\n       Use 'OPTIONS: prior1;' or fewer random effects.");
  }
}

// The residual variance given the data, the coefficients integrated out: n - k degrees of freedom, of which a flat prior
// takes two.
void Regression::check_units(equation_names const& names) const {
  if (!residual_variance_moves() || resid_prior == 1) return;
  arma::uword k = 0;
  for (arma::uword j = 0; j < betas_.n_elem; ++j) k += is_estimated(j) ? 1 : 0;
  arma::uword const n = n_units - missing_rows.n_elem, least = k + (resid_prior == 2 ? 3 : 1);
  if (n >= least) return;
  throw error("ERROR: There are too few observed values of '" + names.outcome + "'.\n       " +
              counted(n, "value") + " for " + counted(k, "coefficient") +
              ": the prior of the residual variance needs " + std::to_string(least) +
              ".\n       Use 'OPTIONS: prior1;' or fewer predictors.");
}

void Regression::check_propriety(arma::Mat<double> const& data, equation_names const& names) const {
  check_units(names);
  check_clusters(data, names);
}

}  // namespace tovik::sem
