#include "evaluate/grouping.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numeric>

namespace tovik::evaluate {

namespace {

/// Data files usually list the rows of a cluster together and in order: no sort then.
bool ascending(const arma::Col<double>& id) {
  for (arma::uword i = 1; i < id.n_elem; ++i) {
    if (!(id[i - 1] <= id[i])) return false;
  }
  return id.n_elem == 0 || !std::isnan(id[0]);
}

}  // namespace

grouping::grouping(const arma::Col<double>& id) : id_(id), cluster_(id.n_elem, none) {
  std::vector<arma::uword> order;
  if (ascending(id_)) {
    order.resize(id_.n_elem);
    std::iota(order.begin(), order.end(), arma::uword{0});
  } else {
    for (arma::uword i = 0; i < id_.n_elem; ++i) {
      if (!std::isnan(id_[i])) order.push_back(i);
    }
    std::sort(order.begin(), order.end(), [&](arma::uword a, arma::uword b) { return id_[a] < id_[b]; });
  }
  for (std::size_t at = 0; at < order.size(); ++at) {
    if (at == 0 || id_[order[at - 1]] != id_[order[at]]) ++clusters_;
    cluster_[order[at]] = clusters_ - 1;
  }
}

bool grouping::is_of(const arma::Col<double>& id) const {
  return id.n_elem == id_.n_elem &&
         (id.n_elem == 0 || std::memcmp(id.memptr(), id_.memptr(), id.n_elem * sizeof(double)) == 0);
}

}  // namespace tovik::evaluate
