#include "sem/ensemble/latent_starts.hpp"

#include <algorithm>
#include <cmath>

#include "model/model_list.hpp"
#include "random/random.hpp"
#include "sem/ensemble/factory.hpp"

namespace tovik::sem {

namespace {

/// In the order in which they are taken.
enum reference_rank : int { tied_outcome, tied_latent, free_outcome, free_latent, slope_of_outcome };

/// Where the equation's mean can go: its own intercept, or free thresholds.
bool places_its_mean(const Model& model) {
  const bool intercept = model.has_fixed_intercept && !model.fixed.front().param.is_fixed();
  return intercept || model.has_free_thresholds();
}

double fixed_intercept(const Model& model) {
  return model.has_fixed_intercept && model.fixed.front().param.is_fixed() ? model.fixed.front().param.value()
                                                                           : 0.0;
}

/// The mean that the equation of a latent variable is written with.
double written_mean(const Model& model) {
  if (!model.has_fixed_intercept) return 0.0;
  const model::parameter& p = model.fixed.front().param;
  return p.is_fixed() ? p.value() : p.has_start() ? p.start() : 0.0;
}

/// A variance that the equation is written with; 0 for none.
double written_variance(const Model& model) {
  const model::parameter& p = model.variance;
  return p.is_fixed() ? p.value() : p.has_start() ? p.start() : 0.0;
}

double written_loading(const model::parameter& p) {
  return p.is_fixed() ? p.value() : p.has_start() ? p.start() : 0.0;
}

double deviation(const arma::Col<double>& values) {
  const arma::Col<double> known = values.elem(arma::find_finite(values));
  return known.n_elem > 1 ? arma::stddev(known) : 0.0;
}

/// The column of the observed variable that a product multiplies with the latent one; the number of columns
/// of the data for any other term.
arma::uword multiplied_by(const model::combinationOfAnyVariable& term, unsigned column,
                          const arma::Mat<double>& data) {
  const auto columns = term.indicators();
  const bool product = term.labels().empty() && term.defined_variables.empty() &&
                       std::count(term.statement.begin(), term.statement.end(), '*') == 1 &&
                       term.statement.find_first_of("+-/^,()<>=!") == std::string::npos;
  if (!product || columns.size() != 1 || columns.front().size() != 2) return data.n_cols;
  const auto& pair = columns.front();
  const unsigned other = pair[0] == column ? pair[1] : pair[0];
  return other < data.n_cols && arma::find_finite(data.col(other)).eval().n_elem > 1 ? other : data.n_cols;
}

bool reads(const model::combinationOfAnyVariable& term, unsigned column) {
  for (const auto& columns : term.indicators())
    if (std::find(columns.begin(), columns.end(), column) != columns.end()) return true;
  return false;
}

}  // namespace

latent_starts::latent_starts(const ModelList& list, const working_data& working,
                             const arma::Mat<double>& data)
    : list_(list), working_(working), data_(data) {
  std::vector<std::size_t> open;
  for (std::size_t i = 0; i < list.size(); ++i)
    if (is_latent(i)) open.push_back(i);
  // A reference may be the equation of another latent variable, which has to be settled before.
  for (bool moved = true; moved && !open.empty();) {
    moved = false;
    for (std::size_t& i : open) {
      const auto all = references(i);
      if (all.empty() || !settled(all.front().model)) continue;
      moved = settle(i, all.front()) || moved;
    }
    open.erase(std::remove_if(open.begin(), open.end(), [this](std::size_t i) { return settled(i); }),
               open.end());
  }
  for (std::size_t i : open)
    if (!settled(i)) starts_.emplace(column_of(i), alone(i));
}

bool latent_starts::is_latent(std::size_t i) const {
  return list_[i].kind() == model::kind::latent && list_[i].link != model::link::log_variance;
}

unsigned latent_starts::column_of(std::size_t i) const {
  return list_[i].yind().front();
}

/// A latent variable that has its start, or an outcome of the data.
bool latent_starts::settled(std::size_t i) const {
  return !is_latent(i) || starts_.count(column_of(i)) > 0;
}

bool latent_starts::settle(std::size_t i, const reference& by) {
  if (settled(i)) return false;
  return starts_.emplace(column_of(i), by.rank == slope_of_outcome ? of_slope(i, by) : of_loading(i, by))
      .second;
}

/// Best first.
std::vector<latent_starts::reference> latent_starts::references(std::size_t i) const {
  const unsigned column = column_of(i);
  std::vector<reference> out;
  for (std::size_t j = 0; j < list_.size(); ++j) {
    const Model& model = list_[j];
    if (!model::has_predictors(model.kind()) || model.link == model::link::log_variance) continue;
    const bool latent = is_latent(j);
    const std::vector<unsigned> columns = model.xind();
    const std::vector<model::parameter> coefficients = model.fixedParameters();
    for (std::size_t p = 0; p < columns.size(); ++p) {
      if (columns[p] != column) continue;
      const bool tied = coefficients[p].is_fixed();
      if (tied && coefficients[p].value() == 0.0) continue;
      out.push_back({j,
                     tied     ? (latent ? tied_latent : tied_outcome)
                     : latent ? free_latent
                              : free_outcome,
                     p});
    }
    for (std::size_t p = 0; p < model.fixed_compute.size() && !latent; ++p) {
      if (multiplied_by(model.fixed_compute[p], column, data_) < data_.n_cols &&
          reads(model.fixed_compute[p], column))
        out.push_back({j, slope_of_outcome, p});
    }
  }
  std::stable_sort(out.begin(), out.end(),
                   [](const reference& a, const reference& b) { return a.rank < b.rank; });
  return out;
}

latent_starts::indicator latent_starts::values(std::size_t j) const {
  const unsigned column = column_of(j);
  if (!is_latent(j)) {
    indicator out;
    out.moments =
        observed_moments(list_[j], data_, working_.clusters(outcome_level(list_[j], working_))).front();
    out.rows = values_on_scale(list_[j], column, out.moments, data_);
    return out;
  }
  const start& other = starts_.at(column);
  return {other.center.elem(working_.units(other.level)), other.moments};
}

/// NaN for a unit without an observed value.
arma::Col<double> latent_starts::unit_means(unsigned level, const arma::Col<double>& rows) const {
  const arma::Col<arma::uword>& unit = working_.units(level);
  arma::Col<double> sum(working_.n_units(level), arma::fill::zeros), n = sum;
  for (arma::uword i = 0; i < rows.n_elem; ++i) {
    if (!std::isfinite(rows[i])) continue;
    sum[unit[i]] += rows[i];
    n[unit[i]] += 1.0;
  }
  return sum / n;
}

latent_starts::start latent_starts::of_loading(std::size_t i, const reference& by) const {
  const Model& own = list_[i];
  const Model& reader = list_[by.model];
  const indicator x = values(by.model);
  start out;
  out.level = outcome_level(own, working_);
  const arma::Col<double> means = unit_means(out.level, x.rows);
  double sd = out.level > outcome_level(reader, working_) ? deviation(means) : std::sqrt(x.moments.variance);
  if (!(sd > 0.0) || !std::isfinite(sd)) sd = std::sqrt(x.moments.variance);
  const double given = written_variance(own);
  double loading = written_loading(reader.fixedParameters().at(by.position));
  if (loading == 0.0) loading = given > 0.0 ? sd / std::sqrt(given) : 1.0;
  const double unit = sd / std::fabs(loading);
  const double mean =
      places_its_mean(reader) ? written_mean(own) : (x.moments.mean - fixed_intercept(reader)) / loading;
  out.center = mean + 0.5 * (means - x.moments.mean) / loading;
  out.center.replace(arma::datum::nan, mean);
  out.noise = 0.5 * unit;
  out.moments.mean = mean;
  out.moments.variance = given > 0.0 ? given : 0.5 * unit * unit;
  return out;
}

latent_starts::start latent_starts::of_slope(std::size_t i, const reference& by) const {
  const Model& own = list_[i];
  const Model& reader = list_[by.model];
  const indicator y = values(by.model);
  const arma::Col<double> x =
      data_.col(multiplied_by(reader.fixed_compute[by.position], column_of(i), data_));
  const arma::Col<arma::uword> both = arma::find_finite(x + y.rows);
  const arma::Col<double> dx = x.elem(both) - arma::mean(x.elem(both)),
                          dy = y.rows.elem(both) - arma::mean(y.rows.elem(both));
  const double square = arma::mean(arma::square(x.elem(both))), slope = arma::dot(dx, dy) / arma::dot(dx, dx);
  const bool moves = own.has_fixed_intercept && own.fixed.front().param.is_free();
  start out = alone(i);
  if (!std::isfinite(slope) || !(square > 0.0)) return out;
  const double given = written_variance(own), variance = 0.5 * y.moments.variance / square;
  out.moments.mean = moves ? slope : written_mean(own);
  out.moments.variance = given > 0.0 ? given : variance;
  out.center.fill(out.moments.mean);
  out.noise = 0.5 * std::sqrt(variance);
  return out;
}

/// Where it is the intercept of a variance model, the logarithm of the variance; else the written mean.
double latent_starts::mean_alone(std::size_t i) const {
  const unsigned column = column_of(i);
  const Model& own = list_[i];
  const bool moves =
      own.has_fixed_intercept && own.fixed.front().param.is_free() && !own.fixed.front().param.has_start();
  for (const auto& [owner, variance] : list_.scale_pairs()) {
    const Model& model = list_[variance];
    const std::vector<unsigned> columns = model.xind();
    if (!moves || model.has_fixed_intercept || list_[owner].kind() == model::kind::latent ||
        std::find(columns.begin(), columns.end(), column) == columns.end())
      continue;
    const auto units = working_.clusters(outcome_level(list_[owner], working_));
    return std::log(observed_moments(list_[owner], data_, units).front().variance);
  }
  return written_mean(own);
}

/// Of a latent variable that nothing gives a scale.
latent_starts::start latent_starts::alone(std::size_t i) const {
  start out;
  const double given = written_variance(list_[i]);
  out.level = outcome_level(list_[i], working_);
  out.moments.mean = mean_alone(i);
  out.moments.variance = given > 0.0 ? given : 1.0;
  out.center.set_size(working_.n_units(out.level));
  out.center.fill(out.moments.mean);
  out.noise = 0.5 * std::sqrt(out.moments.variance);
  return out;
}

void latent_starts::write(arma::Mat<double>& data, Random& rng) const {
  for (const auto& [column, of] : starts_) {
    arma::Col<double> scores(of.center.n_elem);
    rng.fill_randn(scores.memptr(), scores.n_elem);
    scores = of.center + of.noise * scores;
    data.col(column) = scores.elem(working_.units(of.level));
  }
}

arma::Col<double> latent_starts::slopes(std::size_t i, double sd) const {
  const std::vector<unsigned> columns = list_[i].xind();
  std::vector<std::size_t> held;
  for (std::size_t p = 0; p < columns.size(); ++p)
    if (starts_.count(columns[p]) > 0) held.push_back(p);
  if (held.empty()) return {};
  arma::Col<double> out(list_[i].fixedParameters().size(), arma::fill::zeros);
  for (std::size_t p : held)
    out[p] = sd / std::sqrt(starts_.at(columns[p]).moments.variance) / static_cast<double>(held.size());
  return out;
}

}  // namespace tovik::sem
