#include "results/report_lists.hpp"

#include "support/text.hpp"
#include "support/wrapped.hpp"

namespace tovik {

void print_numbered(std::FILE* stream, std::size_t number, std::size_t total, const std::string& text) {
  const std::size_t digits = std::to_string(number).size();
  const std::size_t widest = std::to_string(total).size();
  const int padding = 4 + (widest > digits ? static_cast<int>(widest - digits) : 0);
  std::fprintf(stream, "%*s[%i] %s\n", padding, "", static_cast<int>(number),
               wrapped(words(text), 17, list_width).c_str());
}

void print_numbered_section(std::FILE* stream, const char* title, const std::vector<std::string>& rows) {
  if (rows.empty()) return;
  std::fprintf(stream, "  %s\n", title);
  for (std::size_t i = 0; i < rows.size(); ++i) print_numbered(stream, i + 1, rows.size(), rows[i]);
  std::fputs("\n", stream);
}

}  // namespace tovik
