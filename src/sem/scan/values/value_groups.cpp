#include "sem/scan/values/value_groups.hpp"

#include <algorithm>
#include <limits>
#include <utility>

#include "evaluate/error.hpp"
#include "support/error.hpp"

namespace tovik::sem::scan {
namespace {

constexpr arma::uword none = static_cast<arma::uword>(-1);

/// A column over memory that a vector keeps: the matrix library gives memory back when a column shrinks.
arma::Col<arma::uword> view(std::vector<arma::uword>& of, arma::uword n) {
  return arma::Col<arma::uword>(of.data(), n, false, true);
}

arma::Col<arma::uword> counting(arma::uword n) {
  arma::Col<arma::uword> out(n);
  for (arma::uword k = 0; k < n; ++k) out(k) = k;
  return out;
}

}  // namespace

value_groups::value_groups(arma::Col<arma::uword> units, unsigned level,
                           const estimator::acceptance& together)
    : units_(std::move(units)),
      group_of_(counting(units_.n_elem)),
      values_(group_of_),
      level_(static_cast<int>(level)),
      alone_(together.each_alone()) {
  if (!alone_) number_groups(together);
  arma::uword const n = units_.is_empty() ? 0 : group_of_.max() + 1;
  all_ = counting(n);
  start_.assign(n + 1, 0);
  for (arma::uword g : group_of_) ++start_[g + 1];
  for (arma::uword g = 0; g < n; ++g) start_[g + 1] += start_[g];
  members_.resize(units_.n_elem);
  std::vector<arma::uword> next(start_.begin(), start_.end());
  for (arma::uword k = 0; k < units_.n_elem; ++k) members_[next[group_of_(k)]++] = k;
  arma::uword const most = std::max<arma::uword>(units_.n_elem, dependent_.size());
  work_.units.resize(most);
  work_.to.resize(most);
  work_.values.resize(most);
  work_.place.assign(n, 0);
}

// The groups that hold an unknown value, numbered anew, and what depends on them.
void value_groups::number_groups(const estimator::acceptance& together) {
  level_ = static_cast<int>(together.level());
  const auto& of_value = together.group_of_value();
  const auto& of_unit = together.group_of_unit();
  if (!units_.is_empty() && units_.max() >= of_value.n_elem)
    throw error_debug("Unknown values are not in the data.");
  std::vector<arma::uword> number(1 + std::max(of_value.max(), of_unit.max()), none);
  arma::uword n = 0;
  for (arma::uword k = 0; k < units_.n_elem; ++k) {
    arma::uword& mine = number[of_value(units_(k))];
    if (mine == none) mine = n++;
    group_of_(k) = mine;
  }
  for (arma::uword i = 0; i < of_unit.n_elem; ++i) {
    if (number[of_unit(i)] == none) continue;
    dependent_.push_back(i);
    dependent_group_.push_back(number[of_unit(i)]);
  }
}

// A function may refuse a candidate instead of answering NaN: which one, each group then tells for itself.
void value_groups::density(const estimator::likelihood& list, const void* without,
                           const arma::Mat<double>& data, const arma::Col<arma::uword>& groups,
                           double* out) const {
  try {
    return add_up(list, without, data, groups, out);
  } catch (const evaluate::error_debug&) {
    throw;
  } catch (const evaluate::error&) {
    if (groups.n_elem == 1) out[0] = std::numeric_limits<double>::quiet_NaN();
  }
  if (groups.n_elem == 1) return;
  for (arma::uword j = 0; j < groups.n_elem; ++j)
    density(list, without, data, arma::Col<arma::uword>{groups(j)}, out + j);
}

void value_groups::add_up(const estimator::likelihood& list, const void* without,
                          const arma::Mat<double>& data, const arma::Col<arma::uword>& groups,
                          double* out) const {
  arma::uword n = 0;
  if (alone_) {
    for (arma::uword g : groups) work_.units[n++] = units_(g);
    std::fill_n(out, n, 0.0);
    const arma::Col<arma::uword> units = view(work_.units, n);
    for (const auto& term : list)
      if (without == nullptr || term.source() != without) term.add(data, level_, units, out);
    return;
  }
  for (arma::uword j = 0; j < groups.n_elem; ++j) work_.place[groups(j)] = j + 1;
  for (std::size_t i = 0; i < dependent_.size(); ++i) {
    arma::uword const place = work_.place[dependent_group_[i]];
    if (place == 0) continue;
    work_.units[n] = dependent_[i];
    work_.to[n++] = place - 1;
  }
  for (arma::uword g : groups) work_.place[g] = 0;
  const arma::Col<arma::uword> units = view(work_.units, n);
  std::fill_n(work_.values.data(), n, 0.0);
  for (const auto& term : list)
    if (without == nullptr || term.source() != without) term.add(data, level_, units, work_.values.data());
  std::fill_n(out, groups.n_elem, 0.0);
  for (arma::uword i = 0; i < n; ++i) out[work_.to[i]] += work_.values[i];
}

}  // namespace tovik::sem::scan
