#include "support/file_writer.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <utility>

#include "support/text.hpp"

namespace tovik {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t buffer_size = std::size_t{1} << 16;
constexpr int most_links = 40;  // as the system follows

file_set* open_set = nullptr;

/// The descriptor that a path such as /dev/stdout stands for, or -1. Opening the path anew would start at the
/// beginning of the file to which the descriptor may have been redirected.
int descriptor_of(const std::string& path) {
  if (path == "/dev/stdout") return 1;
  if (path == "/dev/stderr") return 2;
  for (const std::string folder : {"/dev/fd/", "/proc/self/fd/"}) {
    const std::string number = path.rfind(folder, 0) == 0 ? path.substr(folder.size()) : "";
    if (!number.empty() && number.size() < 7 && number.find_first_not_of("0123456789") == std::string::npos)
      return std::stoi(number);
  }
  return -1;
}

/// The path without links in its last part; ends early at a path that stands for a descriptor.
fs::path follow_links(const std::string& path) {
  std::error_code failed;
  fs::path at = fs::absolute(path, failed).lexically_normal();
  for (int k = 0; k < most_links && descriptor_of(at.string()) < 0 && fs::is_symlink(at, failed); ++k) {
    at = (at.parent_path() / fs::read_symlink(at, failed)).lexically_normal();
  }
  return at;
}

bool exists_otherwise(const fs::path& path) {
  std::error_code failed;
  return fs::exists(path, failed) && !fs::is_regular_file(path, failed);
}

/// A new file in `folder`, readable as the user's other new files are. The name is short whatever the
/// target's, and differs between processes and targets; a number is added while it is taken.
int make_temporary(const fs::path& folder, const std::string& target, std::string& name) {
  const std::size_t hash = std::hash<std::string>{}(target);
  for (int k = 0;; ++k) {
    name = (folder / format(".tovik-%ld-%zx-%i", static_cast<long>(::getpid()), hash, k)).string();
    const int fd = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd >= 0 || errno != EEXIST) return fd;
  }
}

}  // namespace

file_writer::file_writer(std::string path) : path_(std::move(path)) {
  const fs::path target = follow_links(path_);
  target_ = target.string();
  const int descriptor = descriptor_of(target_);
  if (descriptor >= 0) {
    std::fflush(nullptr);  // what was printed before stands before
    open_directly(::dup(descriptor));
  } else if (exists_otherwise(target)) {
    open_directly(::open(target_.c_str(), O_WRONLY | O_CLOEXEC));
  } else {
    open_beside();
  }
  failed_ = file_ == nullptr;
  if (file_ != nullptr) std::setvbuf(file_, nullptr, _IOFBF, buffer_size);
}

void file_writer::open_directly(int descriptor) {
  if (descriptor >= 0) file_ = ::fdopen(descriptor, "w");
  if (file_ != nullptr) return;
  open_failure_ = errno;
  if (descriptor >= 0) ::close(descriptor);
}

void file_writer::open_beside() {
  struct stat old {};
  const bool replaces = ::stat(target_.c_str(), &old) == 0;
  int fd = make_temporary(fs::path(target_).parent_path(), target_, temporary_);
  const bool locked_folder = fd < 0 && (errno == EACCES || errno == EPERM || errno == EROFS);
  if (locked_folder && replaces && ::access(target_.c_str(), W_OK) == 0) {
    std::error_code failed;
    fd = make_temporary(fs::temp_directory_path(failed), target_, temporary_);
  }
  if (fd < 0) {
    open_failure_ = errno;
    temporary_.clear();
    return;
  }
  if (replaces) ::fchmod(fd, old.st_mode & 07777);  // a file keeps its permissions through a new run
  open_directly(fd);
}

file_writer::file_writer(file_writer&& other) noexcept {
  *this = std::move(other);
}

file_writer& file_writer::operator=(file_writer&& other) noexcept {
  std::swap(path_, other.path_);
  std::swap(target_, other.target_);
  std::swap(temporary_, other.temporary_);
  std::swap(file_, other.file_);
  std::swap(failed_, other.failed_);
  std::swap(open_failure_, other.open_failure_);
  return *this;
}

file_writer::~file_writer() {
  if (file_ != nullptr) std::fclose(file_);
  discard();
}

void file_writer::discard() {
  if (!temporary_.empty()) ::unlink(temporary_.c_str());
  temporary_.clear();
}

void file_writer::write(std::string_view text) {
  if (failed_ || file_ == nullptr) return;
  failed_ = std::fwrite(text.data(), 1, text.size(), file_) != text.size();
}

bool file_writer::finish() {
  if (file_ != nullptr) {
    // A full disk shows when the buffer is written, on some file systems only when the file is closed.
    if (std::fflush(file_) != 0 || std::ferror(file_) != 0) failed_ = true;
    if (std::fclose(std::exchange(file_, nullptr)) != 0) failed_ = true;
  }
  if (failed_) discard();
  return !failed_;
}

bool file_writer::commit() {
  if (!finish() || temporary_.empty()) return !failed_;
  if (std::rename(temporary_.c_str(), target_.c_str()) == 0) {
    temporary_.clear();
    return true;
  }
  failed_ = !copy_over();
  discard();
  return !failed_;
}

/// For a target that cannot be replaced, only written: in a folder of another owner, or mounted alone.
bool file_writer::copy_over() const {
  std::FILE* from = std::fopen(temporary_.c_str(), "rb");
  if (from == nullptr) return false;
  std::FILE* to = std::fopen(target_.c_str(), "r+b");  // not made when it has gone
  bool good = to != nullptr && ::ftruncate(::fileno(to), 0) == 0;
  char block[4096];
  for (std::size_t n; good && (n = std::fread(block, 1, sizeof block, from)) > 0;) {
    good = std::fwrite(block, 1, n, to) == n;
  }
  good = good && std::ferror(from) == 0;
  std::fclose(from);
  if (to != nullptr && std::fclose(to) != 0) good = false;
  return good;
}

file_set::file_set() {
  open_set = this;
}

file_set::~file_set() {
  open_set = nullptr;
}

std::vector<unwritten_file>& file_set::failures() {
  static std::vector<unwritten_file> files;
  return files;
}

namespace {

void put_in_place(file_writer& file) {
  if (file.commit()) return;
  std::vector<unwritten_file>& failed = file_set::failures();
  const auto same = [&](const unwritten_file& one) { return one.path == file.path(); };
  if (std::none_of(failed.begin(), failed.end(), same)) failed.push_back({file.path(), file.open_failure()});
}

}  // namespace

void file_set::commit() {
  for (file_writer& file : files_) put_in_place(file);
  files_.clear();
}

void file_set::store(file_writer file) {
  file.finish();
  if (open_set == nullptr) return put_in_place(file);
  open_set->files_.push_back(std::move(file));
}

bool is_device(const std::string& path) {
  const fs::path end = follow_links(path);
  return descriptor_of(end.string()) >= 0 || exists_otherwise(end);
}

std::string end_of_links(const std::string& path) {
  std::error_code failed;
  const fs::path end = follow_links(path);
  const fs::path folder = fs::weakly_canonical(end.parent_path(), failed);
  return (failed ? end : folder / end.filename()).string();
}

}  // namespace tovik
