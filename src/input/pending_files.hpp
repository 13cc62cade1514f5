#pragma once

#include <optional>
#include <vector>

#include "support/file_writer.hpp"

namespace tovik {

/// Files by number that chains have written and that have not taken their places. They are those of one run:
/// a copy begins without any.
struct pending_files {
  std::vector<std::optional<file_writer>> by_number;

  pending_files() = default;
  pending_files(const pending_files&) {}
  pending_files(pending_files&&) noexcept = default;
  pending_files& operator=(const pending_files&) {
    by_number.clear();
    return *this;
  }
  pending_files& operator=(pending_files&&) noexcept = default;
  ~pending_files() = default;

  void reset(std::size_t n) {
    by_number.clear();
    by_number.resize(n);
  }
};

}  // namespace tovik
