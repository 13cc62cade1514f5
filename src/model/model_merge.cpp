// Two equations of one outcome become one, and the order in which equations are sampled.

#include <algorithm>

#include "model/model.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {
namespace {

using model::anyVariable;

bool is_intercept(const anyVariable& term) {
  return term.is_intercept();
}

std::vector<anyVariable> slopes(const std::vector<anyVariable>& terms) {
  std::vector<anyVariable> out;
  std::remove_copy_if(terms.begin(), terms.end(), std::back_inserter(out), is_intercept);
  return out;
}

std::vector<anyVariable> intercepts(const std::vector<anyVariable>& terms) {
  std::vector<anyVariable> out;
  std::copy_if(terms.begin(), terms.end(), std::back_inserter(out), is_intercept);
  return out;
}

template <class T>
void append(std::vector<T>& to, const std::vector<T>& from) {
  to.insert(to.end(), from.begin(), from.end());
}

/// Random intercepts that were both written: one without a bracket stands at every level and takes in the
/// others.
std::vector<anyVariable> join_random_intercepts(const std::vector<anyVariable>& ours,
                                                const std::vector<anyVariable>& theirs) {
  std::vector<anyVariable> out = ours;
  for (const anyVariable& intercept : theirs) {
    const auto same = std::find_if(out.begin(), out.end(),
                                   [&](const anyVariable& o) { return o.level == intercept.level; });
    if (same == out.end()) {
      out.push_back(intercept);
    } else if (same->param.is_free()) {
      same->param = intercept.param;
    }
  }
  for (const anyVariable& intercept : out) {
    if (!intercept.level) return {intercept};
  }
  return out;
}

/// Latent outcomes first, so that they are up to date for the equations that follow; bookkeeping models last.
int rank(int kind) {
  switch (kind) {
    case 7:
      return 1;
    case 6:
      return 4;
    case 9:
      return 5;
    case 8:
      return 6;
    case 10:
      return 7;
    case 11:
      return 8;
    default:
      return 2;
  }
}

}  // namespace

bool Model::isEquivalent(const Model& other) const {
  return link == other.link && *this == other;
}

Model& Model::operator+=(const Model& other) {
  if (!isEquivalent(other)) throw error_debug("Models do not have same Outcomes!");
  merge_fixed(other);
  merge_random(other);
  append(fixed_compute, other.fixed_compute);
  append(random_compute, other.random_compute);
  append(phantoms, other.phantoms);
  link_given = link_given || other.link_given;
  if (variance.is_free() && !(other.variance.is_free() && !other.variance.has_start()))
    variance = other.variance;
  if (other.block_number < block_number) {
    block = other.block;
    block_number = other.block_number;
  }
  return *this;
}

void Model::merge_fixed(const Model& other) {
  const bool removed = (fixed_intercept_given && !has_fixed_intercept) ||
                       (other.fixed_intercept_given && !other.has_fixed_intercept);
  std::vector<anyVariable> terms;
  if (!removed) {
    const bool theirs = !intercept_customised && other.intercept_customised;
    append(terms, intercepts(theirs ? other.fixed : fixed));
  }
  append(terms, slopes(fixed));
  append(terms, slopes(other.fixed));
  fixed = std::move(terms);
  has_fixed_intercept = !removed;
  fixed_intercept_given = fixed_intercept_given || other.fixed_intercept_given;
  intercept_customised = !removed && (intercept_customised || other.intercept_customised);
}

void Model::merge_random(const Model& other) {
  const bool removed = (random_intercept_given && !has_random_intercept) ||
                       (other.random_intercept_given && !other.has_random_intercept);
  std::vector<anyVariable> terms;
  if (!removed) {
    if (random_intercept_given && other.random_intercept_given) {
      terms = join_random_intercepts(intercepts(random), intercepts(other.random));
    } else {
      terms = intercepts(other.random_intercept_given ? other.random : random);
    }
  }
  has_random_intercept = !terms.empty();
  append(terms, slopes(random));
  append(terms, slopes(other.random));
  random = std::move(terms);
  random_intercept_given = random_intercept_given || other.random_intercept_given;
}

bool operator<(const Model& a, const Model& b) {
  if (a.block_number != b.block_number) return a.block_number < b.block_number;
  const int rank_a = rank(a.kind());
  const int rank_b = rank(b.kind());
  if (rank_a != rank_b) return rank_a < rank_b;
  if (a.kind() == 8 && a.levels != b.levels) return a.levels > b.levels;
  if (a.kind() == 9 && !a.fixed.empty() && !b.fixed.empty()) return a.fixed.front() < b.fixed.front();
  if (a.outcomes.empty() || b.outcomes.empty()) return a.outcomes.size() < b.outcomes.size();
  return natural_less(a.outcomes.front().name(), b.outcomes.front().name());
}

bool operator==(const Model& a, const Model& b) {
  return a.outcomes == b.outcomes;
}

}  // namespace tovik
