#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace tovik::sem::estimator {

/// The scale of one random-walk proposal, with the acceptances since the last change.
struct tune_obj {
  enum class kind_type : int {
    imputation = 0,
    logistic_imputation = 1,  ///< never tuned
    imputation_2 = 2,
    latent = 3,
    latent_2 = 4,
    threshold = 5,
    random_effect = 6,
    parameter = 7,
  };

  double value = 1.0;
  std::uint64_t accepted = 0;
  std::uint64_t total = 0;
  double upper = 0.55;
  double lower = 0.45;
  double target = 0.5;
  kind_type kind = kind_type::parameter;

  tune_obj() = default;
  tune_obj(double value_, kind_type kind_) : value(value_), kind(kind_) {}

  /// Moves the scale towards the target acceptance: an acceptance of 0 halves it, of 1 doubles it. Counters
  /// restart after a change; with no proposals or exactly on target nothing happens.
  void tune();

  /// Acceptance rate; NaN without proposals.
  double rate() const;
  /// The rate is at or beyond upper + 0.15 or lower - 0.15. Never without proposals or without a finite
  /// target.
  bool failed() const;
  /// Name of the kind: "imputation", "latent", ...
  const char* label() const;
  /// "kind, rate, value".
  std::string str() const;
};

/// The proposals of one model or parameter.
class tune_results : public std::vector<tune_obj> {
 public:
  static bool& print_debug;  ///< report tuning while it happens

  tune_results() = default;
  tune_results(std::initializer_list<tune_obj> list) : std::vector<tune_obj>(list) {}

  std::string label;

  /// Throws sem::error_tuning that lists every entry that failed.
  void check() const;
};

/// One line "  [n] = kind, rate, value" for each failed entry.
std::string tuning_message(const std::vector<tune_obj>& failed);

}  // namespace tovik::sem::estimator
