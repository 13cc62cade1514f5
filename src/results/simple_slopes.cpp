#include "results/simple_slopes.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "support/error.hpp"

namespace tovik::sem {

SimpleSlopes::SimpleSlopes(std::uint32_t model, std::string focal, std::vector<unsigned> columns,
                           unsigned constant, std::vector<moderator> moderators)
    : model_(model),
      focal_(std::move(focal)),
      focal_columns_(std::move(columns)),
      constant_(constant),
      moderators_(std::move(moderators)) {
  if (focal_columns_.empty()) throw error_debug("Nominal Simple Slopes not allowed.");
}

bool SimpleSlopes::isSD() const {
  return std::any_of(moderators_.begin(), moderators_.end(), [](const moderator& m) { return m.in_sd; });
}

bool SimpleSlopes::involves(unsigned column) const {
  if (std::find(focal_columns_.begin(), focal_columns_.end(), column) != focal_columns_.end()) return true;
  return std::any_of(moderators_.begin(), moderators_.end(), [&](const moderator& m) {
    return std::any_of(m.columns.begin(), m.columns.end(),
                       [&](auto const& entry) { return entry.first == column; });
  });
}

void SimpleSlopes::bind(const arma::Mat<double>& betas, const arma::Col<arma::uword>& x,
                        const std::vector<estimator::compute>& x_compute, arma::uword n_columns,
                        std::vector<const double*> deviations) {
  if (deviations.size() != moderators_.size() || betas.n_rows != x.n_elem + x_compute.size())
    throw error_debug("Conditional effects do not fit their model.");
  check_columns(n_columns);
  betas_ = &betas;
  x_ = &x;
  x_compute_ = &x_compute;
  deviations_ = std::move(deviations);
  moving_ = isSD() || std::any_of(x_compute.begin(), x_compute.end(), [](const estimator::compute& column) {
              return !column.node->parameter_cells().empty();
            });
  check_computed();
  row_.zeros(1, n_columns);
  row_(0, constant_) = 1.0;
  intercept_weights_.zeros(betas.n_rows);
  slope_weights_.zeros(betas.n_rows);
  below_.zeros(betas.n_rows);
  updateSlopeConvert();
  check_weights();
}

/// Columns that are appended for what equations use must be there.
void SimpleSlopes::check_columns(arma::uword n_columns) const {
  const auto outside = [&](arma::uword column) { return column >= n_columns; };
  bool wrong = outside(constant_) || std::any_of(focal_columns_.begin(), focal_columns_.end(), outside);
  for (const moderator& m : moderators_) {
    for (const auto& [column, at] : m.columns) wrong = wrong || outside(column);
  }
  if (wrong) throw error_debug("Conditional effects do not fit their data.");
}

/// A mean or a standard deviation has no value at one point.
void SimpleSlopes::check_computed() const {
  for (const estimator::compute& column : *x_compute_) {
    if (!column.couples_rows()) continue;
    const auto& reads = column.columns();
    if (std::none_of(reads.begin(), reads.end(), [&](unsigned k) { return involves(k); })) continue;
    throw error("ERROR: A conditional effect of \"" + focal_ +
                "\" cannot be computed\n"
                "       from a model term that depends on a column statistic\n"
                "       of the focal or moderator variable.");
  }
}

void SimpleSlopes::check_weights() const {
  if (intercept_weights_.is_finite() && slope_weights_.is_finite()) return;
  throw error("ERROR: The conditional effect of \"" + focal_ +
              "\" is not defined\n"
              "       when all predictors not involved in it are set to zero.");
}

void SimpleSlopes::set_moderators() {
  for (std::size_t k = 0; k < moderators_.size(); ++k) {
    const double unit = deviations_[k] == nullptr ? 1.0 : *deviations_[k];
    for (const auto& [column, at] : moderators_[k].columns) row_(0, column) = at * unit;
  }
}

void SimpleSlopes::design_at(double focal, arma::Col<double>& out) {
  for (unsigned column : focal_columns_) row_(0, column) = focal;
  arma::uword at = 0;
  for (arma::uword column : *x_) out[at++] = row_(0, column);
  for (const estimator::compute& column : *x_compute_) {
    // A statistic of other predictors is a predictor of its own, and stands at zero.
    if (column.couples_rows()) {
      out[at++] = 0.0;
    } else {
      column.eval(row_, nullptr, out.memptr() + at++);
    }
  }
}

void SimpleSlopes::updateSlopeConvert() {
  set_moderators();
  design_at(1.0, slope_weights_);
  design_at(-1.0, below_);
  slope_weights_ = 0.5 * (slope_weights_ - below_);
  design_at(0.0, intercept_weights_);
}

void SimpleSlopes::compute() {
  if (betas_ == nullptr) throw error_debug("NO OUTCOME HAS BEEN SPECIFIED!");
  if (moving_) updateSlopeConvert();
  intercept = slope = 0.0;
  for (arma::uword j = 0; j < intercept_weights_.n_elem; ++j) {
    intercept += intercept_weights_[j] * (*betas_)(j, 0);
    slope += slope_weights_[j] * (*betas_)(j, 0);
  }
}

void SimpleList::reduce() {
  SimpleList kept;
  for (ModelSlopes& list : *this) {
    if (list.effects.empty()) continue;
    const auto same = std::find_if(kept.begin(), kept.end(),
                                   [&](const ModelSlopes& other) { return other.model == list.model; });
    if (same == kept.end()) {
      kept.push_back(std::move(list));
    } else {
      same->effects.insert(same->effects.end(), std::make_move_iterator(list.effects.begin()),
                           std::make_move_iterator(list.effects.end()));
    }
  }
  swap(kept);
}

arma::uword SimpleList::n_estimates() const {
  arma::uword n = 0;
  for (const ModelSlopes& list : *this) n += 2 * list.effects.size();
  return n;
}

arma::Col<double> SimpleList::estimates() const {
  arma::Col<double> out(n_estimates());
  arma::uword at = 0;
  for (const ModelSlopes& list : *this) {
    for (const SimpleSlopes& effect : list.effects) {
      out[at++] = effect.intercept;
      out[at++] = effect.slope;
    }
  }
  return out;
}

const ModelSlopes* SimpleList::find(std::uint32_t model) const {
  const auto at = std::find_if(begin(), end(), [&](const ModelSlopes& list) { return list.model == model; });
  return at == end() ? nullptr : &*at;
}

}  // namespace tovik::sem
