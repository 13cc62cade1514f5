// Latent factors and phantoms: variables of which every value is drawn.

#include "input/catalogue_adder.hpp"
#include "support/error.hpp"

namespace tovik {

namespace {

/// The level of a latent variable: that of the identifier it was listed under, else the lowest.
unsigned latent_level(const std::string& key, const VariableList& vars, const char* command) {
  if (key.empty()) return static_cast<unsigned>(vars.clusters.size());
  const auto id = vars.find(key);
  if (!id || id->type != data::type::id) {
    throw error("ERROR: Unable to find clustering variable '" + key + "'\n       requested in " + command +
                " command. Make sure the variable\n       is listed on the CLUSTERID command.");
  }
  return id->level;
}

}  // namespace

void catalogue_adder::latents() {
  for (const auto& [key, names] : input_.latents) {
    const unsigned level = latent_level(key, vars_, "FACTOR");
    for (const std::string& name : names) add_latent(name, data::type::latent, level);
  }
  for (const auto& [key, names] : input_.phantoms) {
    const unsigned level = latent_level(key, vars_, "PHANTOM");
    for (const std::string& name : names) add_latent(name, data::type::phantom, level);
  }
}

void catalogue_adder::add_latent(const std::string& name, data::type kind, unsigned level) {
  vars_.index();
  // Names of the data and of other latent variables are checked with the data; dummy codes come later.
  if (vars_.find(name)) throw error("ERROR: Variable name '" + name + "' is used more than once.");
  vars_.variables.push_back(std::make_shared<data::variable>(name, kind, next_++, level));
}

}  // namespace tovik
