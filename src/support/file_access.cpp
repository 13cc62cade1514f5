#include "support/file_access.hpp"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "support/file_writer.hpp"

namespace tovik {

namespace {

namespace fs = std::filesystem;

int access_failure(const std::string& path, int mode) {
  return ::access(path.c_str(), mode) == 0 ? 0 : errno;
}

int open_failure(const std::string& path, const char* mode) {
  std::FILE* file = std::fopen(path.c_str(), mode);
  if (file == nullptr) return errno;
  std::fclose(file);
  return 0;
}

/// Of something that is there. A directory opens like a file for reading and fails only when it is read.
int existing_failure(const std::string& path, const char* mode, int access_mode) {
  std::error_code none;
  if (fs::is_directory(path, none)) return EISDIR;
  return fs::is_regular_file(path, none) ? open_failure(path, mode) : access_failure(path, access_mode);
}

int append_failure(const std::string& path) {
  return existing_failure(path, "a", W_OK);
}

/// Makes a new file and takes it away again. A file that another program puts there in between is kept.
int create_failure(const std::string& path) {
  const int failure = open_failure(path, "wx");
  if (failure == EEXIST) return append_failure(path);
  if (failure != 0) return failure;
  return std::remove(path.c_str()) == 0 ? 0 : errno;
}

/// The process, or the whole system, has as many files open as it may.
bool has_no_descriptor(int failure) {
  return failure == EMFILE || failure == ENFILE;
}

}  // namespace

int read_failure(const std::string& path) {
  return existing_failure(path, "rb", R_OK);
}

int write_failure(const std::string& path) {
  std::error_code none;
  return fs::exists(path, none) ? append_failure(path) : create_failure(end_of_links(path));
}

bool is_absent(int failure) {
  return failure == ENOENT || failure == ENOTDIR;
}

std::string system_reason(int failure) {
  if (failure == 0 || is_absent(failure)) return "";
  const std::string words = std::generic_category().message(failure);
  if (has_no_descriptor(failure))
    return "\n       The system lets the program open no more files (" + words + ").";
  return "\n       The system says: " + words + ".";
}

std::string path_advice(int failure, const std::string& advice) {
  return (has_no_descriptor(failure) ? "" : "\n       " + advice) + system_reason(failure);
}

}  // namespace tovik
