#include "evaluate/column_functions.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "evaluate/error.hpp"

namespace tovik::evaluate {

namespace {

using column = arma::Col<double>;

constexpr double no_value = std::numeric_limits<double>::quiet_NaN();

void require_same_length(const column& a, arma::uword rows) {
  if (a.n_elem != rows) throw error_debug("Elements do not match.");
}

/// All rows as one cluster.
struct whole_column {
  arma::uword n;
  arma::uword rows() const { return n; }
  std::uint32_t clusters() const { return n == 0 ? 0 : 1; }
  std::uint32_t of(arma::uword) const { return 0; }
};

struct by_cluster {
  explicit by_cluster(const grouping& grouped) : groups(grouped), cluster(grouped.cluster().data()) {}
  arma::uword rows() const { return groups.rows(); }
  std::uint32_t clusters() const { return groups.clusters(); }
  std::uint32_t of(arma::uword i) const { return cluster[i]; }

  const grouping& groups;
  const std::uint32_t* cluster;
};

struct moments {
  std::vector<double> mean;
  std::vector<double> sd;
};

/// Means where the sums of the first pass are not finite: a running mean cannot overflow, and gives what
/// infinite and missing entries make of it.
template <class Clusters>
void running_means(const column& x, const Clusters& clusters, std::vector<double>& mean) {
  std::vector<bool> redo(mean.size());
  for (std::size_t j = 0; j < mean.size(); ++j) redo[j] = !std::isfinite(mean[j]);
  std::vector<double> n(mean.size(), 0.0);
  for (std::size_t j = 0; j < mean.size(); ++j) mean[j] = redo[j] ? 0.0 : mean[j];
  for (arma::uword i = 0; i < x.n_elem; ++i) {
    const std::uint32_t j = clusters.of(i);
    if (j == grouping::none || !redo[j]) continue;
    n[j] += 1.0;
    mean[j] = mean[j] * ((n[j] - 1.0) / n[j]) + x[i] / n[j];
  }
}

/// Means of the deviations from the first entry of each cluster: a constant cluster has exactly its constant
/// as mean and 0 as standard deviation, and a large common offset costs no digits.
template <class Clusters>
moments compute_moments(const column& x, const Clusters& clusters, bool with_sd) {
  require_same_length(x, clusters.rows());
  const std::size_t count = clusters.clusters();
  std::vector<double> n(count, 0.0), first(count, 0.0), sum(count, 0.0);
  for (arma::uword i = 0; i < x.n_elem; ++i) {
    const std::uint32_t j = clusters.of(i);
    if (j == grouping::none) continue;
    if (n[j] == 0.0) first[j] = x[i];
    n[j] += 1.0;
    sum[j] += x[i] - first[j];
  }
  moments out;
  out.mean.resize(count);
  bool finite = true;
  for (std::size_t j = 0; j < count; ++j) {
    out.mean[j] = first[j] + sum[j] / n[j];
    finite = finite && std::isfinite(out.mean[j]);
  }
  if (!finite) running_means(x, clusters, out.mean);
  if (!with_sd) return out;
  out.sd.assign(count, 0.0);
  for (arma::uword i = 0; i < x.n_elem; ++i) {
    const std::uint32_t j = clusters.of(i);
    if (j == grouping::none) continue;
    const double deviation = x[i] - out.mean[j];
    out.sd[j] += deviation * deviation;
  }
  for (std::size_t j = 0; j < count; ++j) out.sd[j] = std::sqrt(out.sd[j] / (n[j] - 1.0));
  return out;
}

/// A column from each row's entry and its cluster.
template <class Clusters, class Value>
column spread(const column& x, const Clusters& clusters, const Value& value) {
  column out(x.n_elem);
  for (arma::uword i = 0; i < x.n_elem; ++i) {
    const std::uint32_t j = clusters.of(i);
    out[i] = j == grouping::none ? no_value : value(x[i], j);
  }
  return out;
}

template <class Clusters>
column means_of(const column& x, const Clusters& clusters) {
  const moments m = compute_moments(x, clusters, false);
  return spread(x, clusters, [&](double, std::uint32_t j) { return m.mean[j]; });
}

template <class Clusters>
column deviations_of(const column& x, const Clusters& clusters) {
  const moments m = compute_moments(x, clusters, true);
  return spread(x, clusters, [&](double, std::uint32_t j) { return m.sd[j]; });
}

template <class Clusters>
column centered(const column& x, const Clusters& clusters) {
  const moments m = compute_moments(x, clusters, false);
  return spread(x, clusters, [&](double value, std::uint32_t j) { return value - m.mean[j]; });
}

template <class Clusters>
column scaled(const column& x, const Clusters& clusters) {
  const moments m = compute_moments(x, clusters, true);
  return spread(x, clusters, [&](double value, std::uint32_t j) { return (value - m.mean[j]) / m.sd[j]; });
}

/// The known element that comes first by `before`, in every row.
template <class Before>
column extreme(const column& x, const Before& before) {
  double best = no_value;
  for (const double value : x) {
    if (std::isnan(best) || before(value, best)) best = value;
  }
  column out(x.n_elem);
  out.fill(best);
  return out;
}

/// Rows in the order of cluster and time; rows without either are left out.
template <class Clusters>
std::vector<arma::uword> time_order(const column& time, const Clusters& clusters) {
  std::vector<arma::uword> order;
  order.reserve(time.n_elem);
  for (arma::uword i = 0; i < time.n_elem; ++i) {
    if (!std::isnan(time[i]) && clusters.of(i) != grouping::none) order.push_back(i);
  }
  std::sort(order.begin(), order.end(), [&](arma::uword a, arma::uword b) {
    return std::make_pair(clusters.of(a), time[a]) < std::make_pair(clusters.of(b), time[b]);
  });
  return order;
}

template <class Clusters>
column lag(const column& x, const column& time, const Clusters& clusters) {
  require_same_length(x, clusters.rows());
  require_same_length(time, clusters.rows());
  const std::vector<arma::uword> order = time_order(time, clusters);
  column out(x.n_elem);
  out.fill(no_value);
  for (std::size_t at = 1; at < order.size(); ++at) {
    const arma::uword before = order[at - 1], row = order[at];
    if (clusters.of(before) != clusters.of(row)) continue;
    if (time[before] == time[row]) throw error("ERROR: Non unique time elements in lag1 function.");
    out[row] = x[before];
  }
  return out;
}

}  // namespace

column mean(const column& x) {
  return means_of(x, whole_column{x.n_elem});
}

column sd(const column& x) {
  return deviations_of(x, whole_column{x.n_elem});
}

column center(const column& x) {
  return centered(x, whole_column{x.n_elem});
}

column scale(const column& x) {
  return scaled(x, whole_column{x.n_elem});
}

column compute_max(const column& x) {
  return extreme(x, [](double a, double b) { return a > b; });
}

column compute_min(const column& x) {
  return extreme(x, [](double a, double b) { return a < b; });
}

column aggregate_mn(const column& x, const grouping& clusters) {
  return means_of(x, by_cluster(clusters));
}

column aggregate_sd(const column& x, const grouping& clusters) {
  return deviations_of(x, by_cluster(clusters));
}

column center(const column& x, const grouping& clusters) {
  return centered(x, by_cluster(clusters));
}

column scale(const column& x, const grouping& clusters) {
  return scaled(x, by_cluster(clusters));
}

column aggregate_mn(const column& x, const column& id) {
  return aggregate_mn(x, grouping(id));
}

column aggregate_sd(const column& x, const column& id) {
  return aggregate_sd(x, grouping(id));
}

column center(const column& x, const column& id) {
  return center(x, grouping(id));
}

column scale(const column& x, const column& id) {
  return scale(x, grouping(id));
}

column compute_lag1(const column& x, const column& time) {
  return lag(x, time, whole_column{x.n_elem});
}

column aggregate_lag1(const column& x, const column& time, const column& id) {
  const grouping clusters(id);
  return lag(x, time, by_cluster(clusters));
}

}  // namespace tovik::evaluate
