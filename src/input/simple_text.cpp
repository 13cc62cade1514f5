#include "input/simple_text.hpp"

#include <cmath>

#include "data/numbers.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

[[noreturn]] void wrong_form(const std::string& line) {
  throw error("ERROR: The SIMPLE command \"" + line +
              "\" is not correctly specified.\n"
              "       Conditional effects must be separated by commas and take on the following form:\n"
              "           focal | moderator @ value1, focal | moderator @ value2");
}

/// What stands between two "@": the value of one moderator, then names; the last of them belongs to the next
/// "@", and the others have no value.
class moderator_reader {
 public:
  moderator_reader(const std::string& text, const std::string& line) : line_(line) {
    const std::vector<std::string> pieces = split(text, "@", false);
    for (std::size_t k = 0; k < pieces.size(); ++k) {
      std::vector<std::string> rest = words(pieces[k]);
      if (k > 0) read_value(rest, k + 1 < pieces.size());
      for (const std::string& name : rest) out_.push_back({name, {}, "", false});
      if (k + 1 < pieces.size() && rest.empty()) fail();
    }
    if (out_.empty()) fail();
  }

  std::vector<moderator_text> take() { return std::move(out_); }

 private:
  [[noreturn]] void fail() const { throw error(misspecified_simple(line_)); }

  /// Takes the value of the last moderator from the front. A name must be left when another "@" follows, even
  /// if it is "sd".
  void read_value(std::vector<std::string>& from, bool name_follows) {
    moderator_text& owner = out_.back();
    const std::size_t most = from.size() - (name_follows && !from.empty() ? 1 : 0);
    std::size_t used = 0;
    std::string text;
    if (used < most && (from[used] == "-" || from[used] == "+")) text = from[used++];
    if (used < most) text += from[used++];
    owner.text = text;
    if (text.size() > 2 && iequals(text.substr(text.size() - 2), "sd")) {
      owner.in_sd = true;
      text.resize(text.size() - 2);
    } else if (used < most && iequals(from[used], "sd")) {
      owner.in_sd = true;
      owner.text += " " + from[used++];
    }
    owner.value = number(text);
    from.erase(from.begin(), from.begin() + static_cast<std::ptrdiff_t>(used));
  }

  double number(const std::string& text) const {
    double value = 0;
    const bool read = parse_real(text.data(), text.data() + text.size(), value);
    if (!read || !std::isfinite(value)) fail();
    return value;
  }

  const std::string& line_;
  std::vector<moderator_text> out_;
};

effect_text read_effect(const std::string& text, const std::string& line) {
  const std::vector<std::string> sides = split(text, "|", false);
  if (sides.size() != 2) wrong_form(line);
  const std::vector<std::string> focal = words(sides[0]);
  if (focal.empty() || words(sides[1]).empty()) wrong_form(line);
  if (focal.size() > 1 || focal.front().find('@') != std::string::npos)
    throw error(misspecified_simple(line));
  return {focal.front(), moderator_reader(sides[1], line).take()};
}

}  // namespace

std::string misspecified_simple(const std::string& line) {
  return "ERROR: SIMPLE command \"" + line + "\" is mispecified.\n";
}

std::vector<effect_text> read_simple(const std::string& line) {
  std::vector<effect_text> out;
  for (const std::string& text : split(line, ",", false)) out.push_back(read_effect(text, line));
  return out;
}

}  // namespace tovik
