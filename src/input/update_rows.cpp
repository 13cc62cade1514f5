// Rows that leave the data.

#include <algorithm>
#include <cmath>
#include <numeric>
#include <string>
#include <vector>

#include "data/levels.hpp"
#include "data/row_lines.hpp"
#include "input/observed_bits.hpp"
#include "input/preparation.hpp"
#include "support/error.hpp"
#include "support/warning.hpp"

namespace tovik::preparation {

namespace {

/// Deletes rows and remembers where each of the rest stood in the file.
class row_filter {
 public:
  explicit row_filter(const run& r) : r_(r), n_rows_(r.data.n_rows), kept_(r.data.n_rows) {
    std::iota(kept_.begin(), kept_.end(), arma::uword{0});
  }

  /// Keeps the rows whose bit is set and returns how many have gone. Throws tovik::error when none is left.
  std::size_t keep(const observed_bits& rows) {
    std::vector<arma::uword> stay;
    std::vector<arma::uword> positions;
    gone_.clear();
    for (std::size_t i = 0; i < kept_.size(); ++i) {
      if (rows[i]) {
        stay.push_back(i);
        positions.push_back(kept_[i]);
      } else {
        r_.input.dropped_rows.push_back(kept_[i]);
        gone_.push_back(kept_[i]);
      }
    }
    const std::size_t gone = kept_.size() - stay.size();
    if (gone == 0) return 0;
    if (stay.empty()) throw error("ERROR: No observations are left after dropping missing data.");
    // Column by column in place: a second copy of the data would double the memory.
    for (arma::uword j = 0; j < r_.data.n_cols; ++j) {
      double* cell = r_.data.colptr(j);
      for (std::size_t i = 0; i < stay.size(); ++i) cell[i] = cell[stay[i]];
    }
    r_.data.resize(stay.size(), r_.data.n_cols);
    kept_ = std::move(positions);
    return gone;
  }

  /// Where the rows of the last deletion stand, a line of its own behind a message: the first five. Nothing
  /// when their file cannot tell.
  std::string lines() const {
    constexpr std::size_t most = 5;
    const std::size_t shown = std::min(gone_.size(), most);
    const std::vector<std::size_t> numbers = lines_of_rows(
        r_.input.data_file, n_rows_, {gone_.begin(), gone_.begin() + static_cast<std::ptrdiff_t>(shown)});
    if (numbers.empty()) return "";
    std::string out =
        numbers.size() == 1 ? "\n         Line of the data file:" : "\n         Lines of the data file:";
    for (std::size_t k = 0; k < numbers.size(); ++k) out += (k > 0 ? ", " : " ") + std::to_string(numbers[k]);
    return out + (gone_.size() > shown ? " and " + std::to_string(gone_.size() - shown) + " more." : ".");
  }

