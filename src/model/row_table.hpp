#pragma once

#include <cstddef>
#include <vector>

#include "model/row.hpp"

namespace tovik {
class ModelList;
}

namespace tovik::model {

/// The rows of all models of a list in the estimates, made once for whoever reads them more than once. What
/// changes in the list later, or in the variables that it names, does not reach the table.
class row_table {
 public:
  explicit row_table(const ModelList& models);

  /// Model::rows() of a model. A nominal outcome has them once for each of its dummy codes.
  const std::vector<row>& rows(std::size_t model) const { return rows_.at(model); }
  /// The first row of a model in the estimates.
  unsigned first(std::size_t model) const { return starts_.at(model); }
  /// Its number of rows there.
  unsigned count(std::size_t model) const { return starts_.at(model + 1) - starts_.at(model); }
  /// The number of rows of all models.
  unsigned total() const { return starts_.back(); }
  /// The first row of each model, and behind the last one total().
  const std::vector<unsigned>& starts() const { return starts_; }

 private:
  std::vector<std::vector<row>> rows_;
  std::vector<unsigned> starts_ = {0};
};

}  // namespace tovik::model
