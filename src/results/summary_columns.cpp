#include <algorithm>

#include "results/summary.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

using column = Summary::column;

struct column_word {
  const char* word;
  column which;
};

constexpr column_word words_of_columns[] = {
    {"mean", column::mean},
    {"median", column::median},
    {"madsd", column::mad_sd},
    {"mad_sd", column::mad_sd},
    {"mad", column::mad_sd},
    {"stddev", column::stddev},
    {"sd", column::stddev},
    {"variance", column::variance},
    {"var", column::variance},
    {"q99", column::quant99},
    {"quant99", column::quant99},
    {"q95", column::quant95},
    {"quant95", column::quant95},
    {"q50", column::quant50},
    {"quant50", column::quant50},
    {"quantiles", column::quantiles},
    {"quantile", column::quantiles},
    {"quant", column::quantiles},
    {"psr", column::psr},
    {"rhat", column::psr},
    {"psrf", column::psr},
    {"n_eff", column::n_eff},
    {"ess", column::n_eff},
    {"neff", column::n_eff},
    {"mcmcse", column::mcmc_se},
    {"mcmc_se", column::mcmc_se},
    {"wald", column::chisq},
    {"chisq", column::chisq},
    {"waldstat", column::chisq},
    {"pvalue", column::pvalue},
    {"p-value", column::pvalue},
};

struct default_list {
  const char* word;
  std::vector<column> columns;
};

const std::vector<default_list>& default_lists() {
  static const std::vector<default_list> lists = {
      {"default",
       {column::median, column::stddev, column::quant95, column::chisq, column::pvalue, column::n_eff}},
      {"default_mean", {column::mean, column::stddev, column::quant95, column::psr, column::n_eff}},
      {"default_median", {column::median, column::mad_sd, column::quant95, column::psr, column::n_eff}},
      {"default_testing",
       {column::median, column::stddev, column::quant95, column::pvalue, column::psr, column::n_eff}},
  };
  return lists;
}

}  // namespace

std::vector<std::string> Summary::column_words() {
  std::vector<std::string> out;
  for (const column_word& entry : words_of_columns) out.emplace_back(entry.word);
  for (const default_list& entry : default_lists()) out.emplace_back(entry.word);
  return out;
}

bool Summary::supress_print = true;
bool Summary::splitChain = true;
unsigned long long Summary::interval = 100;
std::vector<Summary::column> Summary::cols;

void Summary::add_column(const std::string& token) {
  if (token.empty() || iequals(token, "OUTPUT:")) return;
  for (const default_list& list : default_lists()) {
    if (iequals(token, list.word)) {
      cols = list.columns;
      return;
    }
  }
  for (const column_word& entry : words_of_columns) {
    if (iequals(token, entry.word)) {
      cols.push_back(entry.which);
      return;
    }
  }
  throw error("ERROR: Unrecognized OUTPUT option: '" + token + "'");
}

std::vector<std::string> Summary::column_strs(const column& which) {
  switch (which) {
    case column::mean:
      return {"Mean"};
    case column::median:
      return {"Median"};
    case column::stddev:
      return {"StdDev"};
    case column::variance:
      return {"VAR"};
    case column::mad_sd:
      return {"MAD SD"};
    case column::quantiles:
      return {"2.5%", "25%", "50%", "75%", "97.5%"};
    case column::quant99:
      return {"0.5%", "99.5%"};
    case column::quant95:
      return {"2.5%", "97.5%"};
    case column::quant50:
      return {"25%", "75%"};
    case column::psr:
      return {"PSR"};
    case column::n_eff:
      return {"N_Eff"};
    case column::mcmc_se:
      return {"MCMC_SE"};
    case column::chisq:
      return {"ChiSq"};
    case column::pvalue:
      return {"PValue"};
  }
  throw error_debug("No name for column.");
}

bool Summary::supress(const std::string& label) {
  return supress_print && (label == "ChiSq" || label == "PValue");
}

std::vector<std::string> Summary::colNames() const {
  if (!labels_.empty()) return labels_;
  if (cols.empty()) add_column("default");
  std::vector<std::string> out;
  for (const column& which : cols) {
    for (const std::string& label : column_strs(which)) out.push_back(label);
  }
  return out;
}

}  // namespace tovik
