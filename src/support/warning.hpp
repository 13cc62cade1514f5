#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace tovik::warning {

/// One warning, printed in the layout of the report's warning block.
struct message {
  std::string text;

  /// "WARNING: ..." keeps its own layout behind two blanks; any other text gets the word and 11 blanks of indent.
  void print(std::FILE* stream) const;
};

/// The warnings of a run in order of pushing; never deduplicated. Not for use on chain threads: it has no lock.
class warning_buffer {
 public:
  void push(std::string text);
  /// For what heads the block.
  void push_front(std::string text);
  bool empty() const { return messages_.empty(); }
  void clear() { messages_.clear(); }
  const std::vector<message>& messages() const { return messages_; }

  /// Prints the block (with its headline if `header`), flushes the stream and, if `clear`, empties the buffer.
  void flush(std::FILE* stream, bool clear, bool header);

 private:
  std::vector<message> messages_;
};

extern warning_buffer buffer;

}  // namespace tovik::warning
