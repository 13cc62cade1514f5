#include <algorithm>
#include <cmath>
#include <functional>
#include <unordered_map>

#include "data/numbers.hpp"
#include "data/patterns.hpp"
#include "data/variable_list.hpp"
#include "input/commands.hpp"
#include "input/input_file.hpp"
#include "input/language_words.hpp"
#include "model/defaults.hpp"
#include "model/model.hpp"
#include "random/random.hpp"
#include "results/summary.hpp"
#include "sem/wiring/settings.hpp"
#include "support/error.hpp"
#include "support/output.hpp"
#include "support/text.hpp"
#include "support/warning.hpp"

namespace tovik {

namespace {

using settings = sem::sampler_settings;

/// The series of the Polya-Gamma draws has this many terms at most (its remainder is far below rounding).
constexpr std::uint32_t most_gammas = 1000000;

/// A value that the keyword cannot take; parseDebug says which keyword.
class bad_value : public error {
 public:
  bad_value() : error("DEBUG command not properly specified.") {}
};

[[noreturn]] void misspecified() {
  throw bad_value();
}

/// The value of a keyword by the reader of numbers `read`.
template <class Read>
auto read_value(const std::string& text, const Read& read) {
  try {
    return read(text);
  } catch (const error&) {
    misspecified();
  }
}

/// One DEBUG keyword: sets what it sets from its words (the keyword first) and returns its lines of the
/// notice.
struct action {
  std::function<std::string(InputFile&, const std::vector<std::string>&)> set;
  std::size_t n_words;  ///< the keyword and its value, if it has one
};
using table = std::unordered_map<std::string, action>;

std::string line(const char* text) {
  return "\n         - " + std::string(text);
}
std::string value_line(const std::string& keyword, const std::string& value) {
  return "\n           " + keyword + " = " + value;
}

const std::string& value_of(const std::vector<std::string>& words) {
  if (words.size() < 2) misspecified();
  return words[1];
}

action plain(const char* text, std::function<void(InputFile&)> set) {
  return {[=](InputFile& in, const std::vector<std::string>&) {
            set(in);
            return line(text);
          },
          1};
}

action real(const char* keyword, const char* text, std::function<void(InputFile&, double)> set) {
  return {[=](InputFile& in, const std::vector<std::string>& words) {
            const double value =
                read_value(value_of(words), [](const std::string& text) { return toDouble(text); });
            if (!std::isfinite(value)) misspecified();
            set(in, value);
            return line(text) + value_line(keyword, format("%f", value));
          },
          2};
}

/// A count between `least` and `most`.
action count(const char* keyword, const char* text, std::uint32_t least, std::uint32_t most,
             std::function<void(InputFile&, std::uint32_t)> set) {
  return {[=](InputFile& in, const std::vector<std::string>& words) {
            const std::uint32_t value =
                read_value(value_of(words), [](const std::string& text) { return toUint(text); });
            if (value < least || value > most) misspecified();
            set(in, value);
            return line(text) + value_line(keyword, std::to_string(value));
          },
          2};
}

action logical(const char* keyword, const char* text, bool& setting) {
  return {[=, &setting](InputFile&, const std::vector<std::string>& words) {
            const std::string& word = value_of(words);
            if (!iequals(word, "true") && !iequals(word, "false")) misspecified();
            setting = iequals(word, "true");
            return line(text) + value_line(keyword, setting ? "1" : "0");
          },
          2};
}

constexpr std::uint32_t any = 4294967295u;

void add_data_keywords(table& t) {
  t["icccutoff"] = real("ICCcutoff", "Setting cutoff value of ICC to ignore level structure for a variable.",
                        [](InputFile& in, double x) { in.ICCcutoff = x; });
  t["startsdispersion"] = real("startsdispersion", "Setting random starts dispersion factor.",
                               [](InputFile& in, double x) { in.startsdispersion = x; });
  t["undefinedcovariance"] = t["undefcov"] =
      plain("Allowing undefined covariances due to the missing data patterns.",
            [](InputFile& in) { in.undefinedcovariance = false; });
  t["no_drop"] = plain("Allowing observations with all variables missing.",
                       [](InputFile& in) { in.drop_all_missing = false; });
  t["varnam_truncate"] =
      count("varnam_truncate",
            "Setting variable name truncation point. This may cause printing issues with tables.", 1, any,
            [](InputFile&, std::uint32_t n) { VariableList::truncate = n; });
  t["max_pat"] = count("max_pat", "Setting max number of missing data patterns to print on a row.", 1, any,
                       [](InputFile&, std::uint32_t n) { patterns::max_row_print = n; });
}

void add_sampler_keywords(table& t) {
  t["ess_sampler"] = plain("Setting Phantom, Factor, and Normal variables to ESS sampler.",
                           [](InputFile&) { settings::ess_sampler = true; });
  t["metropolis_sampler"] =
      plain("Setting Phantom, Factor, and Normal variables to metroplis-hasting sampler.",
            [](InputFile&) { settings::ess_sampler = false; });
  t["tunecheck"] = count("tunecheck", "Setting tuning check interval.", 1, any,
                         [](InputFile& in, std::uint32_t n) { in.tunecheck = n; });
  t["ess_max_niter"] = count("ess_max_niter", "Setting max iterations for ESS sampler.", 0, any,
                             [](InputFile&, std::uint32_t n) { settings::ess_max_niter = n; });
  t["trunc_norm_max_niter"] =
      count("trunc_norm_max_niter", "Setting max iterations for truncated normal distribution draws.", 0, any,
            [](InputFile&, std::uint32_t n) { Random::trunc_norm_max_niter = n; });
  t["pg_max_niter"] =
      count("pg_max_niter", "Setting max iterations for p\xC3\xB3lya-gamma distribution draws.", 0, any,
            [](InputFile&, std::uint32_t n) { Random::pg_max_niter = n; });
  t["pg_n_gamma"] =
      count("pg_n_gamma",
            "Setting number of gamam distributions to apprximate the p\xC3\xB3lya-gamma distribution.", 1,
            most_gammas, [](InputFile&, std::uint32_t n) { Random::set_pg_n_gamma(n); });
  t["categorical_prior"] =
      real("categorical_prior", "Setting prior variance for regression coefficients in categorical models.",
           [](InputFile&, double x) {
             if (x <= 0.0) misspecified();  // a variance
             sem::categorical_priors::set(x);
           });
  t["use_autosolver"] = logical("use_autosolver", "Setting the use of analytical conditional solutions.",
                                settings::use_autosolver);
  t["multi_mh_max_iter"] =
      count("multi_mh_max_iter",
            "Setting Max iterations before reject in the Multivariate"
            "\n           Models Metropolis Hastings draws.",
            0, any, [](InputFile&, std::uint32_t n) { settings::multi_mh_max_iter = n; });
  t["logvar_truncate"] = real("logvar_truncate", "Setting log variance model's lower bound truncation point.",
                              [](InputFile&, double x) { settings::logvar_trunc_point = x; });
  t["allow_tune_fail"] = plain(
      "Enabling continuing when tuning fails."
      "\n           MCMC sampling will continue if algorithmic tuning"
      "\n           has not been achieved by the end of the burn-in period.",
      [](InputFile&) { chain_info::crash_on_tune_fail = false; });
}

void add_model_keywords(table& t) {
  t["no_reduce"] =
      plain("Disabling model combining.", [](InputFile&) { sem::defaults::reduce_models = false; });
  t["reduce_models"] =
      plain("Enabling model combining.", [](InputFile&) { sem::defaults::reduce_models = true; });
  t["no_sort"] = plain("Disabling model sorting.", [](InputFile&) { sem::defaults::sort_models = false; });
  t["sort_models"] = plain("Enabling model sorting.", [](InputFile&) { sem::defaults::sort_models = true; });
  const auto optimize = [](bool on) {
    return [on](InputFile&) { sem::defaults::optimize_models = settings::optimize_draws = on; };
  };
  t["no_optimize"] = plain("Disabling model optimizing.", optimize(false));
  t["optimize_models"] = plain("Enabling model optimizing.", optimize(true));
  t["allow_multivariate"] = plain("Enabling multivariate regression framework.",
                                  [](InputFile&) { Model::allow_multivariate = true; });
}

void add_report_keywords(table& t) {
  t["psr_interval"] = count("psr_interval", "Setting psr print interval.", 1, any,
                            [](InputFile&, std::uint32_t n) { Summary::interval = n; });
  t["print_debug"] = t["debug_print"] = plain("Enabling printing of debug information.", [](InputFile&) {
    settings::print_debug_constraint = settings::print_debug_tune = Output::print_debug = true;
  });
  t["print_iterations"] = plain("Enabling printing of iterations to output file.",
                                [](InputFile&) { Output::print_iterations = true; });
  t["split_chain"] = logical("split_chain", "Setting PSR computation style.", Summary::splitChain);
  t["print_fixed_values"] = plain("Enabling printing of fixed parameters in the output.", [](InputFile&) {
    Summary::supress_print = false;
    settings::print_fixed_values = true;
  });
  t["print_all_rcorr"] = plain("Enabling printing of all residual correlations.",
                               [](InputFile&) { settings::print_all_rcorrs = true; });
  t["sort_rcorrs"] =
      plain("Enable sorting of residual correlations.", [](InputFile&) { settings::sort_rcorrs = true; });
}

table make_table() {
  table t;
  add_data_keywords(t);
  add_sampler_keywords(t);
  add_model_keywords(t);
  add_report_keywords(t);
  return t;
}

void warn_surplus(const std::vector<std::string>& words, std::size_t used) {
  if (words.size() <= used) return;
  const auto first = words.begin() + static_cast<std::ptrdiff_t>(used);
  warning::buffer.push("WARNING: Ignoring '" + join({first, words.end()}, " ") + "' behind '" +
                       words.front() + "' in the DEBUG command.");
}

}  // namespace

void InputFile::parseDebug(const std::string& raw) {
  static const table keywords = make_table();
  std::string notice = "WARNING: Using DEBUG command gives access to advanced internal options.\n";
  for (const std::string& piece : split(raw, ",", true)) {
    std::vector<std::string> all = words(replace_all(piece, "=", " "));
    if (!all.empty() && iequals(all.front(), "DEBUG:")) all.erase(all.begin());
    if (all.empty()) continue;
    const auto at = keywords.find(to_lower(all.front()));
    if (at == keywords.end()) {
      warning::buffer.push(notice);
      throw error("ERROR: DEBUG subcommand '" + all.front() + "' not recognized.");
    }
    try {
      notice += at->second.set(*this, all);
    } catch (const bad_value& fault) {
      throw error("ERROR: " + std::string(fault.what()) + "\n       Problem keyword: '" + all.front() + "'");
    }
    warn_surplus(all, at->second.n_words);
  }
  warning::buffer.push(notice + "\n");
}

std::vector<std::string> debug_words() {
  std::vector<std::string> out;
  for (const auto& [word, action] : make_table()) out.push_back(word);
  std::sort(out.begin(), out.end());
  return out;
}

}  // namespace tovik
