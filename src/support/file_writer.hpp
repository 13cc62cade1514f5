#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace tovik {

/// Writes one file, whole or not at all. The text goes to a file of another name beside the target, which
/// takes the target's name when every write has succeeded; until then, and after a failure, what stands at
/// the target stays. A link stays a link: the file at its end is replaced. Where the folder lets no new file
/// be made and the target is there, the text waits in the folder for temporary files and is copied over the
/// target. Devices and pipes are written directly, /dev/stdout and its kin through the descriptor that they
/// stand for.
///
/// Nothing throws: the first failure is kept, and good() tells it. One object belongs to one thread at a
/// time; objects share nothing.
class file_writer {
 public:
  explicit file_writer(std::string path);
  file_writer(file_writer&& other) noexcept;
  file_writer& operator=(file_writer&& other) noexcept;
  /// Takes away what was not put in its place.
  ~file_writer();

  /// For text made by printf and its kin; null when the file could not be opened, and after finish().
  std::FILE* stream() const { return file_; }
  void write(std::string_view text);

  /// Ends the writing and frees the descriptor; the target is not touched yet. True when all has been
  /// written.
  bool finish();
  /// finish(), then the text takes its place. True when it stands there.
  bool commit();

  bool good() const { return !failed_; }
  /// The system's error number when the file could not be opened, else 0.
  int open_failure() const { return open_failure_; }
  const std::string& path() const { return path_; }  ///< as it was given

 private:
  void open_beside();
  void open_directly(int descriptor);
  bool copy_over() const;
  void discard();

  std::string path_;
  std::string target_;     ///< the file that is written in the end, from the root
  std::string temporary_;  ///< where the text waits; empty for devices, pipes, and when it waits no longer
  std::FILE* file_ = nullptr;
  bool failed_ = false;
  int open_failure_ = 0;
};

/// A file that could not be written completely.
struct unwritten_file {
  std::string path;  ///< as it was given
  int open_failure = 0;

  bool operator==(const unwritten_file&) const = default;
};

/// Files that appear together. While a set is open, store() keeps files back for it; without one each file
/// takes its place at once. For the main thread. Sets are not nested.
class file_set {
 public:
  file_set();
  file_set(const file_set&) = delete;
  file_set& operator=(const file_set&) = delete;
  ~file_set();

  /// Puts all files in their places. One that fails is no reason to lose the others.
  void commit();

  /// Takes a written file: for the open set, or for its place at once.
  static void store(file_writer file);
  /// What could not be written completely, each path once.
  static std::vector<unwritten_file>& failures();

 private:
  std::vector<file_writer> files_;
};

/// True for paths that are no regular files and are written without a temporary file.
bool is_device(const std::string& path);

/// The regular file, or the free name, to which a path leads through all links; from the root. Two paths lead
/// to the same file when these are equal.
std::string end_of_links(const std::string& path);

}  // namespace tovik
