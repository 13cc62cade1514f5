#include "model/model_list.hpp"

#include <algorithm>

#include "input/input_file.hpp"
#include "model/parse.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {
namespace {

/// The variables that a run without equations imputes.
bool is_imputed(const data::variable& v) {
  return v.type == data::type::continuous || v.type == data::type::ordinal || v.type == data::type::nominal;
}

/// Without equations the imputation models are all there is.
void check_no_models(const InputFile& input, const VariableList& vars) {
  if (input.fcs.empty() && !input.covariatemodel) {
    std::string text =
        "ERROR: No Models were parsed and no FCS command.\n"
        "       Recheck your MODEL command:";
    for (std::size_t i = 0; i < input.models.size(); ++i) {
      text += "\n       [" + std::to_string(i + 1) + "] = \"" + input.models[i].statement + "\"";
    }
    throw error(text);
  }
  const auto wanted = [&](const data::variable& v) {
    return is_imputed(v) && (input.covariatemodel || in(input.fcs, v.fullName));
  };
  std::size_t n = 0;
  std::size_t n_fixed = 0;
  for (const auto& v : vars.variables) {
    if (!wanted(*v)) continue;
    ++n;
    n_fixed += v->fixed() || in(input.fixed, v->fullName) ? 1 : 0;
  }
  if (n == n_fixed) throw error("ERROR: All variables in FCS command are fixed.");
}

}  // namespace

ModelList InputFile::modelList(VariableList& vars) {
  ModelList list = sem::_parse(models, vars, blocks);
  if (list.empty()) check_no_models(*this, vars);
  sem::complete(list, models, vars, {parameters, hev, !weights.empty()});
  return list;
}

}  // namespace tovik
