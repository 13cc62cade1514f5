// The imputed data sets of all groups in the files that they share: set m of the first group, below it set m
// of the next, so that each set is one of all rows.

#include <algorithm>

#include "app/by_group.hpp"
#include "support/error.hpp"
#include "support/interrupt.hpp"
#include "support/text.hpp"
#include "support/warning.hpp"

namespace tovik {

namespace {

void warn_of_scores(const InputFile& input) {
  const std::pair<bool, const char*> options[] = {
      {input.savepred, "savePredicted"}, {input.savelatent, "saveLatent"}, {input.saveresid, "saveResidual"}};
  for (const auto& [asked, option] : options) {
    if (asked)
      warning::buffer.push("WARNING: Ignoring '" + std::string(option) +
                           "' option with specific BYGROUP data set.");
  }
}

/// Set 0 is there when the incomplete data are asked for.
bool has_set(const by_group& group, std::size_t m) {
  const auto& sets = group.input.imputations;
  return m < sets.size() && !sets[m].empty();
}

bool all_have_set(const std::vector<by_group>& groups, std::size_t m) {
  return std::all_of(groups.begin(), groups.end(), [&](const by_group& one) { return has_set(one, m); });
}

/// Set m of all groups, one under the other.
template <class Matrix, class Get>
Matrix joined(const std::vector<by_group>& groups, const Get& get) {
  arma::uword rows = 0;
  for (const by_group& one : groups) rows += get(one).n_rows;
  Matrix out(rows, get(groups.front()).n_cols);
  arma::uword row = 0;
  for (const by_group& one : groups) {
    const Matrix& part = get(one);
    if (part.n_cols != out.n_cols) throw error_debug("The data sets of the groups differ in their columns.");
    if (part.n_rows > 0) out.rows(row, row + part.n_rows - 1) = part;
    row += part.n_rows;
  }
  return out;
}

/// After an interruption the groups have drawn different numbers of sets, or none: what is not there of all
/// of them is left out.
void warn_of_lost_sets(std::size_t kept, std::size_t wanted) {
  warning::buffer.push(
      format("WARNING: The run was interrupted before all groups had drawn their data sets.\n"
             "         Of %zu imputed data sets %zu have all groups and are saved.",
             wanted, kept));
}

}  // namespace

void InputFile::writeData(const std::vector<by_group>& groups) {
  if (!savesDataSets() || groups.empty()) return;
  warn_of_scores(*this);
  dataNames = groups.front().input.dataNames;
  imputations.assign(std::size_t{nimps} + 1, {});
  separate_files_.reset(imputations.size());
  const bool observed_everywhere = std::all_of(
      groups.begin(), groups.end(), [](const by_group& one) { return !one.input.observed_cells.empty(); });
  if (observed_everywhere)
    observed_cells = joined<read_cells>(
        groups, [](const by_group& one) -> auto& { return one.input.observed_cells; });
  std::size_t kept = 0;
  for (std::size_t m = isWrite("stacked0") ? 0 : 1; m < imputations.size(); ++m) {
    if (!all_have_set(groups, m)) {
      if (interrupt::requested() == 0) throw error_debug("Cannot transfer group imputations. Never Saved.");
      continue;
    }
    imputations[m] = joined<arma::Mat<double>>(
        groups, [&](const by_group& one) -> auto& { return one.input.imputations[m]; });
    if (m == 0) continue;
    ++kept;
    if (isWrite("separate")) separate_files_.by_number[m].emplace(separateFile(imputations[m], m));
  }
  if (kept + 1 < imputations.size()) warn_of_lost_sets(kept, imputations.size() - 1);
  writeData();
}

}  // namespace tovik
