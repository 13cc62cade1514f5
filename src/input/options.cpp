#include <algorithm>
#include <functional>
#include <unordered_map>

#include "data/patterns.hpp"
#include "input/chain_info.hpp"
#include "input/input_file.hpp"
#include "input/language_words.hpp"
#include "model/defaults.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

using option_action = std::function<void(InputFile&)>;
using option_table = std::unordered_map<std::string, option_action>;

option_action flag(bool InputFile::*field, bool value) {
  return [=](InputFile& in) { in.*field = value; };
}
option_action code(std::int32_t InputFile::*field, std::int32_t value) {
  return [=](InputFile& in) { in.*field = value; };
}
option_action global(bool& setting, bool value) {
  return [&setting, value](InputFile&) { setting = value; };
}
option_action prior(std::int32_t InputFile::*field, bool InputFile::*set, std::int32_t value) {
  return [=](InputFile& in) {
    in.*field = value;
    in.*set = true;
  };
}
/// A prior for all variances gives way to what was said about one kind of them.
option_action common_prior(std::int32_t value) {
  return [=](InputFile& in) {
    if (!in.prior_resvar_set) in.prior_resvar = value;
    if (!in.prior_raneff_set) in.prior_raneff = value;
  };
}

void add_priors(option_table& t) {
  for (std::int32_t k = 1; k <= 3; ++k) {
    const std::string name = "prior" + std::to_string(k);
    t[name] = common_prior(k);
    t[name + "resvar"] = prior(&InputFile::prior_resvar, &InputFile::prior_resvar_set, k);
    t[name + "raneff"] = prior(&InputFile::prior_raneff, &InputFile::prior_raneff_set, k);
    t["x" + name] = code(&InputFile::xprior, k);
  }
}

option_table make_option_table() {
  option_table t = {
      {"hov", flag(&InputFile::hev, false)},
      {"homogeneous", flag(&InputFile::hev, false)},
      {"hev", flag(&InputFile::hev, true)},
      {"heterogeneous", flag(&InputFile::hev, true)},
      {"nomean", code(&InputFile::clmean_method, 0)},
      {"noclmean", code(&InputFile::clmean_method, 0)},
      {"manifest", code(&InputFile::clmean_method, 1)},
      {"latent", code(&InputFile::clmean_method, 2)},
      {"scaled_priors", flag(&InputFile::scaled_priors, true)},
      {"psr", flag(&InputFile::psr, true)},
      {"nopsr", flag(&InputFile::psr, false)},
      {"tuneinfo",
       [](InputFile& in) {
         in.tuneinfo = true;
         in.tune_all = false;
       }},
      {"notuneinfo", flag(&InputFile::tuneinfo, false)},
      {"gibbs", flag(&InputFile::mice, false)},
      {"mice", flag(&InputFile::mice, true)},
      {"norandomstarts", flag(&InputFile::randomstarts, false)},
      {"randomstarts", flag(&InputFile::randomstarts, true)},
      {"covariatemodel", flag(&InputFile::covariatemodel, true)},
      {"covmdl", flag(&InputFile::covariatemodel, true)},
      {"scientific", flag(&InputFile::scientific, true)},
      {"scien", flag(&InputFile::scientific, true)},
      {"noscientific", flag(&InputFile::scientific, false)},
      {"noscien", flag(&InputFile::scientific, false)},
      {"savelatent", flag(&InputFile::savelatent, true)},
      {"saveresid", flag(&InputFile::saveresid, true)},
      {"saveresidual", flag(&InputFile::saveresid, true)},
      {"saveresiduals", flag(&InputFile::saveresid, true)},
      {"savepred", flag(&InputFile::savepred, true)},
      {"savepredicted", flag(&InputFile::savepred, true)},
      {"labels", flag(&InputFile::labels, true)},
      {"label", flag(&InputFile::labels, true)},
      {"savevariablenames", flag(&InputFile::saveVarNames, true)},
      {"savevarnames", flag(&InputFile::saveVarNames, true)},
      {"listwise", flag(&InputFile::listwise, true)},
      {"keeprows", flag(&InputFile::keep_rows, true)},
      {"brief", flag(&InputFile::brief, true)},
      {"freeloadings", global(sem::defaults::freeloadings, true)},
      {"freeloading", global(sem::defaults::freeloadings, true)},
      {"disable_dic", global(chain_info::compute_DIC, false)},
      {"use_phantom", global(sem::defaults::optimize_models, false)},
      {"resid_corrs", global(chain_info::compute_corrs, true)},
      {"disable_corrs", global(chain_info::compute_corrs, false)},
      {"allpatterns", global(patterns::print_all, true)},
      {"allpat", global(patterns::print_all, true)},
  };
  add_priors(t);
  return t;
}

}  // namespace

void InputFile::parseOptions(const std::vector<std::string>& words) {
  static const option_table options = make_option_table();
  for (const std::string& word : words) {
    const auto at = options.find(to_lower(word));
    if (at == options.end()) {
      throw error("ERROR: Do not recognize keyword \"" + word + "\" in OPTIONS command.");
    }
    at->second(*this);
  }
}

std::vector<std::string> option_words() {
  std::vector<std::string> out;
  for (const auto& [word, action] : make_option_table()) out.push_back(word);
  std::sort(out.begin(), out.end());
  return out;
}

}  // namespace tovik
