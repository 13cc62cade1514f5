#include <algorithm>
#include <cmath>

#include "data/read_data.hpp"
#include "input/input_file.hpp"
#include "input/name_checks.hpp"
#include "input/name_index.hpp"
#include "input/transform.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

/// From 2^53 on neighbouring integers share a double: two identifiers of the file could become one cluster.
void check_exact(const std::string& name, const arma::Col<double>& ids) {
  constexpr double first_shared = 9007199254740992.0;
  for (arma::uword i = 0; i < ids.n_elem; ++i) {
    if (std::abs(ids[i]) < first_shared) continue;
    throw error("ERROR: The clustering identifier variable '" + name + "' in row " + std::to_string(i + 1) +
                " is too large\n       to be told from its neighbours. Identifiers must be below " +
                format("%.0f", first_shared) + ".");
  }
}

}  // namespace

arma::Mat<double> InputFile::data() {
  if (variableNames.empty()) saveVarNames = true;
  if (missingCode.empty() && !std::isfinite(missingValue)) missingCode = "NA";
  arma::Mat<double> out = simulates.empty() ? readFile() : simulateData();
  recodeMissing(out);
  checkSize(out);
  checkClusters(out, false);
  if (!transforms.empty()) {
    apply_transforms(out, variableNames, transforms, rng);
    checkClusters(out, true);
  }
  if (!simulates.empty()) saveSimulated(out);
  checkDataNames();
  checkCommandNames();
  if (out.has_inf()) throw error("ERROR: Data matrix read in an Inf value.");
  return out;
}

arma::Mat<double> InputFile::readFile() {
  std::string delimiter;
  return readData(data_file, variableNames, delimiter, missingCode, 1000);
}

void InputFile::recodeMissing(arma::Mat<double>& data) const {
  if (!missingCode.empty() || !std::isfinite(missingValue)) return;
  std::replace(data.begin(), data.end(), missingValue, std::numeric_limits<double>::quiet_NaN());
}

void InputFile::checkSize(const arma::Mat<double>& data) const {
  if (data.n_cols != variableNames.size()) {
    throw error("ERROR: Number of columns in data set does not match VARIABLES command.");
  }
  if (data.n_rows == 0) {
    throw error(
        "ERROR: Failed to read the data in,\n"
        "       please use a comma separated file\n"
        "       or space separated file.");
  }
  if (data.n_rows == 1) {
    throw error(
        "ERROR: The data set was read in with only one row. This indicates the data\n"
        "       set has not been read in properly and potentially has\n"
        "       blank rows between data records.");
  }
}

void InputFile::checkClusters(const arma::Mat<double>& data, bool made) const {
  const name_index columns(variableNames);
  name_index later;
  if (!made) {
    for (const std::string& name : transformed_names(transforms)) later.add(name, 0);
  }
  for (const std::string& name : clusterIds) {
    if (later.has(name)) continue;
    const std::size_t column = columns.find(name);
    if (column == name_index::none) {
      throw error("ERROR: Identifier variable: \"" + name + "\" not in the data.");
    }
    if (data.col(column).has_nan()) {
      throw error("ERROR: The clustering identifier variable '" + name + "' has missing data.");
    }
    check_exact(name, data.col(column));
  }
}

void InputFile::checkDataNames() const {
  name_checks::taken_names taken;
  for (const std::string& name : variableNames) {
    name_checks::check_intercept(name);
    name_checks::check_ending(name);
    name_checks::check_reserved(name);
    name_checks::check_referable(name);
    taken.add(name);
  }
  for (const auto* lists : {&latents, &phantoms}) {
    for (const auto& [level, names] : *lists) {
      for (const std::string& name : names) {
        name_checks::check_ending(name);
        name_checks::check_referable(name);
        taken.add(name);
      }
    }
  }
}

void InputFile::checkCommandNames() const {
  const name_index columns(variableNames);
  const auto require = [&](const std::string& name, const char* command) {
    if (columns.has(name)) return;
    throw error("ERROR: Variable '" + name + "' in the " + command + " command is not in the data.");
  };
  for (const std::string& name : fixed) require(name, "FIXED");
  for (const std::string& name : ordinals) require(name, "ORDINAL");
  for (const std::string& name : weights) require(name, "WEIGHT");
  for (const std::string& name : counts) require(name, "COUNT");
  for (const nominal_name& n : nominals) {
    require(n.name, "NOMINAL");
    if (clmean_method == 1 && !std::isnan(n.reference)) {
      throw error(
          "ERROR: Cannot change nominal reference category with manifest.\n       Problem variable: '" +
          n.name + "'");
    }
  }
  for (const std::string& name : fcs) require(name, "FCS");
}

}  // namespace tovik
