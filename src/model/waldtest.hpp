#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "model/constraint.hpp"
#include "model/contrast.hpp"
#include "model/difference.hpp"
#include "model/model_list.hpp"

namespace tovik::model {

/// The hypotheses of one WALDTEST command, which are tested together: what restricted equations leave out of
/// those of the run, and equalities of parameters.
struct waldtest {
  std::vector<difference> differences;
  std::vector<constraint> constraints;
  std::string name;       ///< as the report calls the test
  unsigned n_params = 0;  ///< rows of all equations in the estimates
  /// The names that the restricted equations read; the equations point into this table.
  std::shared_ptr<evaluate::defines> names;
  /// Equations of which no difference can be tested, and in which a label of the constraints stands.
  std::vector<std::string> other_statements;

  /// Those of the differences, then one for each constraint.
  std::vector<contrast> contrasts() const;
  /// Places the differences in the estimates of the run.
  void set_spans(const ModelList& models);
  /// Reads "a1 a2 = b1 b2" or "a = 0.5": every item on the left equals every item on the right. The equation
  /// in which a label stands joins the differences, without one of its own. Throws tovik::error.
  void add_constraints(const std::string& statement, const ModelList& models);

  /// The statements of the two sides.
  std::vector<std::string> full() const;
  std::vector<std::string> restricted() const;

  /// Numbered lines of the report: the statements of the two sides, and the constraints.
  void print_full(std::FILE* stream) const;
  void print_restricted(std::FILE* stream) const;
  void print_constraints(std::FILE* stream) const;

  /// Throws tovik::error for a statement that has none of the forms of a test.
  [[noreturn]] static void error(const std::string& statement);

 private:
  /// The row of a label in the estimates.
  int row_of(const parameter& label, const std::string& statement, const ModelList& models);
  void join(std::size_t position, const ModelList& models);
};

}  // namespace tovik::model
