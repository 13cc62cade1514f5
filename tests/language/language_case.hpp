#pragma once

#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

#include "case_file.hpp"
#include "scratch_folder.hpp"

namespace tovik::tests {

/// A case of a file tests/language/<area>/<topic>.cases: a command file and what the program makes of it.
struct language_case {
  std::filesystem::path file;
  std::string area;
  case_text text;

  /// The expected text as the file holds it now.
  std::string expected() const;
  /// Writes `outcome` to the file as the expected text.
  void accept(const std::string& outcome) const;
  /// Carries out the command file up to the moment before sampling, in a folder of its own with the files of
  /// the case, and returns the text that is compared. Throws std::runtime_error for a word that names no
  /// view.
  std::string run() const;
};

/// How a failed test names its case.
inline void PrintTo(const language_case& one, std::ostream* out) {
  *out << one.area << "/" << one.text.name;
}

/// The cases of every file one level below `root` but the shared data, sorted by area and name. Throws
/// std::runtime_error for a file that holds no cases and for two cases of one area and name.
std::vector<language_case> find_cases(const std::filesystem::path& root);

/// The text that `commands` leads to, with the sections of `show`: the error, or the views asked for, then
/// the warnings. The process stands in `folder` while it runs and the commands are written there.
std::string front_half(const std::string& commands, const std::vector<std::string>& show,
                       const std::filesystem::path& folder);

/// A folder <scratch>/<area>/<name> of its own beside a link to the shared data, so that "../../data/x.csv"
/// works in it; removed with the object.
class scratch_case {
 public:
  explicit scratch_case(const std::filesystem::path& shared_data);
  ~scratch_case();
  scratch_case(const scratch_case&) = delete;
  scratch_case& operator=(const scratch_case&) = delete;
  const std::filesystem::path& folder() const { return folder_; }

 private:
  scratch_folder root_;
  std::filesystem::path folder_;
  std::filesystem::path home_;
};

}  // namespace tovik::tests
