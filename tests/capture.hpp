#pragma once

#include <cstdio>
#include <string>

namespace tovik::tests {

/// A stream whose text a test can read back.
class Capture {
 public:
  std::FILE* stream() { return file_; }

  std::string text() {
    std::fflush(file_);
    std::rewind(file_);
    std::string out;
    for (int c; (c = std::fgetc(file_)) != EOF;) out += static_cast<char>(c);
    return out;
  }

  Capture() = default;
  Capture(const Capture&) = delete;
  Capture& operator=(const Capture&) = delete;
  ~Capture() { std::fclose(file_); }

 private:
  std::FILE* file_ = std::tmpfile();
};

}  // namespace tovik::tests
