#include "input/input_file.hpp"
#include "support/not_available.hpp"

namespace tovik {

void InputFile::refuse_unavailable() const {
  const std::pair<bool, const char*> requests[] = {
      {!byGroup.empty(), "The BYGROUP command"},
      {!fcs.empty(), "The FCS command"},
      {!weights.empty(), "The WEIGHTS command"},
      {!latents.empty(), "The LATENT command"},
      {!phantoms.empty(), "The PHANTOM command"},
      {!randomEffects.empty(), "The RANDOMEFFECT command"},
      {!parameters.empty(), "The PARAMETERS command"},
      {!waldtests.empty(), "The WALDTEST command"},
      {!simples.empty(), "The SIMPLE command"},
      {hev, "The option 'heterogeneous'"},
      {covariatemodel, "The option 'covariatemodel'"},
  };
  for (const auto& [asked, what] : requests) {
    if (asked) not_available::refuse(what);
  }
  for (const auto& [key, path] : savePaths) {
    if (key == "dataset") continue;  // written with the simulated data, and meant for nothing else
    if (!path.empty()) not_available::refuse("The keyword '" + key + "' of the SAVE command");
  }
}

}  // namespace tovik
