// The correlations of a block and of phantoms by name: "a <-> b".

#include <algorithm>

#include "data/modifier.hpp"
#include "model/correlation.hpp"
#include "model/model.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {
namespace {

using model::anyVariable;

constexpr const char* double_arrow = " <-> ";

/// The two names of a correlation.
std::pair<std::string, std::string> ends_of(const anyVariable& correlation) {
  if (correlation.ends) return {correlation.ends->first.name, correlation.ends->second.name};
  const std::string text = data::phantom_text(correlation.variable->fullName);
  const std::size_t place = text.find(double_arrow);
  if (place == std::string::npos) return {text, ""};
  return {text.substr(0, place), text.substr(place + std::string(double_arrow).size())};
}

std::string text_of(const anyVariable& correlation) {
  const auto [first, second] = ends_of(correlation);
  return second.empty() ? first : first + double_arrow + second;
}

/// Place j + i p of the correlation in the p x p matrix of the members by columns, j < i; -1 if it is none of
/// the block. The two names may stand in either order.
int place_of(const anyVariable& correlation, const std::vector<anyVariable>& members) {
  const auto [first, second] = ends_of(correlation);
  const auto member = [&](const std::string& name) {
    return std::find_if(members.begin(), members.end(),
                        [&](const anyVariable& term) { return iequals(term.fullname_noModifer(), name); });
  };
  const auto a = member(first);
  const auto b = member(second);
  if (a == members.end() || b == members.end() || a == b) return -1;
  const auto [j, i] = std::minmax({a - members.begin(), b - members.begin()});
  return static_cast<int>(j + i * static_cast<std::ptrdiff_t>(members.size()));
}

}  // namespace

std::string Model::correlationParse(const std::string& name) {
  return data::phantom_text(name);
}

std::string Model::correlationParse(const Model& phantom) {
  if (phantom.outcomes.empty()) throw error_debug("No outcomes in model.");
  return text_of(phantom.outcomes.front());
}

int Model::find_correlation(const model::parameter& p) const {
  if (!is_multi()) throw error_debug("Cannot find correlation for non multivariate.");
  if (!p.has_label()) return -1;
  const anyVariable* found = nullptr;
  for (const anyVariable& correlation : random) {
    if (!(correlation.param == p)) continue;
    if (found)
      throw error("ERROR: Cannot specify correlation constraints.\n       the parameter labeled '" +
                  p.label() + "' was used\n       more than once.");
    found = &correlation;
  }
  if (!found) return -1;
  const int place = place_of(*found, fixed);
  if (place < 0) throw error_debug("Unable to find correlation parameter in multi.");
  return place;
}

std::vector<std::pair<unsigned, double>> Model::fixed_correlations() const {
  std::vector<std::pair<unsigned, double>> out;
  for (const auto& [place, p] : correlation_parameters())
    if (p.is_fixed()) out.emplace_back(place, p.value());
  return out;
}

std::vector<std::pair<unsigned, model::parameter>> Model::correlation_parameters() const {
  if (!is_multi()) throw error_debug("Cannot find correlation for non multivariate.");
  std::vector<std::pair<unsigned, model::parameter>> out;
  for (const anyVariable& correlation : random) {
    const int place = place_of(correlation, fixed);
    if (place < 0) throw error_debug("Unable to find correlation.");
    out.emplace_back(static_cast<unsigned>(place), correlation.param);
  }
  return out;
}

std::vector<std::string> Model::nonzero_correlations() const {
  std::vector<std::string> out;
  if (!is_multi()) return out;
  for (const anyVariable& correlation : random) {
    const bool zero = correlation.param.is_fixed() && correlation.param.value() == 0.0;
    if (!zero) out.push_back(text_of(correlation));
  }
  return out;
}

}  // namespace tovik
