#include "app/prior_warnings.hpp"

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "input/input_file.hpp"
#include "sem/outcomes/log_scale.hpp"
#include "support/text.hpp"
#include "support/warning.hpp"

namespace tovik {

namespace {

/// Observed variances between these are near enough to one unit.
constexpr double least_variance = 0.1, most_variance = 10.0;

bool uses_latent_means(const InputFile& input) {
  return input.clmean_method == 2;
}

bool is_imputed(const InputFile& input, const data::variable& v) {
  return v.column < input.missing_flags.size() && input.missing_flags[v.column] != 0;
}

/// The first variable whose model has random effects; empty for none. With observed cluster means every
/// incomplete variable has random intercepts for the clusters above it.
std::string with_random_effects(const InputFile& input, const analysis& run) {
  for (const Model& model : run.models)
    if (!model.random.empty() || !model.random_compute.empty()) return model.name();
  if (uses_latent_means(input)) return "";
  for (const auto& v : run.vars.covarAndOutMeans())
    if (v->level > 0 && is_imputed(input, *v)) return v->name;
  return "";
}

/// The density of a variance v of random effects near zero is of the order of 1 / v, which has no finite
/// integral there.
void warn_of_random_effects(const InputFile& input, const analysis& run) {
  if (input.prior_raneff != 3) return;
  const std::string name = with_random_effects(input, run);
  if (name.empty()) return;
  warning::buffer.push(
      "WARNING: Under PRIOR3 the posterior of the random effects' variances of '" + name +
      "'\n         is improper where such a variance may be zero. Use PRIOR1 or PRIOR2 instead\n"
      "         unless the variances are far from it.");
}

bool has_scale(const data::variable& v) {
  return v.dummies.empty() && (v.type == data::type::continuous || v.type == data::type::count);
}

/// "name (variance)" of each modelled predictor whose observed variance is far from one.
std::vector<std::string> far_from_one(const InputFile& input, const analysis& run) {
  std::vector<std::string> out;
  for (const auto& v : run.vars.covarAndOutMeans()) {
    const bool is_modelled =
        uses_latent_means(input) ? v->usage() == data::usage::outcome || !v->fixed() : is_imputed(input, *v);
    if (!is_modelled || !has_scale(*v) || v->column >= run.data.n_cols) continue;
    const arma::Col<double> cells = run.data.col(v->column);
    const arma::Col<double> known = cells.elem(arma::find_finite(cells));
    const double variance = known.n_elem > 1 ? arma::var(known) : 1.0;
    if (variance < least_variance || variance > most_variance)
      out.push_back(v->name + " (" + format("%.3g", variance) + ")");
  }
  return out;
}

void warn_of_units(const InputFile& input, const analysis& run) {
  const bool latent = uses_latent_means(input);
  const int prior = latent ? input.xprior : input.clusterIds.empty() ? 1 : input.prior_resvar;
  if (prior != 1 || input.scaled_priors) return;
  const std::vector<std::string> names = far_from_one(input, run);
  if (names.empty()) return;
  std::string text = std::string("WARNING: The prior of ") +
                     (latent ? "predictor variances (XPRIOR1)" : "residual variances (PRIOR1)") +
                     " has the weight of two observations with variance 0.5,\n"
                     "         and the observed variance of these variables is far from that:\n";
  for (const std::string& name : names) text += "           " + name + "\n";
  warning::buffer.push(
      text + "         Use 'OPTIONS: scaled_priors;' to take the variance of each variable as its unit.");
}

/// Residual variances are at most that of the outcome, and those of some rows a good deal smaller.
constexpr double room_for_variances = 3.0;

/// Below the truncation point the likelihood says nothing of a variance model: no proposal is ever rejected,
/// and the steps cannot be tuned.
void warn_of_log_variances(const analysis& run) {
  const double least = sem::LogScale::trunc_point;
  std::string names;
  double lowest = 0.0;
  for (const Model& model : run.models) {
    if (model.link != model::link::scale || model.outcomes.front().is_transformed()) continue;
    const data::variable& v = *model.outcomes.front().variable;
    if (v.type != data::type::continuous || v.column >= run.data.n_cols) continue;
    const arma::Col<double> cells = run.data.col(v.column);
    const arma::Col<double> known = cells.elem(arma::find_finite(cells));
    const double variance = known.n_elem > 1 ? arma::var(known) : 1.0;
    if (!(variance > 0.0) || std::log(variance) - room_for_variances >= least) continue;
    names += "           " + v.name + " (" + format("%.3g", variance) + ")\n";
    lowest = std::min(lowest, std::log(variance));
  }
  if (names.empty()) return;
  warning::buffer.push(
      "WARNING: In variance models a logarithm below " + format("%g", least) + " counts as " +
      format("%g", least) +
      ", and the variance\n         of these outcomes leaves little or no room above that:\n" + names +
      "         Measure them in larger units, or use 'DEBUG: logvar_truncate = " +
      format("%.0f", std::floor(lowest) - 10.0) + ";'.");
}

bool has_two_categories(const arma::Col<double>& cells) {
  const arma::Col<double> known = cells.elem(arma::find_finite(cells));
  return known.n_elem > 0 && arma::all(known == known.min() || known == known.max());
}

bool has_flat_slope(const Model& model) {
  const auto is_slope = [&](const model::anyVariable& term) {
    const bool intercept = model.has_fixed_intercept && &term == &model.fixed.front();
    return !intercept && term.param.is_free();
  };
  return std::any_of(model.fixed.begin(), model.fixed.end(), is_slope) ||
         std::any_of(model.fixed_compute.begin(), model.fixed_compute.end(),
                     [](const auto& term) { return term.param.is_free(); });
}

/// However large a variance grows, the probability of a 1 does no more than approach 1/2: the likelihood does
/// not fall to 0, and a flat prior leaves it no finite integral.
void warn_of_binary_variances(const analysis& run) {
  for (const Model& model : run.models) {
    if (model.link != model::link::log_variance || !has_flat_slope(model)) continue;
    const data::variable& v = *model.outcomes.front().variable;
    if (v.type != data::type::ordinal || v.column >= run.data.n_cols) continue;
    if (!has_two_categories(run.data.col(v.column))) continue;
    warning::buffer.push("WARNING: Under flat priors the slopes of var(" + v.name +
                         ") have no proper posterior, since\n         '" + v.name +
                         "' has two categories only. Give them labels, and these priors\n"
                         "         in PARAMETERS.");
  }
}

}  // namespace

void warn_of_priors(const InputFile& input, const analysis& run) {
  warn_of_units(input, run);
  warn_of_random_effects(input, run);
  warn_of_log_variances(run);
  warn_of_binary_variances(run);
}

}  // namespace tovik
