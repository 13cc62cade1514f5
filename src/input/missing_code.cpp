#include "data/numbers.hpp"
#include "input/input_file.hpp"
#include "support/error.hpp"

namespace tovik {

void InputFile::parseMissing(const std::vector<std::string>& words) {
  if (words.size() > 1) throw error("ERROR: Non-numeric missing data codes cannot contain spaces.");
  if (!missingCode.empty()) return;
  const std::string& code = words.front();
  if (!parse_real(code.data(), code.data() + code.size(), missingValue)) missingCode = code;
}

void InputFile::parseByGroup(const std::vector<std::string>& words) {
  if (words.size() > 1 || !byGroup.empty()) {
    throw error("ERROR: Currently only one group variable is allowed.");
  }
  byGroup = words.front();
}

}  // namespace tovik
