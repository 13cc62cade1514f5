#include "data/modifier.hpp"

#include "support/text.hpp"

namespace tovik::data {

std::string phantom_text(const std::string& name) {
  // The infix goes first, since its own marks would otherwise be decoded; then the longest run of marks
  // first.
  std::string text = replace_all(name, "#cor#", " <-> ");
  text = replace_all(text, "####", "]");
  text = replace_all(text, "###", "[");
  text = replace_all(text, "##", "*");
  return replace_all(text, "#", "$");
}

}  // namespace tovik::data
