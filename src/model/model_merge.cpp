// Two equations of one outcome become one, blocks take their members, and the order in which equations are
// sampled.

#include <algorithm>

#include "model/model_list.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {
namespace {

using model::anyVariable;
using model::parameter;

std::vector<anyVariable> intercepts(const std::vector<anyVariable>& terms) {
  std::vector<anyVariable> out;
  std::copy_if(terms.begin(), terms.end(), std::back_inserter(out),
               [](const anyVariable& term) { return term.is_intercept(); });
  return out;
}

template <class T>
void append(std::vector<T>& to, const std::vector<T>& from) {
  to.insert(to.end(), from.begin(), from.end());
}

void append_slopes(std::vector<anyVariable>& to, const std::vector<anyVariable>& from) {
  std::copy_if(from.begin(), from.end(), std::back_inserter(to),
               [](const anyVariable& term) { return !term.is_intercept(); });
}

/// Replaces the intercepts in front of the terms.
void set_intercepts(std::vector<anyVariable>& terms, const std::vector<anyVariable>& wanted) {
  terms.erase(
      std::remove_if(terms.begin(), terms.end(), [](const anyVariable& term) { return term.is_intercept(); }),
      terms.end());
  terms.insert(terms.begin(), wanted.begin(), wanted.end());
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
int rank(model::kind kind) {
  switch (kind) {
    case model::kind::latent:
      return 1;
    case model::kind::missing:
      return 4;
    case model::kind::block:
      return 5;
    case model::kind::phantom:
      return 6;
    case model::kind::parameter:
      return 7;
    case model::kind::computation:
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
  if (is_multi()) {
    add_member(other);
    return *this;
  }
  if (other.link == model::link::log_variance && link != model::link::log_variance) {
    mark_variance_model(other);
    return *this;
  }
  if (!isEquivalent(other)) throw error_debug("Models do not have same Outcomes!");
  for (std::size_t i = 0; i < outcomes.size(); ++i) {
    if (outcomes[i].lambda.is_free()) outcomes[i].lambda = other.outcomes[i].lambda;
  }
  merge_fixed(other);
  merge_random(other);
  append(fixed_compute, other.fixed_compute);
  append(random_compute, other.random_compute);
  for (const anyVariable& phantom : other.phantoms) {
    if (std::find(phantoms.begin(), phantoms.end(), phantom) == phantoms.end()) phantoms.push_back(phantom);
  }
  append(intercept_varies, other.intercept_varies);
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
  if (removed) {
    if (has_fixed_intercept) set_intercepts(fixed, {});
  } else if (!intercept_customised && other.intercept_customised) {
    set_intercepts(fixed, intercepts(other.fixed));
  }
  append_slopes(fixed, other.fixed);
  has_fixed_intercept = !removed;
  fixed_intercept_given = fixed_intercept_given || other.fixed_intercept_given;
  intercept_customised = !removed && (intercept_customised || other.intercept_customised);
}

void Model::merge_random(const Model& other) {
  const bool removed = (random_intercept_given && !has_random_intercept) ||
                       (other.random_intercept_given && !other.has_random_intercept);
  if (removed) {
    if (has_random_intercept) set_intercepts(random, {});
  } else if (random_intercept_given && other.random_intercept_given) {
    set_intercepts(random, join_random_intercepts(intercepts(random), intercepts(other.random)));
  } else if (other.random_intercept_given) {
    set_intercepts(random, intercepts(other.random));
  }
  has_random_intercept = !random.empty() && random.front().is_intercept();
  append_slopes(random, other.random);
  random_intercept_given = random_intercept_given || other.random_intercept_given;
}

void Model::remove_random_intercept(const data::variable& in_favour_of) {
  const unsigned level = in_favour_of.level;
  if (static_cast<std::int64_t>(level) >= levels) return;
  const auto stands = [&](const anyVariable& term) {
    return term.is_intercept() && (!term.level || term.level->level == level);
  };
  const auto found = std::find_if(random.begin(), random.end(), stands);
  if (found == random.end()) return;
  if (random_intercept_given)
    throw error("ERROR: The intercept of '" + name() + "' varies as the latent variable '" +
                in_favour_of.fullName + "'.\n       It cannot have a random intercept at that level.\n" +
                "       Problem model: " + command());
  const anyVariable everywhere = *found;
  random.erase(found);
  if (!everywhere.level) {
    std::vector<anyVariable> others;
    for (const auto& id : clusters) {
      if (id->level == level || static_cast<std::int64_t>(id->level) >= levels) continue;
      others.push_back(everywhere);
      others.back().level = id;
      others.back().modifier = id->name;
    }
    random.insert(random.begin(), others.begin(), others.end());
  }
  has_random_intercept = !random.empty() && random.front().is_intercept();
}

void ModelList::replace_random_intercepts() {
  for (Model& model : *this) {
    for (const auto& latent : model.intercept_varies) model.remove_random_intercept(*latent);
  }
}

void Model::mark_variance_model(const Model& variance_model) {
  if (outcomes != variance_model.outcomes) throw error_debug("Models do not have same Outcomes!");
  const std::string subject = "ERROR: The Model \"" + command() + "\" ";
  if (link == model::link::yjt_scale || link == model::link::scale)
    throw error(subject + "already has\n       a variance model specified.");
  if (!model::has_normal_residual(kind(), link))
    throw error(subject +
                "has a scale model specified \n"
                "       but is not a continuous variable or ordered probit.");
  if (variance.has_label())
    throw error(subject + "has a labeled variance\n       parameter and a scale model specified.");
  if (variance.is_fixed())
    throw error(subject + "has a fixed variance\n       parameter and a scale model specified.");
  link = link == model::link::yjt ? model::link::yjt_scale : model::link::scale;
}

/// A member keeps its equation; the block holds its name, and its residual variance where that is fixed. The
/// scale of a probit's underlying variable is not identified, so its variance is held at 1.
void Model::add_member(const Model& other) {
  if (!other.can_join_block()) throw error_debug("Cannot add to multi model.");
  if (levels < 0) levels = other.levels;
  if (levels != other.levels || other.outcomes.size() != 1) throw error_debug("Cannot make multi model!");
  anyVariable member = other.outcomes.front();
  member.param = parameter();
  if (other.variance.is_fixed()) member.param = other.variance;
  if (other.kind() == model::kind::ordinal) member.param = parameter::fixed_at(1.0);
  fixed.insert(std::upper_bound(fixed.begin(), fixed.end(), member), member);
  // Members are drawn before their block.
  if (block == block::predef::none || block_number < other.block_number) {
    block = other.block;
    block_number = other.block_number;
  }
}

Model& Model::operator+=(const std::vector<anyVariable>& correlations) {
  if (!is_multi()) throw error_debug("Models cannot add variables!");
  for (const anyVariable& term : correlations) {
    if (term.type != model::type::phantom) throw error_debug("Cannot add non phantom variable!");
  }
  append(random, correlations);
  return *this;
}

bool operator<(const Model& a, const Model& b) {
  if (a.block_number != b.block_number) return a.block_number < b.block_number;
  const model::kind kind_a = a.kind();
  const model::kind kind_b = b.kind();
  if (rank(kind_a) != rank(kind_b)) return rank(kind_a) < rank(kind_b);
  if (kind_a == model::kind::phantom && a.levels != b.levels) return a.levels > b.levels;
  if (kind_a == model::kind::block && !a.fixed.empty() && !b.fixed.empty())
    return a.fixed.front() < b.fixed.front();
  if (a.outcomes.empty() || b.outcomes.empty()) return a.outcomes.size() < b.outcomes.size();
  return a.outcomes.front() < b.outcomes.front();
}

bool operator==(const Model& a, const Model& b) {
  return a.outcomes == b.outcomes;
}

}  // namespace tovik
