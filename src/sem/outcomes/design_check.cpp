#include "sem/outcomes/design_check.hpp"

#include <cmath>
#include <string>
#include <vector>

#include "support/error.hpp"

namespace tovik::sem {

namespace {

/// Columns of length one by the part of each that those before it leave (Gram-Schmidt, twice, which is
/// enough: Giraud et al., 2005, Numerische Mathematik 101, 87-100).
class independent_columns {
 public:
  /// The columns taken so far make x up to rounding.
  bool explain(const arma::Col<double>& x) const { return arma::norm(rest_of(x)) < 1e-8; }
  void add(const arma::Col<double>& x) {
    const arma::Col<double> rest = rest_of(x);
    basis_.push_back(rest / arma::norm(rest));
    columns_.push_back(x);
  }
  /// Which of the columns have a part in `x`, which they make up.
  std::vector<std::size_t> parts_of(const arma::Col<double>& x) const {
    std::vector<std::size_t> out;
    arma::Mat<double> X(x.n_elem, columns_.size());
    for (std::size_t k = 0; k < columns_.size(); ++k) X.col(k) = columns_[k];
    arma::Col<double> b;
    if (!arma::solve(b, X, x, arma::solve_opts::no_approx)) return out;
    for (std::size_t k = 0; k < columns_.size(); ++k)
      if (std::fabs(b(k)) > 1e-6) out.push_back(k);
    return out;
  }

 private:
  arma::Col<double> rest_of(arma::Col<double> x) const {
    for (int pass = 0; pass < 2; ++pass)
      for (const arma::Col<double>& q : basis_) x -= arma::dot(q, x) * q;
    return x;
  }

  std::vector<arma::Col<double>> basis_, columns_;
};

/// "'a', 'b' and 'c'".
std::string listed(const std::vector<std::string>& names) {
  std::string out;
  for (std::size_t k = 0; k < names.size(); ++k) {
    if (k > 0) out += k + 1 == names.size() ? " and " : ", ";
    out += "'" + names[k] + "'";
  }
  return out;
}

}  // namespace

// Predictors that are imputed or computed from what is, and coefficients that are labelled or have a prior,
// are passed over.
void check_columns(const scan::columns& X, const arma::Mat<double>& data, const arma::Col<arma::uword>* rows,
                   const arma::Col<arma::uword>& drawn, bool has_intercept,
                   const estimator::Outcome::equation_names& names) {
  independent_columns known;
  std::vector<std::string> known_names;
  arma::Col<double> scratch;
  for (arma::uword j : drawn) {
    if (X.is_dynamic(j)) continue;
    const std::string& name = names.coefficients.at(j);
    const double* cells = X.at(j, data, rows, scratch);
    arma::Col<double> x(cells, rows == nullptr ? data.n_rows : rows->n_elem);
    if (!x.is_finite())
      throw error("ERROR: The predictor '" + name + "' of '" + names.outcome +
                  "' gives values that are not finite.");
    const bool is_constant = x.max() == x.min();
    if (has_intercept && j == 0) continue;
    if (is_constant && (has_intercept || x(0) == 0.0))
      throw error("ERROR: Variable '" + name + "' does not vary.\n       Remove it and rerun.");
    if (has_intercept) x -= arma::mean(x);
    x /= arma::norm(x);
    if (known.explain(x)) {
      std::vector<std::string> parts;
      for (std::size_t k : known.parts_of(x)) parts.push_back(known_names[k]);
      throw error("ERROR: The predictor '" + name + "' of '" + names.outcome + "' is a combination of " +
                  listed(parts) + ".\n       Remove one of them and rerun.");
    }
    known.add(x);
    known_names.push_back(name);
  }
}

}  // namespace tovik::sem
