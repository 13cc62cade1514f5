#include "sem/wiring/tune.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include "sem/wiring/settings.hpp"
#include "support/error.hpp"

namespace tovik::sem::estimator {

bool& tune_results::print_debug = sampler_settings::print_debug_tune;

namespace {

/// A change of the logarithm of a scale after which steps between changes are large again, as if so many had
/// gone before.
constexpr double large_change = 0.3;
constexpr unsigned steps_behind = 10;

}  // namespace

double tune_obj::rate() const {
  if (total == 0) return std::numeric_limits<double>::quiet_NaN();
  return static_cast<double>(accepted) / static_cast<double>(total);
}

void tune_obj::tune() {
  if (kind == kind_type::logistic_imputation) return;
  const double p = rate(), before = value;
  if (p > target)
    value *= 2.0 - (1.0 - p) / (1.0 - target);
  else if (target > p)
    value /= 2.0 - p / target;
  else
    return;
  accepted = 0;
  total = 0;
  if (std::fabs(std::log(value / before)) > large_change) n_adapted_ = std::min(n_adapted_, steps_behind);
}

void tune_obj::adapt() {
  if (kind == kind_type::logistic_imputation || !std::isfinite(target)) return;
  if (total < seen_total_ || accepted < seen_accepted_) seen_total_ = seen_accepted_ = 0;  // they restarted
  if (total == seen_total_) return;
  const double p = static_cast<double>(accepted - seen_accepted_) / static_cast<double>(total - seen_total_);
  seen_accepted_ = accepted;
  seen_total_ = total;
  value *= std::exp(std::pow(static_cast<double>(++n_adapted_), -0.6) * (p - target));
}

bool tune_obj::failed() const {
  if (total == 0 || !std::isfinite(target)) return false;
  constexpr double slack = 0.15000000000000002;
  const double p = rate();
  return p >= upper + slack || p <= lower - slack;
}

const char* tune_obj::label() const {
  switch (kind) {
    case kind_type::imputation:
    case kind_type::imputation_2:
      return "imputation";
    case kind_type::logistic_imputation:
      return "logistic imp";
    case kind_type::latent:
    case kind_type::latent_2:
      return "latent";
    case kind_type::threshold:
      return "threshold";
    case kind_type::random_effect:
      return "random effect";
    case kind_type::parameter:
      return "parameter";
  }
  return "undefined";
}

std::string tune_obj::str() const {
  char numbers[640];
  std::snprintf(numbers, sizeof numbers, ", %f, %f", rate(), value);
  return label() + std::string(numbers);
}

std::string tuning_message(const std::vector<tune_obj>& failed, const std::string& whose) {
  std::string text;
  for (std::size_t n = 0; n < failed.size(); ++n) {
    std::string name = whose;
    if (!failed[n].what.empty()) name += (name.empty() ? "" : ": ") + failed[n].what;
    text += "  [" + std::to_string(n + 1) + "] = " + failed[n].str();
    text += name.empty() ? "\n" : " (" + name + ")\n";
  }
  return text;
}

void tune_results::check() const {
  std::vector<tune_obj> failed;
  for (const tune_obj& entry : *this)
    if (entry.failed()) failed.push_back(entry);
  if (!failed.empty()) throw error_tuning(tuning_message(failed, label));
}

}  // namespace tovik::sem::estimator
