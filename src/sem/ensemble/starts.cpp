#include "sem/ensemble/starts.hpp"

#include <algorithm>
#include <cmath>
#include <vector>

#include "model/model.hpp"
#include "model/row_layout.hpp"
#include "random/densities.hpp"
#include "random/random.hpp"
#include "sem/outcomes/yeo_johnson.hpp"
#include "sem/scan/dispersion_step.hpp"
#include "sem/scan/thresholds.hpp"
#include "sem/wiring/transform.hpp"
#include "support/error.hpp"

namespace tovik::sem {

namespace {

double start_or(const model::parameter& parameter, double otherwise) {
  return parameter.has_start() ? parameter.start() : otherwise;
}

/// The value of a variance: a fixed one as it stands, else the user's or the default start, dispersed.
double variance_start(const model::parameter& parameter, double otherwise, double scale) {
  return parameter.is_fixed() ? parameter.value() : scale * start_or(parameter, otherwise);
}

/// Of the covariate of effect j at level c, as the model counts levels; 1 where nothing is known of it.
double mean_square(const std::vector<arma::Col<double>>& squares, std::int32_t levels, std::int32_t c,
                   std::size_t j) {
  const auto L = static_cast<std::size_t>(levels - 1 - c);
  if (L >= squares.size() || j >= squares[L].n_elem) return 1.0;
  const double square = squares[L][j];
  return square > 0 && std::isfinite(square) ? square : 1.0;
}

void append_covariances(std::vector<double>& out, const Model& model, double variance,
                        const std::vector<arma::Col<double>>& squares, double scale) {
  for (std::int32_t c = 0; c < model.levels; ++c) {
    const std::vector<model::parameter> effects = model.randomParameters(static_cast<unsigned>(c));
    for (std::size_t j = 0; j < effects.size(); ++j) {
      const double otherwise = 0.5 * variance / mean_square(squares, model.levels, c, j);
      out.push_back(variance_start(effects[j], otherwise, scale));
      out.insert(out.end(), effects.size() - j - 1, 0.0);
    }
  }
}

void append_coefficients(std::vector<double>& out, const Model& model, const outcome_moments& moments,
                         double shift, const arma::Col<double>& slopes) {
  const std::vector<model::parameter> coefficients = model.fixedParameters();
  const bool has_intercept = !model.fixed.empty() && model.fixed.front().is_intercept();
  for (std::size_t j = 0; j < coefficients.size(); ++j) {
    const bool intercept = has_intercept && j == 0;
    if (coefficients[j].is_fixed()) {
      out.push_back(coefficients[j].value());
    } else if (intercept) {
      out.push_back(start_or(coefficients[j], moments.mean) + shift * std::sqrt(moments.variance));
    } else {
      out.push_back(start_or(coefficients[j], slopes.is_empty() ? 0.0 : slopes[j]));
    }
  }
}

void append_residual(std::vector<double>& out, const Model& model, const outcome_moments& moments,
                     double scale) {
  using dispersion = scan::dispersion_step;
  switch (model.layout().residual) {
    case model::residual_rows::one:
      out.push_back(variance_start(model.variance, moments.variance, scale));
      return;
    case model::residual_rows::dispersion:
      out.push_back(std::clamp(scale * moments.dispersion, dispersion::least, dispersion::most));
      return;
    case model::residual_rows::unit:
      out.push_back(1.0);
      return;
    case model::residual_rows::spread: {  // the same everywhere: no heterogeneity, then quantiles and mean
      const double v = variance_start(model.variance, moments.variance, scale);
      out.insert(out.end(), {0.0, v, v, v, v});
      return;
    }
    default:
      return;
  }
}

/// Of a variance model: all rows of its outcome have the start of the variance. `variance`: that of the
/// outcome.
std::vector<double> log_variance_starts(const Model& model, double variance, double scale) {
  const std::vector<model::parameter> coefficients = model.fixedParameters();
  std::vector<double> out;
  for (std::size_t j = 0; j < coefficients.size(); ++j) {
    const bool intercept = j == 0 && !model.fixed.empty() && model.fixed.front().is_intercept();
    const double otherwise = intercept ? std::log(scale * variance) : 0.0;
    out.push_back(coefficients[j].is_fixed() ? coefficients[j].value()
                                             : start_or(coefficients[j], otherwise));
  }
  return out;
}

/// The last of them are parameters; the first is 0 where an intercept places the scale.
void append_thresholds(std::vector<double>& out, const Model& model, const outcome_moments& moments) {
  const arma::uword n = model.n_thresholds();
  if (n == 0) return;
  const arma::Col<double> tau = scan::thresholds(moments.counts).tau;
  if (n > tau.n_elem) throw error_debug("Thresholds do not match the categories.");
  const arma::Col<double> reported = tau.tail(n);
  out.insert(out.end(), reported.begin(), reported.end());
}

bool is_nominal(const Model& model) {
  return model.kind() == model::kind::nominal;
}

bool is_categorical(const Model& model) {
  return model.kind() == model::kind::ordinal || model.kind() == model::kind::missing || is_nominal(model);
}

bool is_count(const Model& model) {
  return model.kind() == model::kind::count;
}

/// The values that there are, and how many units have each.
void tabulate(const arma::Col<double>& y, outcome_moments& out) {
  out.categories = arma::unique(y);
  out.counts.zeros(out.categories.n_elem);
  for (double value : y)
    ++out.counts[static_cast<arma::uword>(
        std::lower_bound(out.categories.begin(), out.categories.end(), value) - out.categories.begin())];
}

/// Mean and variance of the score behind the categories that gives the first one its share; half a unit in
/// each keeps a mean finite.
outcome_moments category_moments(const arma::Col<double>& y, bool logit) {
  outcome_moments out;
  tabulate(y, out);
  const double n = static_cast<double>(y.n_elem),
               share = (static_cast<double>(out.counts[0]) + 0.5) / (n + 1.0);
  out.mean = logit ? std::log((1.0 - share) / share) : -iPhi(share);
  if (logit) out.variance = arma::datum::pi * arma::datum::pi / 3.0;
  return out;
}

/// The logarithm of the mean, and the variance of the logarithm if the values were log-normal, which is
/// log(1 + 1 / m + 1 / r) for counts of mean m and dispersion r.
outcome_moments count_moments(const arma::Col<double>& y) {
  outcome_moments out;
  tabulate(y, out);
  const double m = arma::mean(y), v = y.n_elem > 1 ? arma::var(y) : m;
  out.mean = std::log(m);
  out.variance = std::log1p(v / (m * m));
  out.dispersion = v > m ? std::clamp(m * m / (v - m), 0.1, 100.0) : 10.0;
  return out;
}

/// Of each dummy code of a nominal outcome, whose equation has the log odds of its category against the
/// reference; half a unit in each keeps a mean finite. Of any other outcome its own.
std::vector<outcome_moments> moments_of_codes(const Model& model, const outcome_moments& all) {
  if (!is_nominal(model)) return {all};
  const auto count = [&](double value) {
    const auto* at = std::find(all.categories.begin(), all.categories.end(), value);
    return 0.5 +
           (at == all.categories.end()
                ? 0.0
                : static_cast<double>(all.counts[static_cast<arma::uword>(at - all.categories.begin())]));
  };
  const std::vector<double>& values = model.outcomes.front().variable->values;
  std::vector<outcome_moments> out;
  for (std::size_t k = 1; k < values.size(); ++k) {
    out.push_back(all);
    out.back().mean = std::log(count(values[k]) / count(values.front()));
  }
  return out;
}

/// Where the parameter of a Yeo-Johnson transformation starts: as the identity, unless the user says more.
double lambda_start(const Model& model) {
  const model::parameter& lambda = model.outcomes.front().lambda;
  return lambda.is_fixed() ? lambda.value() : start_or(lambda, 1.0);
}

bool has_scale(const Model& model) {
  return model.outcomes.front().is_transformed() || model::has_lambda(model.link);
}

/// The transformation of the outcome where the chain starts; for a model with a scale of its own.
class starting_scale {
 public:
  explicit starting_scale(const Model& model)
      : power_(model.yind().front(), nullptr, model::has_lambda(model.link) ? lambda_start(model) : 1.0),
        g_(model::has_lambda(model.link) ? power_.pair() : model.pair()) {}

