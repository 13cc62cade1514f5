#include <cstdint>
#include <thread>

#include "input/input_file.hpp"
#include "input/name_checks.hpp"
#include "support/error.hpp"
#include "support/text.hpp"
#include "support/warning.hpp"

namespace tovik {

namespace {

/// What a run can hold at once: every chain has a sampler of its own, every imputation a data set.
constexpr std::uint32_t most_parts = 1000000;

std::uint32_t hardware_threads() {
  const unsigned n = std::thread::hardware_concurrency();
  return n == 0 ? 1 : n;
}

}  // namespace

void InputFile::check() {
  checkSources();
  const bool only_simulation = !simulates.empty() && models.empty() && fcs.empty();
  if (only_simulation) {
    if (isWrite("dataset")) checkTarget("dataset", writePath("dataset"));
    checkOutputs({{"dataset", writePath("dataset")}});
    return;
  }
  checkRows();
  checkLength();
  checkHeterogeneous();
  checkProcessors();
  checkPaths();
  checkGroups();
  checkMethods();
  checkStarts();
  checkNames();
  checkIdentifiers();
  warnUnusedPaths();
  warnWithoutEffect();
}

void InputFile::checkSources() const {
  if (data_file.empty() && simulates.empty()) throw error("ERROR: Missing DATA command.");
  if (!simulates.empty() && !byGroup.empty()) {
    throw error("ERROR: SIMULATE command is not supported with BYGROUP command.");
  }
  if (!simulates.empty() && !data_file.empty()) {
    throw error("ERROR: Cannot specify both the DATA command and SIMULATE command.");
  }
  if (nimps != not_set) {
    bool anywhere = false;
    for (const char* key : {"stacked", "stacked0", "separate", "avgimp", "varimp", "dataset"}) {
      anywhere = anywhere || isWrite(key);
    }
    if (!anywhere) {
      throw error(
          "ERROR: Missing file path for imputations.\n"
          "       Need to specify the SAVE or OUTFILE command.");
    }
  }
  if (models.empty() && fcs.empty() && simulates.empty()) {
    throw error("ERROR: Missing MODEL or FCS command.");
  }
}

void InputFile::checkRows() const {
  if (!keep_rows || !listwise) return;
  throw error(
      "ERROR: The options 'keeprows' and 'listwise' exclude each other.\n"
      "       The first keeps every row of the data file, the second drops the incomplete ones.");
}

void InputFile::checkLength() {
  if (burn == not_set) throw error("ERROR: Missing BURN command.");
  if (seed == not_set) throw error("ERROR: Missing SEED command.");
  if (chains > most_parts) throw error("ERROR: Number of chains requested is too large.");
  if (nimps != not_set && nimps > most_parts) {
    throw error("ERROR: Number of imputations requested is too large.");
  }
  if (iterations == not_set && nimps != not_set) {
    const std::uint64_t product = std::uint64_t{nimps} * (thin == not_set ? 1 : thin);
    if (product >= not_set) throw error("ERROR: ITERATIONS is not a positive integer.");
    iterations = static_cast<std::uint32_t>(product);
  } else if (iterations == not_set && thin != not_set) {
    throw error(
        "ERROR: Missing ITERATIONS command. Either ITERATIONS command or\n"
        "       both NIMPS and THIN must be specified.");
  } else if (iterations == not_set) {
    throw error(
        "ERROR: Cannot specify ITERATIONS command, THIN command, and NIMPS command.\n"
        "       Please specify only two of these commands.");
  }
  // A chain that saves n imputations needs n iterations at least; shares of both are dealt in the same way.
  if (nimps != not_set && iterations < nimps) {
    warning::buffer.push("WARNING: Setting number of iterations to " + std::to_string(nimps) +
                         ".\n         to match number of imputations requested.");
    iterations = nimps;
  }
  if (chains > iterations) {
    warning::buffer.push("WARNING: Setting number of iterations to " + std::to_string(chains) +
                         ".\n         to match number of chains requested.");
    iterations = chains;
  }
}

void InputFile::checkHeterogeneous() {
  if (!hev) return;
  if (clusterIds.size() > 1) {
    warning::buffer.push(
        "WARNING: Heterogeneous residual variance is only available in two-level models.\n"
        "         Implementing homogenous residual variance.");
    hev = false;
  } else if (clusterIds.empty()) {
    warning::buffer.push(
        "WARNING: Ignoring heterogeneous residual variance in OPTIONS command.\n"
        "         Estimating a single-level model.");
    hev = false;
  } else if (!weights.empty()) {
    warning::buffer.push(
        "WARNING: Ignoring heterogeneous residual variance in OPTIONS command.\n"
        "         It is not available with sampling weights.");
    hev = false;
  } else if (models.empty() && !fcs.empty() && clmean_method == 2) {
    warning::buffer.push(
        "WARNING: Ignoring heterogeneous residual variance in OPTIONS command.\n"
        "         With the FCS command it takes 'OPTIONS: manifest;' or 'OPTIONS: noclmean;'.");
    hev = false;
  }
}

void InputFile::checkProcessors() {
  const std::uint32_t hardware = hardware_threads();
  if (processors == not_set) processors = hardware;
  if (processors > hardware) {
    const std::string number = std::to_string(hardware);
    warning::buffer.push("WARNING: Maximum number of processors allowed is " + number +
                         ".\n         This is based on your hardware specifications.\n" +
                         "         Setting the processors to " + number + ".");
    processors = hardware;
  }
}

void InputFile::checkGroups() const {
  if (byGroup.empty()) return;
  std::vector<std::string> nominal;
  for (const nominal_name& n : nominals) nominal.push_back(n.name);
  const std::pair<const char*, const std::vector<std::string>*> lists[] = {
      {"ORDINAL", &ordinals}, {"NOMINAL", &nominal}, {"COUNT", &counts}};
  for (const auto& [command, names] : lists) {
    if (in(*names, byGroup)) {
      throw error("ERROR: BYGROUP variable is in " + std::string(command) + " command.\n");
    }
  }
}

}  // namespace tovik
