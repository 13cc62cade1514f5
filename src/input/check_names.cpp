#include <algorithm>

#include "input/input_file.hpp"
#include "input/name_checks.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

std::string without_mean(const std::string& name) {
  const std::string ending = ".mean";
  const bool mean =
      name.size() > ending.size() && name.compare(name.size() - ending.size(), ending.size(), ending) == 0;
  return mean ? name.substr(0, name.size() - ending.size()) : name;
}

void append(const std::vector<std::string>& names, std::vector<std::string>& all) {
  all.insert(all.end(), names.begin(), names.end());
}

}  // namespace

std::vector<std::string> InputFile::commandNames() const {
  std::vector<std::string> all = variableNames;
  append(clusterIds, all);
  if (!byGroup.empty()) all.push_back(byGroup);
  append(ordinals, all);
  for (const nominal_name& n : nominals) all.push_back(n.name);
  append(counts, all);
  append(fixed, all);
  append(centerGrand, all);
  append(centerGroup, all);
  append(fcs, all);
  append(weights, all);
  for (const auto& [level, names] : latents) append(names, all);
  for (const auto& [level, names] : phantoms) append(names, all);
  return all;
}

void InputFile::checkNames() const {
  for (const std::string& word : commandNames()) {
    const std::string name = without_mean(word);
    name_checks::check_intercept(name);
    name_checks::check_reserved(name);
  }
  name_checks::taken_names taken;
  for (const std::string& name : variableNames) taken.add(name);
  name_checks::taken_names identifiers;
  for (const std::string& name : clusterIds) identifiers.add(name);
}

void InputFile::checkIdentifiers() const {
  if (weights.size() > 1 && !(centerGrand.empty() && centerGroup.empty())) {
    throw error(
        "ERROR: The CENTER command is not supported with sampling weights.\n"
        "       You must manually specify centering directly in the\n"
        "       MODEL command. See User Guide for examples.");
  }
  if (!weights.empty() && clusterIds.size() > 1) {
    throw error("ERROR: Sampling weights are unavailable for three-level models.");
  }
  if ((weights.empty() && clmean_method == 1) || models.empty()) chain_info::compute_corrs = false;
  for (const std::string& name : weights) {
    if (in(clusterIds, name)) {
      throw error("ERROR: A variable (" + name +
                  ") is listed as an identifier variable and as a sampling weight.");
    }
  }
  if (!counts.empty() && !fcs.empty()) {
    throw error("ERROR: Count variables are not allowed with FCS command.");
  }
  if (clusterIds.size() > 2) {
    throw error("ERROR: Only single-level, two-level, and three-level models are supported.");
  }
}

}  // namespace tovik
