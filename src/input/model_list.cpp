#include "model/model_list.hpp"

#include "input/input_file.hpp"
#include "model/parse.hpp"
#include "support/error.hpp"

namespace tovik {

ModelList InputFile::modelList(VariableList& vars) {
  ModelList list = sem::parse(models, vars, blocks);
  if (!list.empty() || !fcs.empty()) return list;
  std::string text =
      "ERROR: No Models were parsed and no FCS command.\n"
      "       Recheck your MODEL command:";
  for (std::size_t i = 0; i < models.size(); ++i) {
    text += "\n       [" + std::to_string(i + 1) + "] = \"" + models[i].statement + "\"";
  }
  throw error(text);
}

}  // namespace tovik
