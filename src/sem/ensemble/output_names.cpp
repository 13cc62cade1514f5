#include "sem/ensemble/output_names.hpp"

#include "model/model.hpp"

namespace tovik::sem {

std::vector<std::string> latent_names(Model const& model) {
  std::vector<std::string> out;
  for (int level = model.levels - 1; level >= 0; --level) {
    std::string id;
    for (auto const& cluster : model.clusters) {
      if (model.levels > 1 && cluster->level == static_cast<unsigned>(level)) id = "$" + cluster->name;
    }
    for (std::string const& effect : model.reName(level)) out.push_back(model.name() + "$" + effect + id);
  }
  return out;
}

std::vector<std::string> residual_names(Model const& model) {
  return {model.name() + ".residual"};
}

std::vector<std::string> predicted_names(Model const& model) {
  return {model.name() + ".predicted"};
}

}  // namespace tovik::sem
