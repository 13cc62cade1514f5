#include "sem/predictors/predictor_state.hpp"

#include "sem/wiring/working_data.hpp"

namespace tovik::sem {

predictor_state::predictor_state(const predictor_setup& setup, const std::vector<arma::Col<arma::uword>>& W,
                                 arma::uword n_dim)
    : rng(setup.rng),
      working(setup.working),
      level(setup.level),
      chain(*setup.working, setup.level, setup.deviates),
      dim(n_dim),
      predictors(W),
      grand_mean(1, n_dim, arma::fill::zeros),
      in_all_(chain.n_units(chain.n_above()), arma::fill::zeros) {
  predictors.resize(chain.n_above() + 1);
}

void predictor_state::set_own(const arma::Mat<double>& own, const arma::Col<arma::uword>& units) {
  components[0]->setScore(own, units);
  if (categorical()) follow_categories(units);
}

void predictor_state::follow_categories(const arma::Col<arma::uword>& units) {
  for (arma::uword k = 0; k < dim; ++k) {
    const double* code = coding.colptr(k);
    double* to = coded.colptr(k);
    for (arma::uword i : units) to[i] = code[(*categories)(i)];
  }
}

void predictor_state::follow_categories() {
  coded.set_size(categories->n_elem, dim);
  for (arma::uword k = 0; k < dim; ++k) {
    const double* code = coding.colptr(k);
    double* to = coded.colptr(k);
    for (arma::uword i = 0; i < categories->n_elem; ++i) to[i] = code[(*categories)(i)];
  }
}

arma::Mat<double> predictor_state::deviation(unsigned q) const {
  arma::Mat<double> out(scores(q).n_rows, dim);
  for (arma::uword k = 0; k < dim; ++k) deviation(q, k, out.colptr(k));
  return out;
}

void predictor_state::deviation(unsigned q, arma::uword k, double* __restrict out) const {
  arma::uword const n = scores(q).n_rows;
  const double* const s = scores(q).colptr(k);
  const double* const above = scores(q + 1).colptr(k);
  if (q + 1 == top()) {
    const double mean = *above;
    for (arma::uword i = 0; i < n; ++i) out[i] = s[i] - mean;
    return;
  }
  const arma::uword* const up = parent(q).memptr();
  for (arma::uword i = 0; i < n; ++i) out[i] = s[i] - above[up[i]];
}

void predictor_state::deviation(arma::uword k, const arma::Col<arma::uword>& own_units, double* out) const {
  const double* const s = scores(0).colptr(k);
  const double* const above = scores(1).colptr(k);
  const arma::uword* const up = parent(0).memptr();
  for (arma::uword i : own_units) out[i] = s[i] - above[up[i]];
}

void predictor_state::expected(unsigned q, const level_scores& at, arma::Mat<double>& out) const {
  const arma::Mat<double>& above = scores(q + 1);
  const arma::uword* up = parent(q).memptr();
  arma::uword const n = n_units(q);
  out.set_size(n, dim);
  for (arma::uword k = 0; k < dim; ++k) {
    const double* t = above.colptr(k);
    double* to = out.colptr(k);
    for (arma::uword i = 0; i < n; ++i) to[i] = t[up[i]];
  }
  if (!predictors[q].is_empty()) components[q]->addRegression(at, predictors[q], out);
}

const arma::uword* predictor_state::unit_of_row(unsigned q) const {
  return q == top() ? nullptr : working->units(chain.level(q)).memptr();
}

arma::uword predictor_state::first_row(unsigned q, arma::uword unit) const {
  if (q == top()) return unit == 0 ? 0 : working->data.n_rows;
  const auto& first = working->first_rows(chain.level(q));
  return unit < first.n_elem ? first(unit) : working->data.n_rows;
}

}  // namespace tovik::sem