  const estimator::transform& operator*() const { return g_; }
  const estimator::transform* operator->() const { return &g_; }

 private:
  yeo_johnson power_;  ///< the trees of g_ read it
  estimator::transform g_;
};

/// The observed values on the scale of the equation.
arma::Col<double> transformed(const Model& model, const arma::Col<double>& y) {
  if (!has_scale(model)) return y;
  const starting_scale g(model);
  arma::Col<double> out(y.n_elem);
  for (arma::uword i = 0; i < y.n_elem; ++i) out[i] = g->forward(y[i]);
  if (!out.is_finite()) {
    throw error("ERROR: The transformation of variable '" + model.outcomes.front().variable->name +
                "' gives values that are not finite.");
  }
  return out;
}

/// Draws on the scale of the equation, put on the scale of the data in place; those out of range are redrawn.
void draw_back(const estimator::transform& g, const outcome_moments& moments, arma::Col<double>& values,
               Random& rng) {
  constexpr int most_draws = 100;
  const double sd = std::sqrt(moments.variance);
  double center = moments.central;
  g.admits(moments.mean, center);
  for (double& value : values) {
    double data_value = center;
    for (int attempt = 0; attempt < most_draws && !g.admits(value, data_value); ++attempt)
      value = moments.mean + sd * rng.rnorm();
    value = data_value;
  }
}

/// A category for each value, by the observed shares.
arma::Col<double> draw_categories(const outcome_moments& moments, arma::uword n, Random& rng) {
  const arma::Col<double> upto = arma::cumsum(arma::conv_to<arma::Col<double>>::from(moments.counts));
  arma::Col<double> out(n);
  for (double& value : out) {
    const double u = rng.runif() * upto.back();
    const auto k = static_cast<arma::uword>(std::lower_bound(upto.begin(), upto.end(), u) - upto.begin());
    value = moments.categories[std::min(k, upto.n_elem - 1)];
  }
  return out;
}

outcome_moments observed_moments(const Model& model, unsigned column, const arma::Mat<double>& data,
                                 const estimator::cluster& structure) {
  const bool every_row = structure.own_rows.empty();
  const arma::uword n = every_row ? data.n_rows : structure.own_rows[0]->n_elem;
  arma::Col<double> y(n);
  arma::uword n_observed = 0;
  for (arma::uword k = 0; k < n; ++k) {
    const double value = data(every_row ? k : (*structure.own_rows[0])[k], column);
    if (!std::isnan(value)) y[n_observed++] = value;
  }
  if (n_observed == 0) throw error("ERROR: Variable '" + model.name() + "' has no observed values.");
  y.resize(n_observed);
  const bool varies = y.max() != y.min() || (n_observed == 1 && !is_categorical(model) && !is_count(model));
  if (varies && is_categorical(model)) return category_moments(y, model.link == model::link::logit);
  if (varies && is_count(model)) return count_moments(y);
  const arma::Col<double> g = transformed(model, y);
  outcome_moments moments{arma::mean(g), n_observed > 1 ? arma::var(g) : 1.0};
  if (!(moments.variance > 0)) moments.variance = 1.0;
  if (!varies)
    throw error("ERROR: Variable '" + model.name() + "' does not vary.\n       Remove it and rerun.");
  moments.central = y[arma::index_min(arma::abs(g - moments.mean))];
  return moments;
}

}  // namespace

std::vector<outcome_moments> observed_moments(const Model& model, const arma::Mat<double>& data,
                                              const estimator::cluster& structure) {
  std::vector<outcome_moments> out;
  for (unsigned column : model.yind()) out.push_back(observed_moments(model, column, data, structure));
  return out;
}

arma::Col<double> generateStarts(const Model& model, const arma::Mat<double>& data,
                                 const estimator::cluster& structure, const double& start_scale,
                                 const double& start_shift, const std::vector<arma::Col<double>>& squares) {
  return generateStarts(model, observed_moments(model, data, structure).front(), start_scale, start_shift,
                        squares);
}

arma::Col<double> generateStarts(const Model& model, const outcome_moments& moments,
                                 const double& start_scale, const double& start_shift,
                                 const std::vector<arma::Col<double>>& squares,
                                 const arma::Col<double>& slopes) {
  if (model.kind() == model::kind::log_variance)
    return arma::Col<double>(log_variance_starts(model, moments.variance, start_scale));
  std::vector<double> out;
  for (const outcome_moments& one : moments_of_codes(model, moments)) {
    append_covariances(out, model, one.variance, squares, start_scale);
    append_residual(out, model, one, start_scale);
    append_coefficients(out, model, one, start_shift, slopes);
    append_thresholds(out, model, one);
  }
  if (model::has_lambda(model.link)) out.push_back(lambda_start(model));
  return out;
}

arma::Col<double> values_on_scale(const Model& model, unsigned column, const outcome_moments& moments,
                                  const arma::Mat<double>& data) {
  arma::Col<double> out = data.col(column);
  const arma::Col<arma::uword> known = arma::find_finite(out);
  if (known.is_empty()) return out;
  if (!is_categorical(model) && !is_count(model)) {
    out.elem(known) = transformed(model, out.elem(known));
    return out;
  }
  if (is_nominal(model)) {  // categories without an order
    out.fill(arma::datum::nan);
    return out;
  }
  const arma::Col<double> codes = out.elem(known);
  const double sd = codes.n_elem > 1 ? arma::stddev(codes) : 0.0;
  const double unit = sd > 0.0 ? std::sqrt(moments.variance) / sd : 0.0;
  out.elem(known) = moments.mean + unit * (codes - arma::mean(codes));
  return out;
}

arma::Col<double> draw_missing(const Model& model, const outcome_moments& moments, arma::uword n,
                               Random& rng) {
  if (!moments.categories.is_empty()) return draw_categories(moments, n, rng);
  arma::Col<double> z(n);
  rng.fill_randn(z.memptr(), n);
  arma::Col<double> values = moments.mean + std::sqrt(moments.variance) * z;
  if (has_scale(model)) draw_back(*starting_scale(model), moments, values, rng);
  return values;
}

}  // namespace tovik::sem
