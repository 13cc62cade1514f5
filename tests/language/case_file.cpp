#include "case_file.hpp"

#include <algorithm>
#include <cctype>
#include <set>
#include <stdexcept>

#include "support/text.hpp"

namespace tovik::tests {

namespace {

const std::string case_mark = "====";
const std::string section_mark = "----";

bool begins_with(const std::string& line, const std::string& start) {
  return line.compare(0, start.size(), start) == 0;
}

[[noreturn]] void malformed(const std::string& path, std::size_t line, const std::string& why) {
  throw std::runtime_error(path + ":" + std::to_string(line) + ": " + why);
}

/// A heading and the bytes below it. The first segment of a file has no heading.
struct segment {
  std::string mark;
  std::string title;
  std::size_t line = 0;
  std::size_t begin = 0;  ///< of the body in the text of the file
  std::size_t end = 0;    ///< without the empty line that parts two cases
};

/// Content as it stands in a file: a line that could be taken for a heading has a backslash before it, and so
/// has a line that begins with a backslash.
std::string marked(const std::string& content) {
  std::string out;
  for (std::size_t at = 0; at < content.size();) {
    const std::size_t next = content.find('\n', at) + 1;
    const std::string line = content.substr(at, next - at);
    if (begins_with(line, case_mark) || begins_with(line, section_mark) || line[0] == '\\') out += '\\';
    out += line;
    at = next;
  }
  return out;
}

std::string unmarked(const std::string& body, const std::string& path, std::size_t number) {
  std::string out;
  for (std::size_t at = 0; at < body.size(); ++number) {
    const std::size_t next = body.find('\n', at) + 1;
    const std::string line = body.substr(at, next - at);
    const std::string content = line[0] == '\\' ? line.substr(1) : line;
    if (marked(content) != line) {
      malformed(path, number,
                "a backslash at the start of a line stands before ====, ---- or a backslash only");
    }
    out += content;
    at = next;
  }
  return out;
}

segment heading(const std::string& line, const std::string& path, std::size_t number) {
  segment one;
  one.mark = line.substr(0, case_mark.size());
  one.line = number;
  if (line.size() < one.mark.size() + 2 || line[one.mark.size()] != ' ') {
    malformed(path, number,
              "a heading is '==== <case>' or '---- <section>'; content has a backslash before it");
  }
  one.title = line.substr(one.mark.size() + 1);
  return one;
}

/// Takes the empty line before a case from the segment that it closes.
void part(segment& last, const std::string& text, const std::string& path, std::size_t number) {
  const bool bare = last.begin == last.end;
  if (bare && last.mark.empty()) return;  // the file begins with a case
  const bool parted =
      !bare && text[last.end - 1] == '\n' && (last.end - last.begin == 1 || text[last.end - 2] == '\n');
  if (!parted) malformed(path, number, "there is no empty line before the case");
  --last.end;
}

std::vector<segment> segments(const std::string& text, const std::string& path) {
  std::vector<segment> all(1);
  std::size_t number = 0;
  for (std::size_t at = 0; at < text.size();) {
    ++number;
    const std::size_t end = text.find('\n', at);
    if (end == std::string::npos) malformed(path, number, "the last line is not ended");
    const std::string line = text.substr(at, end - at);
    at = end + 1;
    if (begins_with(line, case_mark)) part(all.back(), text, path, number);
    if (begins_with(line, case_mark) || begins_with(line, section_mark)) {
      all.push_back(heading(line, path, number));
      all.back().begin = at;
    }
    all.back().end = at;
  }
  return all;
}

bool is_case(const segment& one) {
  return one.mark == case_mark;
}

/// 'expected' alone or with the views to compare.
bool is_expected(const segment& one) {
  const std::vector<std::string> title = words(one.title);
  return one.mark == section_mark && !title.empty() && title[0] == "expected";
}

/// Reads one file; the cases grow segment by segment.
class case_reader {
 public:
  case_reader(const std::string& text, const std::string& path) : text_(text), path_(path) {}

  std::vector<case_text> cases() {
    for (const segment& one : segments(text_, path_)) {
      if (is_case(one)) {
        open(one);
      } else if (is_expected(one)) {
        take_expected(one);
      } else if (one.mark == section_mark) {
        take_file(one);
      }
    }
    if (cases_.empty()) malformed(path_, 1, "there is no case");
    close();
    return cases_;
  }

 private:
  std::string content(const segment& one) const {
    return unmarked(text_.substr(one.begin, one.end - one.begin), path_, one.line + 1);
  }

  void open(const segment& one) {
    close();
    const bool plain = std::all_of(one.title.begin(), one.title.end(),
                                   [](unsigned char c) { return std::isalnum(c) != 0 || c == '_'; });
    if (!plain) malformed(path_, one.line, "the name of a case has letters, digits and underscores only");
    if (!names_.insert(one.title).second) malformed(path_, one.line, "there are two cases " + one.title);
    cases_.push_back({one.title, one.line, content(one), {}, {}, ""});
    own_.clear();
    complete_ = false;
  }

  /// What must hold at the end of a case; its files are then complete.
  void close() {
    if (cases_.empty()) return;
    case_text& last = cases_.back();
    if (!complete_) malformed(path_, last.line, "the case " + last.name + " has no section 'expected'");
    last.files = own_;
    last.files.insert(shared_.begin(), shared_.end());
  }

  void take_expected(const segment& one) {
    if (cases_.empty()) malformed(path_, one.line, "a section 'expected' stands before the first case");
    if (complete_) malformed(path_, one.line, "the case has two sections 'expected'");
    const std::vector<std::string> title = words(one.title);
    case_text& last = cases_.back();
    last.views.assign(title.begin() + 1, title.end());
    if (last.views.empty()) last.views = {"models"};
    last.expected = content(one);
    complete_ = true;
  }

  void take_file(const segment& one) {
    if (one.title.find_first_of(" \t\r/") != std::string::npos || one.title == "command.tovik") {
      malformed(path_, one.line, "'" + one.title + "' is neither 'expected' nor the name of a file");
    }
    if (complete_) malformed(path_, one.line, "a file stands behind the section 'expected'");
    auto& files = cases_.empty() ? shared_ : own_;
    if (!files.emplace(one.title, content(one)).second) {
      malformed(path_, one.line, "there are two files " + one.title);
    }
  }

  const std::string& text_;
  const std::string& path_;
  std::vector<case_text> cases_;
  std::set<std::string> names_;
  std::map<std::string, std::string> shared_;
  std::map<std::string, std::string> own_;
  bool complete_ = false;  // the last case has its expected text
};

}  // namespace

std::vector<case_text> read_cases(const std::string& text, const std::string& path) {
  return case_reader(text, path).cases();
}

std::string with_expected(const std::string& text, const std::string& path, const std::string& name,
                          const std::string& expected) {
  read_cases(text, path);  // only a file that is well formed is written
  if (!expected.empty() && expected.back() != '\n') {
    throw std::runtime_error(path + ": the last line of the text of " + name + " is not ended");
  }
  bool inside = false;
  for (const segment& one : segments(text, path)) {
    if (is_case(one)) inside = one.title == name;
    if (inside && is_expected(one))
      return text.substr(0, one.begin) + marked(expected) + text.substr(one.end);
  }
  throw std::runtime_error(path + ": there is no case " + name);
}

}  // namespace tovik::tests
