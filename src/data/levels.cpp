#include "data/levels.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "support/error.hpp"

namespace tovik {

namespace {

/// The rows of each cluster of one identifier as runs of a sorted index; rows without an identifier are left
/// out.
struct cluster_runs {
  std::vector<arma::uword> rows;
  std::vector<std::size_t> starts;  ///< of each run in `rows`, with the end of the last one behind

  explicit cluster_runs(const double* id, arma::uword n) {
    rows.reserve(n);
    for (arma::uword i = 0; i < n; ++i)
      if (!std::isnan(id[i])) rows.push_back(i);
    std::stable_sort(rows.begin(), rows.end(), [&](arma::uword a, arma::uword b) { return id[a] < id[b]; });
    for (std::size_t k = 0; k < rows.size(); ++k)
      if (k == 0 || id[rows[k]] != id[rows[k - 1]]) starts.push_back(k);
    starts.push_back(rows.size());
  }

  std::size_t count() const { return starts.size() - 1; }
};

enum class within { varies, constant, inconsistent };

/// How a column behaves within the clusters: varying as soon as two observed cells of a cluster differ.
within classify(const double* cell, const cluster_runs& runs) {
  bool mixed = false;
  for (std::size_t c = 0; c < runs.count(); ++c) {
    bool seen = false;
    bool gap = false;
    double value = 0;
    for (std::size_t k = runs.starts[c]; k < runs.starts[c + 1]; ++k) {
      const double x = cell[runs.rows[k]];
      if (std::isnan(x)) {
        gap = true;
      } else if (!seen) {
        seen = true;
        value = x;
      } else if (x != value) {
        return within::varies;
      }
    }
    mixed = mixed || (seen && gap);
  }
  return mixed ? within::inconsistent : within::constant;
}

struct ordered_identifiers {
  std::vector<std::size_t> order;  ///< finest first
  std::vector<cluster_runs> runs;  ///< in the order given
};

ordered_identifiers order_runs(const arma::Mat<double>& data, const std::vector<unsigned>& identifiers) {
  ordered_identifiers out;
  for (unsigned column : identifiers) out.runs.emplace_back(data.colptr(column), data.n_rows);
  out.order.resize(identifiers.size());
  std::iota(out.order.begin(), out.order.end(), std::size_t{0});
  std::stable_sort(out.order.begin(), out.order.end(),
                   [&](std::size_t a, std::size_t b) { return out.runs[a].count() > out.runs[b].count(); });
  return out;
}

bool any_observed(const double* cell, arma::uword n) {
  return std::any_of(cell, cell + n, [](double x) { return !std::isnan(x); });
}

}  // namespace

std::vector<char> determineMissing(const arma::Mat<double>& data) {
  std::vector<char> out(data.n_cols, 0);
  for (arma::uword j = 0; j < data.n_cols; ++j) {
    const double* cell = data.colptr(j);
    out[j] = std::any_of(cell, cell + data.n_rows, [](double x) { return std::isnan(x); });
  }
  return out;
}

std::vector<std::size_t> order_identifiers(const arma::Mat<double>& data,
                                           const std::vector<unsigned>& identifiers) {
  return order_runs(data, identifiers).order;
}

std::vector<unsigned> determineNLevels(const arma::Mat<double>& data,
                                       const std::vector<unsigned>& identifiers) {
  const auto count = static_cast<unsigned>(identifiers.size());
  const ordered_identifiers ids = order_runs(data, identifiers);
  std::vector<unsigned> levels(data.n_cols, count);
  for (arma::uword j = 0; j < data.n_cols; ++j) {
    const double* cell = data.colptr(j);
    if (!any_observed(cell, data.n_rows)) continue;
    for (unsigned p = count; p-- > 0;) {
      const within found = classify(cell, ids.runs[ids.order[p]]);
      if (found == within::varies) continue;
      levels[j] = found == within::constant ? count - (p + 1) : inconsistent_level;
      break;
    }
  }
  return levels;
}

void check_nesting(const arma::Mat<double>& data, const std::vector<unsigned>& identifiers,
                   const std::vector<std::string>& names) {
  const ordered_identifiers ids = order_runs(data, identifiers);
  for (std::size_t finer = 0; finer < ids.order.size(); ++finer)
    for (std::size_t coarser = finer + 1; coarser < ids.order.size(); ++coarser) {
      const unsigned inner = identifiers[ids.order[finer]];
      const unsigned outer = identifiers[ids.order[coarser]];
      if (classify(data.colptr(outer), ids.runs[ids.order[finer]]) == within::constant) {
        // As many clusters, each within one of the other: the two are the same level under two names.
        if (ids.runs[ids.order[finer]].count() != ids.runs[ids.order[coarser]].count()) continue;
        throw error("ERROR: Identifier variables '" + names[inner] + "' and '" + names[outer] +
                    "' define the same clusters.\n       Remove one of them from the CLUSTERID command.");
      }
      throw error("ERROR: Identifier variable '" + names[inner] + "' is not nested in identifier variable '" +
                  names[outer] + "'.\n       Use identifiers that are unique across clusters.");
    }
}

}  // namespace tovik