 private:
  const run& r_;
  std::size_t n_rows_;
  std::vector<arma::uword> kept_;
  std::vector<arma::uword> gone_;
};

observed_bits observed(const run& r, const data::variable& v) {
  return observed_bits(r.data.colptr(v.column), r.data.n_rows);
}

bool complete(const run& r, const data::variable& v) {
  return r.input.missing_flags[v.column] == 0;
}

void drop_incomplete(const run& r, const std::vector<variable_ptr>& list, row_filter& filter) {
  observed_bits all(r.data.n_rows, true);
  for (const variable_ptr& v : list) {
    if (!complete(r, *v)) all &= observed(r, *v);
  }
  const std::size_t gone = filter.keep(all);
  warning::buffer.push("WARNING: Performing listwise deletion (listwise on OPTIONS).\n         " +
                       std::to_string(gone) + (gone == 1 ? " observation has" : " observations have") +
                       " been dropped from data set." + filter.lines());
}

/// An indicator of missing cells that is an outcome is observed in every row.
bool has_indicator_outcome(const ModelList& models) {
  return std::any_of(models.begin(), models.end(), [](const Model& m) {
    return std::any_of(m.outcomes.begin(), m.outcomes.end(),
                       [](const model::anyVariable& y) { return y.type == model::type::missing; });
  });
}

void drop_unobserved(const run& r, const std::vector<variable_ptr>& list, row_filter& filter) {
  const bool some_complete =
      std::any_of(list.begin(), list.end(), [&](const variable_ptr& v) { return complete(r, *v); });
  if (list.empty() || some_complete || has_indicator_outcome(r.models)) return;
  observed_bits any(r.data.n_rows, false);
  for (const variable_ptr& v : list) any |= observed(r, *v);
  const std::size_t gone = filter.keep(any);
  if (gone == 0) return;
  const bool one = gone == 1;
  warning::buffer.push("WARNING: " + std::to_string(gone) +
                       (one ? " observation has" : " observations have") +
                       " all variables in the imputation\n         model missing. " +
                       (one ? "It has" : "They have") + " been dropped from data set." + filter.lines());
}

/// The rows of clusters in which the variable is observed at least once.
observed_bits observed_clusters(const run& r, const data::variable& v, const data::variable& id) {
  const double* cell = r.data.colptr(v.column);
  const double* cluster = r.data.colptr(id.column);
  std::vector<double> seen;
  for (arma::uword i = 0; i < r.data.n_rows; ++i) {
    if (!std::isnan(cell[i]) && (seen.empty() || seen.back() != cluster[i])) seen.push_back(cluster[i]);
  }
  std::sort(seen.begin(), seen.end());
  std::vector<double> row(r.data.n_rows, arma::datum::nan);
  for (arma::uword i = 0; i < r.data.n_rows; ++i) {
    if (std::binary_search(seen.begin(), seen.end(), cluster[i])) row[i] = 1;
  }
  return observed_bits(row.data(), row.size());
}

/// A count of the rows needs an observed cell in each of the lowest clusters.
void drop_empty_clusters(const run& r, const std::vector<variable_ptr>& list, row_filter& filter) {
  for (const variable_ptr& v : list) {
    if (v->type != data::type::count || v->level == 0 || complete(r, *v)) continue;
    if (v->level != r.vars.clusters.size()) continue;
    const auto id = std::find_if(r.vars.clusters.begin(), r.vars.clusters.end(),
                                 [&](const variable_ptr& c) { return c->level + 1 == v->level; });
    if (id == r.vars.clusters.end()) continue;
    const observed_bits stay = observed_clusters(r, *v, **id);
    if (r.input.keep_rows && stay.count() < r.data.n_rows) {
      throw error("ERROR: Count Variable '" + v->name +
                  "' has clusters with all observations missing.\n"
                  "       They cannot be kept (keeprows on OPTIONS).");
    }
    if (filter.keep(stay) == 0) continue;
    warning::buffer.push("WARNING: Count Variable '" + v->name +
                         "' has clusters with all observations\n"
                         "         missing. They have been dropped from data set." +
                         filter.lines());
  }
}

}  // namespace

void drop_rows(const run& r) {
  r.input.dropped_rows.clear();
  const std::vector<variable_ptr> list = counted_columns(r);
  row_filter filter(r);
  if (r.input.listwise) drop_incomplete(r, list, filter);
  if (r.input.drop_all_missing && !r.input.keep_rows) drop_unobserved(r, list, filter);
  drop_empty_clusters(r, list, filter);
  if (r.input.dropped_rows.empty()) return;
  std::sort(r.input.dropped_rows.begin(), r.input.dropped_rows.end());
  for (std::size_t k = 0; k < r.input.missing_flags.size(); ++k) {
    if (r.input.missing_flags[k] == 0) continue;
    const double* cell = r.data.colptr(k);
    r.input.missing_flags[k] =
        std::any_of(cell, cell + r.data.n_rows, [](double x) { return std::isnan(x); });
  }
}

}  // namespace tovik::preparation
