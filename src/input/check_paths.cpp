#include <cstdio>
#include <filesystem>
#include <fstream>

#include "input/input_file.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

[[noreturn]] void cannot_create(const std::string& path) {
  throw error("ERROR: File \"" + path +
              "\" cannot be created.\n"
              "       Please check that the file path is correct in SAVE command.");
}

/// Opens the file for writing and removes it again, so that a path that cannot be written is known before the
/// chains start. Devices and pipes stay.
void try_path(const std::string& path) {
  if (!std::ofstream(path)) cannot_create(path);
  std::error_code none;
  if (std::filesystem::is_regular_file(path, none)) std::filesystem::remove(path, none);
}

std::string numbered(const std::string& path, const std::string& number) {
  return replace_all(path, "*", number);
}

std::string base_name(const std::string& path) {
  const std::size_t slash = path.find_last_of("/\\");
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

bool has_asterisk(const std::string& path) {
  return path.find('*') != std::string::npos;
}

}  // namespace

void InputFile::checkPaths() const {
  if (!data_file.empty()) {
    for (const auto& [key, path] : savePaths) {
      if (!path.empty() && iequals(path, data_file)) {
        throw error("ERROR: The SAVE command (" + key + ") matches the DATA command.");
      }
    }
    if (!std::ifstream(data_file)) throw error("ERROR: File \"" + data_file + "\" cannot be found.");
  }
  for (const auto& [key, path] : savePaths) {
    if (path.empty()) continue;
    if (key == "separate" && !has_asterisk(path)) {
      throw error("ERROR: Please place an asterisk (*) when saving separate files.");
    }
    if (!byGroup.empty() && key != "stacked" && key != "stacked0" && !has_asterisk(path)) {
      throw error("ERROR: Please place an asterisk (*) in filepath when\n       saving " + key +
                  " with BYGROUP command.");
    }
    try_path(numbered(path, "1"));
  }
  if (nimps != not_set && isWrite("separate")) checkSeparate();
}

void InputFile::checkSeparate() const {
  const std::string& path = writePath("separate");
  const std::string list_path = numbered(path, "list");
  std::ofstream list(list_path, std::ios::trunc);
  if (!list) cannot_create(list_path);
  for (std::uint32_t i = 1; i <= nimps; ++i) {
    const std::string file = numbered(path, std::to_string(i));
    try_path(file);
    list << (i > 1 ? "\n" : "") << base_name(file);
  }
}

}  // namespace tovik
