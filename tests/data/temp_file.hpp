#pragma once

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace tovik::tests {

/// A file that lives as long as the object.
class TempFile {
 public:
  explicit TempFile(std::string_view text, const std::string& extension = ".csv") {
    static int count = 0;
    path_ = (std::filesystem::temp_directory_path() /
             ("data_test_" + std::to_string(getpid()) + "_" + std::to_string(count++) + extension))
                .string();
    std::ofstream(path_, std::ios::binary) << text;
  }
  TempFile(const TempFile&) = delete;
  TempFile& operator=(const TempFile&) = delete;
  ~TempFile() {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
  }

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace tovik::tests
