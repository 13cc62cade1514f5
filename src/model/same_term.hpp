#pragma once

#include <algorithm>
#include <vector>

namespace tovik::model {

/// The term of a list that is the same one, whatever it says of its parameter; null for none.
template <class Term>
const Term* same_term(const std::vector<Term>& list, const Term& term) {
  const auto found = std::find(list.begin(), list.end(), term);
  return found == list.end() ? nullptr : &*found;
}

}  // namespace tovik::model
