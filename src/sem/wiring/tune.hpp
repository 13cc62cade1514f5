#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>
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
  std::string what;  ///< which parameters or values it moves, as the report names them: "Tau 2"; may be empty

  tune_obj() = default;
  tune_obj(double value_, kind_type kind_, std::string what_ = "")
      : value(value_), kind(kind_), what(std::move(what_)) {}

  /// Moves the scale towards the target acceptance: an acceptance of 0 halves it, of 1 doubles it. Counters
  /// restart after a change; with no proposals or exactly on target nothing happens.
  void tune();
  /// Between these moves: by the acceptance of the proposals since the last call, on the log scale, in steps
  /// that fall with their number (Robbins & Monro, 1951, Annals of Mathematical Statistics 22, 400-407),
  ///
  ///   log value += n^-0.6 (rate - target).
  ///
  /// Counters run on.
  void adapt();

  /// Acceptance rate; NaN without proposals.
  double rate() const;
  /// The rate is at or beyond upper + 0.15 or lower - 0.15. Never without proposals or without a finite
  /// target.
  bool failed() const;
  /// Name of the kind: "imputation", "latent", ...
  const char* label() const;
  /// "kind, rate, value".
  std::string str() const;

 private:
  std::uint64_t seen_accepted_ = 0, seen_total_ = 0;  ///< counters at the last call of adapt()
  unsigned n_adapted_ = 0;
};

/// The proposals of one model or parameter.
class tune_results : public std::vector<tune_obj> {
 public:
  static bool& print_debug;  ///< report tuning while it happens

  tune_results() = default;
  tune_results(std::initializer_list<tune_obj> list) : std::vector<tune_obj>(list) {}

  std::string label;  ///< whose proposals they are: the outcome, the variable, the shared parameter

  /// Throws sem::error_tuning that lists every entry that failed.
  void check() const;
};

/// One line "  [n] = kind, rate, value (whose: what)" for each failed entry, without what is not known.
std::string tuning_message(const std::vector<tune_obj>& failed, const std::string& whose = "");

}  // namespace tovik::sem::estimator
