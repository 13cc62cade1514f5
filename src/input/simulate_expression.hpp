#pragma once

#include <armadillo>
#include <memory>
#include <string>

#include "evaluate/node.hpp"
#include "input/simulate_statement.hpp"
#include "input/simulate_table.hpp"

namespace tovik::simulate {

/// The right side of an assignment, ready to be evaluated.
class expression {
 public:
  /// An expression over constants and the columns that the units of `level` see: those of their own level and
  /// of the levels above. Without a level it sees constants alone. Random functions draw from `rng`.
  ///
  /// Throws tovik::error for a parameter, an unknown name, a text that does not parse, and for a random
  /// function without a generator. `t` must outlive the expression.
  expression(const assignment& parts, table& t, const sim_data* level, const std::shared_ptr<Random>& rng);

  /// One value for every unit of the level; each call draws anew.
  arma::Col<double> column() const;
  /// The value of an expression without a level. Throws tovik::error for one that differs by row.
  double constant() const;

 private:
  std::string substitute(table& t, const sim_data* level);
  void build(const std::string& text);

  template <class Run>
  auto with_statement(Run run) const;

  assignment parts_;
  bool defines_;  ///< stands for a constant
  std::unique_ptr<evaluate::node> tree_;
  std::vector<unsigned> used_constants_;
  std::vector<evaluate::value*> cells_;  ///< of used_constants_
  arma::Mat<double> data_;               ///< the used columns, one row per unit
};

}  // namespace tovik::simulate
