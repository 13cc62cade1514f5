#include "support/warning.hpp"

#include <algorithm>
#include <utility>

namespace tovik::warning {

warning_buffer buffer;

namespace {

std::string indent_lines(const std::string& text, const char* indent) {
  std::string out;
  for (char c : text) {
    out += c;
    if (c == '\n') out += indent;
  }
  return out;
}

}  // namespace

void message::print(std::FILE* stream) const {
  const bool own_word = text.rfind("WARNING: ", 0) == 0;
  const std::string body =
      own_word ? "  " + indent_lines(text, "  ") : "  WARNING: " + indent_lines(text, "           ");
  std::fputs(body.c_str(), stream);
}

void warning_buffer::push(std::string text) {
  messages_.push_back(message{std::move(text)});
}

void warning_buffer::push(std::string text, std::string remark) {
  messages_.push_back(message{std::move(text), std::move(remark)});
}

std::string warning_buffer::take_remarks() {
  std::string out;
  for (const message& m : messages_) {
    if (!m.remark.empty()) out += "ERROR: " + m.remark + "\n";
  }
  messages_.erase(
      std::remove_if(messages_.begin(), messages_.end(), [](const message& m) { return !m.remark.empty(); }),
      messages_.end());
  return out;
}

void warning_buffer::push_front(std::string text) {
  messages_.insert(messages_.begin(), message{std::move(text)});
}

std::vector<message> warning_buffer::take() {
  return std::exchange(messages_, {});
}

void warning_buffer::put_front(const std::vector<message>& earlier) {
  messages_.insert(messages_.begin(), earlier.begin(), earlier.end());
}

void print_messages(std::FILE* stream, const std::vector<message>& messages) {
  if (messages.empty()) std::fputs("  No warning messages.\n", stream);
  for (const message& m : messages) {
    m.print(stream);
    std::fputs("\n", stream);
  }
  std::fputs("\n", stream);
}

void warning_buffer::flush(std::FILE* stream, bool clear, bool header) {
  if (header) std::fputs("\nWARNING MESSAGES:\n\n", stream);
  print_messages(stream, messages_);
  std::fflush(stream);
  if (clear) messages_.clear();
}

}  // namespace tovik::warning
