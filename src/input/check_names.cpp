#include <algorithm>

#include "input/input_file.hpp"
#include "input/name_checks.hpp"
#include "support/error.hpp"
#include "support/text.hpp"
#include "support/warning.hpp"

namespace tovik {

namespace {

std::string without_mean(const std::string& name) {
  const std::string ending = ".mean";
  return iends_with(name, ending) ? name.substr(0, name.size() - ending.size()) : name;
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
  for (const std::string& name : variableNames) {
    name_checks::check_referable(name);
    taken.add(name);
  }
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

namespace {

/// The roles that the commands give a variable, by what the catalogue makes of it: the first one stands.
struct role_list {
  const char* command;
  std::vector<std::string> names;
};

std::vector<role_list> role_lists(const InputFile& input) {
  std::vector<std::string> nominals;
  for (const nominal_name& n : input.nominals) nominals.push_back(n.name);
  return {
      {"ORDINAL", input.ordinals}, {"COUNT", input.counts}, {"WEIGHT", input.weights}, {"NOMINAL", nominals}};
}

void warn_identifiers(const std::vector<role_list>& lists, const std::vector<std::string>& ids) {
  for (const role_list& list : lists) {
    for (const std::string& name : list.names) {
      if (!in(ids, name)) continue;
      warning::buffer.push("WARNING: The identifier variable '" + name + "' is in the " + list.command +
                           " command.\n         This has no effect.");
    }
  }
}

void warn_twice(const role_list& first, const role_list& second, bool first_stands) {
  for (const std::string& name : second.names) {
    if (!in(first.names, name)) continue;
    warning::buffer.push("WARNING: Variable '" + name + "' is in the " + first.command + " and in the " +
                         second.command + " command.\n         Only " +
                         (first_stands ? first : second).command + " has an effect.");
  }
}

}  // namespace

void InputFile::warnWithoutEffect() const {
  const std::vector<role_list> roles = role_lists(*this);
  for (std::size_t j = 0; j < roles.size(); ++j) {
    for (std::size_t i = 0; i < j; ++i) {
      const bool refused = i == 0 && j + 1 == roles.size();  // ORDINAL and NOMINAL contradict each other
      if (!refused) warn_twice(roles[i], roles[j], true);
    }
  }
  const role_list grand = {"CENTER: CGM", centerGrand};
  const role_list group = {"CENTER: CWC", centerGroup};
  warn_twice(grand, group, false);
  std::vector<role_list> all = roles;
  all.push_back({"FIXED", fixed});
  all.push_back({"FCS", fcs});
  warn_identifiers(all, clusterIds);
  if (models.empty() && !(centerGrand.empty() && centerGroup.empty())) {
    warning::buffer.push("WARNING: The CENTER command has no effect without a MODEL command.");
  }
  if (simulates.empty() && isWrite("dataset")) {
    warning::buffer.push(
        "WARNING: The keyword \"dataset\" of the SAVE command has no effect\n"
        "         without the SIMULATE command.");
  }
}

}  // namespace tovik
