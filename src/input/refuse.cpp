#include "input/input_file.hpp"
#include "support/not_available.hpp"

namespace tovik {

void InputFile::refuse_unavailable() const {
  const std::pair<bool, const char*> requests[] = {
      {!weights.empty(), "The WEIGHTS command"},
  };
  for (const auto& [asked, what] : requests) {
    if (asked) not_available::refuse(what);
  }
}

}  // namespace tovik
