#pragma once

#include <vector>

namespace tovik::sem::estimator {

/// A value and the addresses of live storage that follow it.
template <class T>
struct parameterT {
  T value{};
  unsigned level = 0;
  std::vector<T*> links;

  /// Appends the other's addresses.
  parameterT& operator+=(const parameterT& other) {
    links.insert(links.end(), other.links.begin(), other.links.end());
    return *this;
  }

  /// Sets the value here and at every address.
  void write(T const& x) {
    value = x;
    for (T* link : links) *link = x;
  }
};

}  // namespace tovik::sem::estimator
