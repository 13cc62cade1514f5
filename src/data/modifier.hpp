#pragma once

#include <memory>
#include <string>

#include "data/variable.hpp"

namespace tovik::data {

/// The shown form of a correlation's coded phantom name: "a#cor#b" is "a <-> b"; inside the names "####"
/// stands for "]", "###" for "[", "##" for "*" and "#" for "$". Any other name comes back decoded in the same
/// way.
std::string phantom_text(const std::string& name);

/// A variable on its way into a display name, with a text that may replace its own name. Short-lived: it does
/// not own the variable.
class modifier {
 public:
  explicit modifier(const variable& of) : variable_(&of) {}
  modifier(std::string text, const variable& of) : text_(std::move(text)), variable_(&of) {}

  /// A phantom is shown as the correlation that it stands for.
  static modifier phantom(const variable& of) { return {phantom_text(of.fullName), of}; }

  /// The text if there is one, otherwise the variable's full name.
  std::string string() const { return text_.empty() ? variable_->fullName : text_; }
  const variable* of() const { return variable_; }

 private:
  std::string text_;
  const variable* variable_;
};

inline std::string operator+(const std::string& text, const modifier& m) {
  return text + m.string();
}
inline std::string operator+(const modifier& m, const std::string& text) {
  return m.string() + text;
}

}  // namespace tovik::data
