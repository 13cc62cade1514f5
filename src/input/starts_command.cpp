// The STARTS command: chains that continue where those of another run have ended.

#include "input/input_file.hpp"
#include "support/error.hpp"
#include "support/file_access.hpp"
#include "support/text.hpp"

namespace tovik {

void InputFile::parseStarts(const std::vector<std::string>& words) {
  const std::string path = unquoted(join(words, " "));
  if (!starts_file.empty() && starts_file != path) {
    throw error("ERROR: STARTS command has already been specified.\n       It cannot read both '" +
                starts_file + "' and '" + path + "'.");
  }
  starts_file = path;
}

void InputFile::checkStarts() const {
  constexpr std::int32_t latent_means = 2;
  if (starts_file.empty()) return;
  if (clmean_method != latent_means) {
    throw error(
        "ERROR: The STARTS command is not available with observed cluster means, or without any\n"
        "       ('manifest' and 'noclmean' in the OPTIONS command).");
  }
  if (!byGroup.empty()) {
    if (starts_file.find('*') != std::string::npos) return;  // the labels of the groups are not known yet
    throw error(
        "ERROR: Please place an asterisk (*) in filepath of the STARTS command with BYGROUP command.");
  }
  const int failure = read_failure(starts_file);
  if (failure == 0) return;
  throw error("ERROR: File \"" + starts_file + "\" cannot be " + (is_absent(failure) ? "found" : "opened") +
              "." + path_advice(failure, "Please check that the file path is correct in STARTS command."));
}

}  // namespace tovik
