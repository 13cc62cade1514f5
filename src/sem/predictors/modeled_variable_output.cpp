// Parameters and output of predictor models.

#include <cmath>

#include "data/variable.hpp"
#include "sem/predictors/modeled_variable.hpp"
#include "sem/wiring/working_data.hpp"
#include "support/error.hpp"

namespace tovik::sem {

namespace {

/// sqrt of the sum of squares of all columns, about their means or about 0, over n - 1, averaged over
/// columns.
double spread_of(const arma::Mat<double>& x, bool about_means) {
  if (x.n_rows < 2 || x.n_cols == 0) return 0.0;
  double sum = 0;
  for (arma::uword k = 0; k < x.n_cols; ++k) {
    const double* v = x.colptr(k);
    double mean = 0;
    if (about_means) {
      for (arma::uword i = 0; i < x.n_rows; ++i) mean += v[i];
      mean /= static_cast<double>(x.n_rows);
    }
    for (arma::uword i = 0; i < x.n_rows; ++i) sum += (v[i] - mean) * (v[i] - mean);
  }
  return std::sqrt(sum / static_cast<double>((x.n_rows - 1) * x.n_cols));
}

}  // namespace

// A value that is centred by its group varies about that centre, any other about its mean.
void modeled_variable::refresh_sd() const {
  sd_ = mode == 1 ? spread_of(data(), false) : spread_of(state_.values(), true);
  if (state_.top() < 2) return;
  if (variable_.centeredMeans() == data::center::cluster && state_.top() > 2)
    sd_means_ = spread_of(state_.deviation(1), false);
  else
    sd_means_ = spread_of(state_.scores(1), true);
}

// It takes passes over all units that few runs need.
void modeled_variable::follow_sd() const {
  if (sd_is_read_) refresh_sd();
}

const double& modeled_variable::sd() const {
  sd_is_read_ = true;
  refresh_sd();
  return sd_;
}

const double& modeled_variable::sdLatentMeans() const {
  sd_is_read_ = true;
  refresh_sd();
  return sd_means_;
}

arma::Mat<double> modeled_variable::deviation(unsigned d) const {
  return state_.deviation(state_.chain.place(d));
}

arma::Mat<double> modeled_variable::data() const {
  if (mode == 2) return state_.values();
  return state_.values() - published_.centre();
}

arma::Mat<double> modeled_variable::uncenteredData() const {
  if (variable_.type != data::type::nominal) return state_.values();
  arma::Col<double> codes(state_.categories->n_elem);
  for (arma::uword i = 0; i < codes.n_elem; ++i) codes(i) = variable_.values[(*state_.categories)(i)];
  return arma::join_rows(codes, state_.values());
}

arma::Col<double> modeled_variable::params() const {
  arma::Col<double> out = arma::join_cols(state_.grand_mean.t(), free_thresholds());
  for (const auto& component : state_.components)
    out = arma::join_cols(out, arma::vectorise(component->gamma), component->variances());
  return out;
}

void Variable::restore(const arma::Col<double>&) {
  throw error_debug("The predictor model takes no starting values.");
}

void modeled_variable::restore(const arma::Col<double>& values) {
  if (values.n_elem != numParams()) throw error_debug("Starting values do not match the parameters.");
  const double* next = values.memptr();
  for (double& mean : state_.grand_mean) mean = *next++;
  next += free_thresholds().n_elem;
  for (unsigned q = 0; q < state_.top(); ++q) {
    Component& component = *state_.components[q];
    for (double& g : component.gamma) g = *next++;
    const bool held = q == 0 && state_.categorical();
    if (held) {
      next += component.variances().n_elem;
      continue;
    }
    arma::Mat<double> Sigma = component.covariance();
    for (arma::uword c = 0; c < Sigma.n_cols; ++c)
      for (arma::uword r = c; r < Sigma.n_rows; ++r) Sigma(r, c) = Sigma(c, r) = *next++;
    component.setCovariance(Sigma);
  }
  set_links();
  links_moved_ = published_.has_links();
}

arma::uword modeled_variable::numParams() const {
  return params().n_elem;
}

arma::uword modeled_variable::n_estimated() const {
  arma::uword n = state_.dim;
  for (const auto& component : state_.components) n += component->n_estimated();
  return n;
}

std::vector<predictor_row> modeled_variable::layout(const std::vector<std::string>& names) const {
  using kind = predictor_row::kind;
  const bool nominal = variable_.type == data::type::nominal;
  std::vector<std::string> own;
  for (arma::uword k = 0; k < state_.dim; ++k)
    own.push_back(nominal ? variable_.dummies[k]->name : variable_.name);
  std::vector<predictor_row> out;
  for (const std::string& name : own) out.push_back({kind::grand_mean, 0, name, "", 0, false});
  for (unsigned k = 1; k <= numThresh(); ++k)
    out.push_back({kind::threshold, 0, variable_.name, "", k, false});
  for (unsigned q = 0; q < state_.top(); ++q) {
    const unsigned at = state_.chain.level(q) + 1;
    const bool held = q == 0 && state_.categorical();
    for (const std::string& name : own)
      for (arma::uword w : state_.predictors[q])
        out.push_back({kind::coefficient, at, name, names.at(w), 0, false});
    if (!nominal) {
      out.push_back({kind::residual_variance, at, variable_.name, "", 0, held});
      continue;
    }
    for (arma::uword c = 0; c < state_.dim; ++c) {
      out.push_back({kind::variance, at, own[c], "", 0, held});
      for (arma::uword r = c + 1; r < state_.dim; ++r)
        out.push_back({kind::covariance, at, own[c], own[r], 0, held});
    }
  }
  return out;
}

std::vector<arma::Mat<double>> modeled_variable::latentMeans() const {
  std::vector<arma::Mat<double>> out;
  for (unsigned q = 1; q < state_.top(); ++q) {
    const arma::uword* unit = state_.unit_of_row(q);
    arma::Mat<double> means(state_.n_units(0), state_.dim);
    for (arma::uword i = 0; i < means.n_rows; ++i)
      means.row(i) = state_.scores(q).row(unit[state_.first_row(0, i)]);
    out.push_back(std::move(means));
  }
  return out;
}

arma::Mat<double> modeled_variable::latentScores() const {
  if (!state_.categorical()) return arma::Mat<double>(state_.n_units(0), 0);
  return state_.scores(0);
}

arma::Mat<double> modeled_variable::getLatent() const {
  const unsigned first = state_.categorical() ? 0 : 1;
  arma::Mat<double> out(state_.working->data.n_rows, (state_.top() - first) * state_.dim);
  for (unsigned q = first; q < state_.top(); ++q) {
    const arma::uword* unit = state_.unit_of_row(q);
    for (arma::uword k = 0; k < state_.dim; ++k) {
      const double* from = state_.scores(q).colptr(k);
      double* to = out.colptr((q - first) * state_.dim + k);
      for (arma::uword i = 0; i < out.n_rows; ++i) to[i] = from[unit[i]];
    }
  }
  return out;
}

double modeled_variable::getMissingPercent() const {
  return 100.0 * static_cast<double>(missing_units.n_elem) / static_cast<double>(state_.n_units(0));
}

void modeled_variable::print_debug(std::ostream& out) const {
  state_.grand_mean.print(out, variable_.name + ": grand mean");
  for (unsigned q = 0; q < state_.top(); ++q) {
    std::string const at = variable_.name + ", level " + std::to_string(state_.chain.level(q) + 1) + ": ";
    state_.components[q]->gamma.print(out, at + "coefficients");
    state_.components[q]->covariance().print(out, at + "residual variance");
  }
}

}  // namespace tovik::sem
