#pragma once

#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

#include "scratch_folder.hpp"

namespace tovik::tests {

/// A folder tests/language/<area>/<case> with a command file and what the program makes of it.
struct language_case {
  std::filesystem::path folder;
  std::string area;
  std::string name;

  /// What expected.txt holds; throws std::runtime_error when there is no such file.
  std::string expected() const;
  /// Writes expected.txt.
  void accept(const std::string& text) const;
  /// Carries out the command file up to the moment before sampling, in a copy of the folder, and returns the
  /// text that is compared. Throws std::runtime_error for an unknown word in the file 'show'.
  std::string run() const;
};

/// How a failed test names its case.
inline void PrintTo(const language_case& one, std::ostream* out) {
  *out << one.area << "/" << one.name;
}

/// Every folder two levels below `root` but the shared data; sorted by area and name.
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
