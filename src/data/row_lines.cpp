#include "data/row_lines.hpp"

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string_view>
#include <system_error>

#include "data/line_reader.hpp"

namespace tovik {

std::vector<std::size_t> lines_of_rows(const std::string& path, std::size_t n_rows,
                                       const std::vector<arma::uword>& rows) {
  std::error_code ignored;
  if (!std::filesystem::is_regular_file(path, ignored)) return {};
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), std::fclose);
  if (!file) return {};
  line_reader lines([&](char* to, std::size_t size) { return std::fread(to, 1, size, file.get()); });
  std::vector<std::size_t> filled;
  std::string_view line;
  for (std::size_t number = 1; lines.next(line); ++number) {
    if (line.find_first_not_of(" \t\n\v\f\r") != std::string_view::npos) filled.push_back(number);
  }
  const std::size_t header = filled.size() == n_rows + 1 ? 1 : 0;
  if (filled.size() != n_rows + header) return {};
  std::vector<std::size_t> out;
  for (arma::uword row : rows) {
    if (row < n_rows) out.push_back(filled[header + row]);
  }
  return out;
}

}  // namespace tovik
