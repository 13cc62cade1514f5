#pragma once

#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

namespace tovik::tests {

/// An empty folder that lives as long as the object.
class scratch_folder {
 public:
  scratch_folder() {
    // mkdtemp replaces the last six letters.
    std::string name = (std::filesystem::temp_directory_path() / ("tovik-" + std::string(6, 'X'))).string();
    if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("cannot make a scratch folder");
    path_ = name;
  }
  scratch_folder(const scratch_folder&) = delete;
  scratch_folder& operator=(const scratch_folder&) = delete;
  ~scratch_folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace tovik::tests
