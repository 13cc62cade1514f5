#include "app/by_group.hpp"

#include "app/group_labels.hpp"
#include "app/run.hpp"
#include "input/name_index.hpp"
#include "random/random.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

/// A copy of the commands that draws from streams of its own and saves under the label of the group. What all
/// groups share in one file keeps its path.
InputFile copy_for_group(const InputFile& input, const std::string& label) {
  InputFile out = input;
  out.group_label = label;
  if (input.rng) out.rng = std::make_shared<Random>(*input.rng);
  for (auto& [key, path] : out.savePaths) {
    if (!path.empty() && !InputFile::joins_groups(key)) path = input.writePath(key, label);
  }
  out.starts_file = replace_all(out.starts_file, "*", label);
  // The joint files have the columns of the data: those behind them could differ between groups.
  if (input.isWrite("stacked") || input.isWrite("stacked0") || input.isWrite("separate"))
    out.savelatent = out.savepred = out.saveresid = false;
  return out;
}

}  // namespace

bool by_group::run() {
  return run_analysis(input, prepare(input, data));
}

bool InputFile::joins_groups(const std::string& key) {
  return key == "stacked" || key == "stacked0" || key == "separate";
}

std::vector<by_group> InputFile::groups() {
  if (byGroup.empty()) throw error_debug("By group not set but being called in input!");
  const arma::Mat<double> all = data();
  const std::string named = "ERROR: BYGROUP variable: \"" + byGroup + "\"";
  const std::size_t column = name_index(variableNames).find(byGroup);
  if (column == name_index::none) throw error(named + " not in the data.");
  const arma::Col<double> values = all.col(column);
  if (values.has_nan())
    throw error(named + " has missing data.\n       BYGROUP variable must be completely observed.");
  const arma::Col<double> distinct = arma::unique(values);
  const std::vector<std::string> labels = group_labels({distinct.begin(), distinct.end()});
  std::vector<by_group> out;
  out.reserve(labels.size());
  for (arma::uword k = 0; k < distinct.n_elem; ++k) {
    out.push_back(
        {all.rows(arma::find(values == distinct[k])), labels[k], copy_for_group(*this, labels[k]), {}});
  }
  checkGroupFiles(out);
  return out;
}

void InputFile::checkGroupFiles(const std::vector<by_group>& groups) const {
  std::vector<output> files;
  for (const output& file : outputs()) {
    if (joins_groups(file.key)) files.push_back(file);
  }
  for (const by_group& group : groups) {
    for (const auto& [key, path] : group.input.savePaths) {
      if (path.empty() || joins_groups(key)) continue;
      checkTarget(key, path);
      files.push_back({key, path});
    }
  }
  checkOutputs(files);
}

}  // namespace tovik
