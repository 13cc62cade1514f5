// Labels, the table of parameters, and the rows of the models in the estimates.

#include <algorithm>
#include <array>

#include "evaluate/defines.hpp"
#include "evaluate/value.hpp"
#include "model/model_list.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {
namespace {

/// Every model of one outcome with a residual variance in its own scale shows the parts of its variance by
/// name.
bool has_variance_names(const Model& model) {
  const int kind = model.kind();
  const bool excluded = kind == 3 || kind == 4 || kind == 6 || (kind >= 8 && kind <= 12);
  return !excluded && !model.outcomes.empty();
}

}  // namespace

std::vector<model::parameter> ModelList::constraints() const {
  std::vector<model::parameter> out;
  for (const Model& model : *this) {
    if (model.kind() == 11) continue;
    for (const model::parameter& p : model.constraints()) {
      if (p.has_label()) out.push_back(p);
    }
  }
  std::stable_sort(out.begin(), out.end());
  out.erase(std::unique(out.begin(), out.end()), out.end());
  return out;
}

unsigned ModelList::appearances(const model::parameter& p) const {
  if (!p.has_label()) return 0;
  std::size_t n = 0;
  for (const Model& model : *this) {
    const auto fixed = model.fixedParameters();
    n += static_cast<std::size_t>(std::count(fixed.begin(), fixed.end(), p));
    for (std::int32_t c = 0; c < model.levels; ++c) {
      const auto random = model.randomParameters(static_cast<unsigned>(c));
      n += static_cast<std::size_t>(std::count(random.begin(), random.end(), p));
    }
    n += model.variance == p ? 1 : 0;
  }
  return static_cast<unsigned>(n);
}

std::pair<unsigned, unsigned> ModelList::estimates_span(const Model& wanted) const {
  const auto n_rows = [](const Model& model) {
    return static_cast<unsigned>(model.parameters().size() + model.standardized().size() +
                                 model.rsquare().size());
  };
  // The same object if it is one of the list, else an equal one: with merging switched off two models can
  // share their outcome.
  const auto own = std::find_if(begin(), end(), [&](const Model& m) { return &m == &wanted; });
  const auto found =
      own != end() ? own
                   : std::find_if(begin(), end(), [&](const Model& m) { return m.isEquivalent(wanted); });
  if (found == end()) throw error_debug("No model found for wald test");
  unsigned first = 0;
  for (auto model = begin(); model != found; ++model) first += n_rows(*model);
  return {first, n_rows(*found)};
}

std::unordered_map<std::string, model::parameter_info> ModelList::generate_map() const {
  std::unordered_map<std::string, model::parameter_info> out;
  const auto enter = [&out](const std::string& name) {
    model::parameter_info info;
    info.slot = static_cast<unsigned>(out.size());
    const auto [entry, is_new] = out.emplace(to_lower(name), info);
    if (is_new) entry->second.cell = std::make_shared<evaluate::value>();
  };
  static const std::array<const char*, 5> parts = {".coefvar", ".iceptvar", ".slopevar", ".residvar",
                                                   ".totalvar"};
  for (const Model& model : *this) {
    if (!has_variance_names(model)) continue;
    for (const char* part : parts) enter(model.var_param_name() + part);
  }
  for (const model::parameter& p : constraints()) enter(p.label());
  return out;
}

void ModelList::define_parameters() {
  const auto map = generate_map();
  std::vector<std::pair<unsigned, std::string>> by_slot;
  for (const auto& [name, info] : map) by_slot.emplace_back(info.slot, name);
  std::sort(by_slot.begin(), by_slot.end());
  for (const auto& [slot, name] : by_slot) {
    if (!names->define_var(name, slot))
      throw error_debug("Could not add parameter because it was already defined");
  }
}

}  // namespace tovik
