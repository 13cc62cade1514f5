#include "sem/predictors/varies.hpp"

#include <algorithm>
#include <cmath>

#include "data/variable.hpp"
#include "sem/wiring/working_data.hpp"
#include "support/error.hpp"

namespace tovik::sem {

namespace {

/// Sums, sizes and the level of the data of one grouping of the observed units. Groups without an observation
/// do not count.
struct grouping {
  arma::Col<double> n, mean;
  double groups = 0.0;

  grouping(const arma::Col<double>& values, const arma::Col<arma::uword>& group, arma::uword n_groups)
      : n(n_groups, arma::fill::zeros), mean(n_groups, arma::fill::zeros) {
    for (arma::uword i = 0; i < values.n_elem; ++i) {
      n[group[i]] += 1.0;
      mean[group[i]] += values[i];
    }
    for (arma::uword j = 0; j < n_groups; ++j) {
      if (n[j] == 0.0) continue;
      mean[j] /= n[j];
      groups += 1.0;
    }
  }
};

double ratio(double numerator, double denominator, double N) {
  // Denominators are N less a sum of fractions; what rounding leaves of a zero is no divisor.
  if (!(denominator > 1e-9 * N)) return 0.0;
  return std::max(0.0, numerator / denominator);
}

/// The observed values of a column, one per unit of its level, with the group of each at the levels above.
struct observed_values {
  arma::Col<double> x;
  std::vector<arma::Col<arma::uword>> group;

  observed_values(const working_data& working, const arma::Mat<double>& data, arma::uword column,
                  unsigned level) {
    std::vector<double> values;
    std::vector<arma::uword> rows;
    for (arma::uword row : working.first_rows(level)) {
      if (std::isnan(data(row, column))) continue;
      values.push_back(data(row, column));
      rows.push_back(row);
    }
    x = arma::Col<double>(values);
    const arma::Col<arma::uword> at(rows);
    for (unsigned l = level + 1; l < working.n_levels(); ++l) group.push_back(working.units(l).elem(at));
  }
};

/// The variance between the groups of one grouping: what their sum of squares has in excess of that within.
double one_way_between(double N, const grouping& g, double ss_between, double s2_within) {
  const double q = arma::dot(g.n, g.n) / N;
  return ratio(ss_between - (g.groups - 1.0) * s2_within, N - q, N);
}

/// Sum of squares of the groups' means around the means `around` (one per group), by their sizes.
double between(const grouping& g, const arma::Col<double>& around) {
  return arma::accu(g.n % arma::square(g.mean - around));
}

double within(const arma::Col<double>& x, const arma::Col<arma::uword>& group, const grouping& g) {
  double sum = 0.0;
  for (arma::uword i = 0; i < x.n_elem; ++i) {
    const double e = x[i] - g.mean[group[i]];
    sum += e * e;
  }
  return sum;
}

using correlations = std::optional<std::vector<double>>;

/// Groups without variation have no intraclass correlation: what rounding leaves of a zero sum of squares.
bool vanishes(double ss, double total) {
  return ss <= 1e-24 * total;
}

correlations one_level(const arma::Col<double>& x, const arma::Col<arma::uword>& group,
                       arma::uword n_groups) {
  const double N = static_cast<double>(x.n_elem);
  const grouping g(x, group, n_groups);
  if (g.groups == N) return std::vector<double>{0.0};
  const double ss = within(x, group, g);
  const arma::Col<double> around(n_groups, arma::fill::value(arma::mean(x)));
  const double ss_between = between(g, around);
  if (vanishes(ss, ss + ss_between)) return std::nullopt;
  const double s2 = ss / (N - g.groups);
  const double s2_between = one_way_between(N, g, ss_between, s2);
  return std::vector<double>{s2_between / (s2_between + s2)};
}

/// Nested groups, `middle` in `top`; the parent of a middle group is found by its members.
correlations two_levels(const arma::Col<double>& x, const arma::Col<arma::uword>& middle,
                        arma::uword n_middle, const arma::Col<arma::uword>& top, arma::uword n_top) {
  const double N = static_cast<double>(x.n_elem);
  const grouping b(x, middle, n_middle), a(x, top, n_top);
  if (b.groups == N) {
    const correlations of_tops = one_level(x, top, n_top);
    if (!of_tops) return std::nullopt;
    return std::vector<double>{0.0, (*of_tops)[0]};
  }
  arma::Col<double> of_top(n_middle, arma::fill::zeros);
  arma::Col<arma::uword> parent(n_middle, arma::fill::zeros);
  for (arma::uword i = 0; i < x.n_elem; ++i) {
    parent[middle[i]] = top[i];
    of_top[middle[i]] = a.mean[top[i]];
  }
  const double ss = within(x, middle, b), ss_middle = between(b, of_top);
  const arma::Col<double> around(n_top, arma::fill::value(arma::mean(x)));
  const double ss_top = between(a, around);
  double q1 = 0.0;
  for (arma::uword j = 0; j < n_middle; ++j)
    if (b.n[j] > 0.0) q1 += b.n[j] * b.n[j] / a.n[parent[j]];
  const double q2 = arma::dot(b.n, b.n) / N, q3 = arma::dot(a.n, a.n) / N;
  if (vanishes(ss, ss + ss_middle + ss_top)) return std::nullopt;
  const double s2 = ss / (N - b.groups);
  const double s2_middle = ratio(ss_middle - (b.groups - a.groups) * s2, N - q1, N);
  const double s2_top = ratio(ss_top - (q1 - q2) * s2_middle - (a.groups - 1.0) * s2, N - q3, N);
  const double sum = s2 + s2_middle + s2_top;
  return std::vector<double>{s2_middle / sum, s2_top / sum};
}

}  // namespace

correlations intraclass_correlations(const working_data& working, const arma::Mat<double>& data,
                                     arma::uword column, unsigned level) {
  if (level >= working.n_levels() || column >= data.n_cols)
    throw error_debug("There is no such column or level.");
  const observed_values v(working, data, column, level);
  switch (v.group.size()) {
    case 0:
      return std::vector<double>();
    case 1:
      return one_level(v.x, v.group[0], working.n_units(level + 1));
    case 2:
      return two_levels(v.x, v.group[0], working.n_units(level + 1), v.group[1], working.n_units(level + 2));
    default:
      throw error_debug("Data have at most three levels.");
  }
}

std::vector<bool> varies(const working_data& working, const arma::Mat<double>& data, const data::variable& v,
                         unsigned level, double cutoff) {
  std::vector<arma::uword> columns;
  for (const auto& dummy : v.dummies) columns.push_back(dummy->column);
  if (columns.empty()) columns.push_back(v.column);
  const unsigned n_above = working.n_levels() - 1 - level;
  std::vector<double> largest(n_above, 0.0);
  bool any = false;
  for (arma::uword column : columns) {
    // A rare category may not vary within clusters, or not at all: the others then tell.
    const correlations icc = intraclass_correlations(working, data, column, level);
    if (!icc) continue;
    any = true;
    for (unsigned d = 0; d < n_above; ++d) largest[d] = std::max(largest[d], (*icc)[d]);
  }
  if (!any) {
    throw error("ERROR: Variable '" + v.name +
                "' does not vary within its clusters.\n       Remove it and rerun.");
  }
  std::vector<bool> out(n_above + 1, true);
  for (unsigned d = 0; d < n_above; ++d) out[d + 1] = largest[d] >= cutoff;
  return out;
}

}  // namespace tovik::sem
