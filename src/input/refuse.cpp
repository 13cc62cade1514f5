#include "input/input_file.hpp"
#include "support/not_available.hpp"

namespace tovik {

void InputFile::refuse_unavailable() const {
  const std::pair<bool, const char*> requests[] = {
      {clmean_method == 0, "The option 'noclmean'"}, {clmean_method == 1, "The option 'manifest'"},
      {!weights.empty(), "The WEIGHTS command"},
      {hev, "The option 'heterogeneous'"},
  };
  for (const auto& [asked, what] : requests) {
    if (asked) not_available::refuse(what);
  }
}

}  // namespace tovik
