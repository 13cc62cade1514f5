#pragma once

#include <cstddef>
#include <functional>
#include <string_view>
#include <vector>

namespace tovik {

/// Hands out the lines of a text that comes in blocks. A line is a view into the reader's own buffer and
/// lives until the next call; nothing is copied but the piece of a line that a block cuts off.
class line_reader {
 public:
  /// Fills up to `size` bytes at `to` and returns how many; 0 at the end.
  using source = std::function<std::size_t(char* to, std::size_t size)>;

  explicit line_reader(source from, std::size_t block = std::size_t{1} << 20);

  /// The next line without its "\n". False at the end; a last line needs no "\n". After a final "\n" there is
  /// no further, empty line.
  bool next(std::string_view& line);
  /// How many lines have been handed out, as an editor counts them.
  std::size_t count() const { return count_; }

 private:
  bool refill();

  source source_;
  std::vector<char> buffer_;
  std::size_t begin_ = 0;    ///< first byte not handed out
  std::size_t scanned_ = 0;  ///< no "\n" stands between begin_ and here
  std::size_t end_ = 0;      ///< behind the last byte read
  bool done_ = false;
  std::size_t count_ = 0;
};

}  // namespace tovik
