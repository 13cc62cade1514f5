// Restricted equations against those of the run.

#include <algorithm>

#include "model/waldtest.hpp"
#include "support/error.hpp"

namespace tovik {
namespace {

void refuse_multivariate(const ModelList& models) {
  const bool any = std::any_of(models.begin(), models.end(), [](const Model& model) {
    return model.is_multi() || model.outcomes.size() > 1;
  });
  if (any)
    throw error(
        "ERROR: Cannot specify WALDTEST model differences with multivariate\n"
        "       models. Specify tests via the 'parameter = value'\n       specificaiton.");
}

/// The equation of the run with the outcome of a restricted one.
std::size_t matching_model(const ModelList& models, const Model& restricted) {
  const auto found = std::find(models.begin(), models.end(), restricted);
  if (found == models.end())
    throw error("ERROR: Could not find matching model in WALDTEST command.\n       Problem model: " +
                restricted.command());
  return static_cast<std::size_t>(found - models.begin());
}

}  // namespace

model::waldtest ModelList::operator-(const ModelList& full) const {
  refuse_multivariate(*this);
  refuse_multivariate(full);
  model::waldtest out;
  out.names = names;
  for (const Model& restricted : *this) {
    const std::size_t position = matching_model(full, restricted);
    out.differences.push_back(restricted - full[position]);
    out.differences.back().position = position;
    model::check_shared_parameters(full[position], restricted);
  }
  out.set_spans(full);
  return out;
}

}  // namespace tovik
