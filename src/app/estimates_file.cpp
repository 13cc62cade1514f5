#include "app/estimates_file.hpp"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <string>

#include "app/row_names.hpp"
#include "app/version.hpp"
#include "input/input_file.hpp"
#include "results/report_info.hpp"
#include "results/tidy_table.hpp"
#include "support/file_writer.hpp"
#include "support/text.hpp"
#include "support/warning.hpp"

namespace tovik {

namespace {

using json = nlohmann::ordered_json;

/// Infinity and NaN are no numbers of JSON.
json number(double value) {
  return std::isfinite(value) ? json(value) : json(nullptr);
}

json text_or_null(const std::string& text) {
  return text.empty() ? json(nullptr) : json(text);
}

/// Percent of each variable.
json missing_rates(const sem::missing_summary& missing) {
  json out = json::object();
  for (std::size_t k = 0; k < missing.names.size(); ++k) out[missing.names[k]] = number(missing.percents[k]);
  return out;
}

json rows_of(const tidy_table& table) {
  json out = json::array();
  for (std::size_t r = 0; r < table.names.size(); ++r) {
    json row = json::object();
    const std::vector<std::string> words = tidy_words(table.names[r]);
    for (std::size_t k = 0; k < words.size(); ++k) row[tidy_headings()[k]] = text_or_null(words[k]);
    row["level"] = table.names[r].level > 0 ? json(table.names[r].level) : json(nullptr);
    for (std::size_t c = 0; c < table.columns.size(); ++c) row[table.columns[c]] = number(table.values(r, c));
    out.push_back(std::move(row));
  }
  return out;
}

json warnings_so_far() {
  json out = json::array();
  for (const warning::message& one : warning::buffer.messages()) out.push_back(one.text);
  return out;
}

template <class T>
json settings_of(const InputFile& input, const chain_group<T>& group, const analysis& run) {
  const progress_count done = group.done();
  json out = json::object();
  out["program"] = "tovik";
  out["version"] = version_number;
  out["command_file"] = input.command_file();
  out["data_file"] = text_or_null(input.data_file);
  if (!input.byGroup.empty()) out["group"] = {{"variable", input.byGroup}, {"value", input.group_label}};
  out["seed"] = input.seed;
  out["chains"] = input.chains;
  out["burn"] = input.burn;
  out["iterations"] = done.iterations;
  out["interrupted"] = group.interrupted();
  out["n"] = run.data.n_rows;
  out["missing"] = missing_rates(report_missing(group.front().estimator()));
  out["warnings"] = warnings_so_far();
  return out;
}

/// Names in another encoding than UTF-8 lose the letters that cannot be told.
void save_json(const std::string& path, const json& object) {
  file_writer file(path);
  file.write(object.dump(1, ' ', false, json::error_handler_t::replace) + "\n");
  file_set::store(std::move(file));
}

}  // namespace

template <class T>
void write_estimates_table(const InputFile& input, const chain_group<T>& group, const analysis& run,
                           const Summary& draws) {
  if (!input.isWrite("table")) return;
  const std::string& path = input.writePath("table");
  const tidy_table table = make_tidy_table(draws, row_names(group.front().estimator(), run.models));
  if (!iequals(path.substr(path.size() - std::min<std::size_t>(path.size(), 5)), ".json"))
    return save_tidy_table(path, table);
  json object = settings_of(input, group, run);
  object["table"] = rows_of(table);
  save_json(path, object);
}

template void write_estimates_table(const InputFile&, const chain_group<sem::Mcmc>&, const analysis&,
                                    const Summary&);
template void write_estimates_table(const InputFile&, const chain_group<manifest::wrapper>&, const analysis&,
                                    const Summary&);

}  // namespace tovik
