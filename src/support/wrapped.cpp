#include "support/wrapped.hpp"

namespace tovik {

std::string wrapped(const std::vector<std::string>& pieces, std::size_t indent, std::size_t width) {
  std::string out;
  std::size_t line = 0;
  for (const std::string& piece : pieces) {
    if (line > 0 && line + 1 + piece.size() > width) {
      out += "\n" + std::string(indent, ' ');
      line = 0;
    }
    out += " " + piece;
    line += 1 + piece.size();
  }
  return out;
}

}  // namespace tovik
