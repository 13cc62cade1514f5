#pragma once

#include <armadillo>
#include <vector>

namespace tovik::sem::scan {

/// The category of every unit of an ordered variable, 0 .. n_categories - 1, and the units of each category,
/// rising. Some units have no observation: theirs are imputed and change, those of the others stay.
class category_sets {
 public:
  category_sets() = default;
  /// `imputed`: the units whose category is not observed. Throws error_debug for a category that does not
  /// exist.
  category_sets(arma::Col<arma::uword> categories, arma::uword n_categories,
                const arma::Col<arma::uword>& imputed);

  arma::uword n_units() const { return categories_.n_elem; }
  arma::uword n_categories() const { return counts_.n_elem; }
  const arma::Col<arma::uword>& categories() const { return categories_; }
  arma::uword operator[](arma::uword unit) const { return categories_[unit]; }
  bool is_imputed(arma::uword unit) const { return imputed_[unit] != 0; }
  /// Observed units of each category at construction.
  const arma::Col<arma::uword>& observed_counts() const { return counts_; }

  /// A unit without an observation falls in another category. Throws error_debug for one with an observation.
  void impute(arma::uword unit, arma::uword category);
  /// Replaces all categories by these, as observed ones.
  void observe(const arma::Col<arma::uword>& categories);

  /// The units of each category: those observed, all, or those imputed. Kept until the next call.
  const std::vector<arma::Col<arma::uword>>& observed() const { return observed_.by_category; }
  const std::vector<arma::Col<arma::uword>>& all();
  const std::vector<arma::Col<arma::uword>>& imputed();

 private:
  /// Per category its units, in memory that is kept.
  struct unit_sets {
    unit_sets() = default;
    unit_sets(const unit_sets&) = delete;
    unit_sets(unit_sets&&) = default;
    unit_sets& operator=(const unit_sets&) = delete;
    unit_sets& operator=(unit_sets&&) = default;

    std::vector<arma::uword> units;
    std::vector<arma::Col<arma::uword>> by_category;  ///< views of `units`
  };

  void check() const;
  void sort(bool with_observed, bool with_imputed, unit_sets& out) const;

  arma::Col<arma::uword> categories_, counts_;
  std::vector<unsigned char> imputed_;  ///< flags of units
  unit_sets observed_, all_, some_;
  bool stale_ = true;
};

}  // namespace tovik::sem::scan
