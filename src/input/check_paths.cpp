#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "input/input_file.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void cannot_create(const std::string& path) {
  throw error("ERROR: File \"" + path +
              "\" cannot be created.\n"
              "       Please check that the file path is correct in SAVE command.");
}

[[noreturn]] void matches_data(const std::string& key) {
  throw error("ERROR: The SAVE command (" + key + ") matches the DATA command.");
}

/// True when something that can be written stands at the path. Its contents stay. Pipes and devices are not
/// opened: that would wait for a reader or disturb one.
bool existing_is_writable(const std::string& path) {
  std::error_code none;
  if (fs::is_directory(path, none)) return false;
  if (!fs::is_regular_file(path, none)) return ::access(path.c_str(), W_OK) == 0;
  return std::ofstream(path, std::ios::app).good();
}

/// Makes a new file and takes it away again. A file that another program puts there in between is kept.
bool can_create(const std::string& path) {
  std::FILE* file = std::fopen(path.c_str(), "wx");
  if (file == nullptr) return errno == EEXIST && existing_is_writable(path);
  std::fclose(file);
  return std::remove(path.c_str()) == 0;
}

/// Where a chain of links ends; the last link's target need not exist.
fs::path end_of_links(fs::path path) {
  std::error_code failed;
  for (int steps = 0; steps < 40 && fs::is_symlink(path, failed); ++steps) {
    path = path.parent_path() / fs::read_symlink(path, failed);
  }
  return path;
}

/// Finds a path that cannot be written before the chains start, without a trace on the disk.
void try_path(const std::string& path) {
  std::error_code none;
  if (fs::exists(path, none)) {
    if (!existing_is_writable(path)) cannot_create(path);
    return;
  }
  if (!can_create(end_of_links(path).string())) cannot_create(path);
}

bool same_file(const std::string& a, const std::string& b) {
  std::error_code none;
  return fs::equivalent(a, b, none);
}

/// The data can be opened for reading. Pipes are not opened here: what they hold can be read only once.
bool is_readable(const std::string& path) {
  std::error_code none;
  if (fs::is_directory(path, none)) return false;
  if (!fs::is_regular_file(path, none)) return ::access(path.c_str(), R_OK) == 0;
  return std::ifstream(path).good();
}

std::string numbered(const std::string& path, const std::string& number) {
  return replace_all(path, "*", number);
}

std::string last_part(const std::string& path) {
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
      if (!path.empty() && iequals(path, data_file)) matches_data(key);
    }
    if (!is_readable(data_file)) throw error("ERROR: File \"" + data_file + "\" cannot be found.");
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
    checkTarget(key, numbered(path, key == "separate" ? "list" : "1"));
  }
  if (nimps != not_set && isWrite("separate")) checkSeparate();
}

void InputFile::checkTarget(const std::string& key, const std::string& path) const {
  if (!data_file.empty() && same_file(path, data_file)) matches_data(key);
  if (same_file(path, command_file_)) {
    throw error("ERROR: The SAVE command (" + key + ") matches the command file.");
  }
  try_path(path);
}

void InputFile::checkSeparate() const {
  const std::string& path = writePath("separate");
  std::string names;
  for (std::uint32_t i = 1; i <= nimps; ++i) {
    const std::string file = numbered(path, std::to_string(i));
    checkTarget("separate", file);
    names += (i > 1 ? "\n" : "") + last_part(file);
  }
  const std::string list_path = numbered(path, "list");
  std::ofstream list(list_path, std::ios::trunc);
  if (!(list << names << std::flush)) cannot_create(list_path);
}

}  // namespace tovik
