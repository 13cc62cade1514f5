#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace tovik::warning {

/// One warning, printed in the layout of the report's warning block.
struct message {
  std::string text;
  /// What an error would be hard to understand without: it becomes the first line of one.
  std::string remark = {};

  /// "WARNING: ..." keeps its own layout behind two blanks; any other text gets the word and 11 blanks of
  /// indent.
  void print(std::FILE* stream) const;
};

/// The warnings of a run in order of pushing; never deduplicated. Not for use on chain threads: it has no
/// lock.
class warning_buffer {
 public:
  void push(std::string text);
  /// For what heads the block.
  void push_front(std::string text);
  /// A warning that explains the errors that may follow; `remark` is its text in one line.
  void push(std::string text, std::string remark);
  /// The remarks, each on a line of its own behind "ERROR: ". Their warnings leave the buffer.
  std::string take_remarks();
  bool empty() const { return messages_.empty(); }
  void clear() { messages_.clear(); }
  /// The messages, which leave the buffer.
  std::vector<message> take();
  /// Puts messages before those of the buffer.
  void put_front(const std::vector<message>& earlier);
  const std::vector<message>& messages() const { return messages_; }

  /// Prints the block (with its headline if `header`), flushes the stream and, if `clear`, empties the
  /// buffer.
  void flush(std::FILE* stream, bool clear, bool header);

 private:
  std::vector<message> messages_;
};

/// Each message on lines of its own, or that there are none; an empty line behind them.
void print_messages(std::FILE* stream, const std::vector<message>& messages);

extern warning_buffer buffer;

}  // namespace tovik::warning
