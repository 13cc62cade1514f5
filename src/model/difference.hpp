#pragma once

#include <iosfwd>
#include <string>
#include <utility>
#include <vector>

#include "model/contrast.hpp"
#include "model/model.hpp"

namespace tovik::model {

/// What separates a full equation and a restricted one: the parameters that the restricted one holds at a
/// value while the full one draws them. A term that the restricted one leaves out is held at 0; of a random
/// term that is its variance, with which its covariances vanish.
struct difference {
  Model full;
  Model restricted;
  std::vector<anyVariable> removed;  ///< fixed terms that the restricted equation has not
  std::vector<combinationOfAnyVariable> removed_compute;
  std::vector<anyVariable> removed_random;  ///< random terms that it lacks at some level or at all
  std::vector<combinationOfAnyVariable> removed_random_compute;
  /// What the restricted equation says of each row of full.parameters(), of one dummy code.
  std::vector<parameter> parameters;
  std::vector<parameter> given;        ///< what the full equation says of the same rows
  std::pair<unsigned, unsigned> span;  ///< first row and number of rows in the estimates
  std::size_t position = 0;            ///< of the full equation in the list of the run

  /// Throws tovik::error for outcomes of which no difference can be tested.
  difference(Model full_model, Model restricted_model);

  /// The values of the hypotheses, and their positions among the rows of one dummy code.
  std::vector<double> values() const;
  std::vector<unsigned> select() const;
  /// One contrast for each hypothesis in the rows of the estimates; of a nominal outcome for each dummy code.
  std::vector<contrast> contrasts() const;
  /// The position with this label, without regard to letter case; -1 for none.
  int find(const parameter& label) const;
};

/// For debugging.
std::ostream& operator<<(std::ostream& out, const difference& of);

/// Throws tovik::error with the text and the two equations below it.
[[noreturn]] void refuse_difference(const std::string& text, const Model& full, const Model& restricted);

/// The restricted equation may leave a label alone or repeat it, and may not move what the full one fixes.
/// Throws tovik::error.
void check_shared_parameters(const Model& full, const Model& restricted);

}  // namespace tovik::model
