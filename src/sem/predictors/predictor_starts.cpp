#include "sem/predictors/predictor_starts.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "data/variable.hpp"
#include "sem/wiring/working_data.hpp"
#include "support/error.hpp"

namespace tovik::sem {

arma::Col<double> unit_values(const working_data& working, const arma::Mat<double>& data, arma::uword column,
                              unsigned level) {
  const auto& first = working.first_rows(level);
  arma::Col<double> out(first.n_elem);
  for (arma::uword i = 0; i < first.n_elem; ++i) out(i) = data(first(i), column);
  return out;
}

void fill_values(arma::Col<double>& values, Random& rng) {
  double n = 0, sum = 0, squares = 0;
  double least = std::numeric_limits<double>::infinity(), most = -least;
  for (double v : values) {
    if (std::isnan(v)) continue;
    n += 1;
    sum += v;
    least = std::min(least, v);
    most = std::max(most, v);
  }
  if (n == 0) throw error_debug("A predictor has no observed value.");
  const double mean = sum / n;
  for (double v : values)
    if (!std::isnan(v)) squares += (v - mean) * (v - mean);
  const double sd = n > 1 ? std::sqrt(squares / (n - 1)) : 0.0;
  for (double& v : values)
    if (std::isnan(v)) v = std::clamp(mean + sd * rng.rnorm(), least, most);
}

arma::Col<arma::uword> fill_categories(const arma::Col<double>& values, const data::variable& variable,
                                       Random& rng) {
  const std::vector<double>& known = variable.values;
  arma::Col<arma::uword> out(values.n_elem, arma::fill::zeros);
  arma::Row<double> share(known.size(), arma::fill::zeros);
  for (arma::uword i = 0; i < values.n_elem; ++i) {
    if (std::isnan(values(i))) continue;
    const auto at = std::find(known.begin(), known.end(), values(i));
    if (at == known.end()) throw error_debug("A value of a predictor is none of its categories.");
    out(i) = static_cast<arma::uword>(at - known.begin());
    share(out(i)) += 1;
  }
  const double n = arma::accu(share);
  if (n == 0) throw error_debug("A predictor has no observed value.");
  share /= n;
  for (arma::uword i = 0; i < values.n_elem; ++i)
    if (std::isnan(values(i))) out(i) = static_cast<arma::uword>(rng.rmnom(share));
  return out;
}

void start_means(predictor_state& state, bool flat, double total) {
  const double least = 1e-6 * total;
  for (unsigned q = 1; q < state.top(); ++q) {
    const arma::Mat<double>& below = state.scores(q - 1);
    const auto& up = state.parent(q - 1);
    arma::Mat<double> sums(state.n_units(q), state.dim, arma::fill::zeros);
    for (arma::uword i = 0; i < below.n_rows; ++i) sums.row(up(i)) += below.row(i);
    for (arma::uword j = 0; j < sums.n_rows; ++j)
      sums.row(j) /= static_cast<double>(state.chain.n_children(q)(j));
    state.components[q]->setScore(sums);
  }
  if (flat) state.grand_mean = arma::mean(state.scores(state.top() - 1), 0);
  for (unsigned q = 0; q < state.top(); ++q) {
    state.components[q]->startVariance(state.deviation(q), least);
    state.components[q]->floor = 1e-10 * total;
  }
}

}  // namespace tovik::sem
