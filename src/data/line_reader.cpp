#include "data/line_reader.hpp"

#include <algorithm>
#include <cstring>
#include <utility>

namespace tovik {

line_reader::line_reader(source from, std::size_t block)
    : source_(std::move(from)), buffer_(std::max<std::size_t>(block, 1)) {}

bool line_reader::refill() {
  if (done_) return false;
  if (begin_ > 0) {
    std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
    end_ -= begin_;
    scanned_ -= begin_;
    begin_ = 0;
  }
  if (end_ == buffer_.size()) buffer_.resize(2 * buffer_.size());
  const std::size_t got = source_(buffer_.data() + end_, buffer_.size() - end_);
  end_ += got;
  done_ = got == 0;
  return !done_;
}

bool line_reader::next(std::string_view& line) {
  while (true) {
    const void* hit = std::memchr(buffer_.data() + scanned_, '\n', end_ - scanned_);
    if (hit != nullptr) {
      const auto at = static_cast<std::size_t>(static_cast<const char*>(hit) - buffer_.data());
      line = {buffer_.data() + begin_, at - begin_};
      begin_ = scanned_ = at + 1;
      ++count_;
      return true;
    }
    scanned_ = end_;
    if (refill()) continue;
    if (begin_ == end_) return false;
    line = {buffer_.data() + begin_, end_ - begin_};
    begin_ = scanned_ = end_;
    ++count_;
    return true;
  }
}

}  // namespace tovik
