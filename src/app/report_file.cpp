#include "app/report_file.hpp"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>

#include "app/banner.hpp"
#include "app/handlers.hpp"
#include "support/file_access.hpp"
#include "support/file_writer.hpp"
#include "support/output.hpp"

namespace tovik::report_file {

namespace {

namespace fs = std::filesystem;

std::optional<file_writer> report;
std::string given;  // the path as the user wrote it

/// True when nothing is lost by putting a report at the path.
bool is_free(const std::string& path) {
  std::error_code none;
  if (!fs::is_regular_file(path, none)) return true;
  std::string start(banner_start().size(), '\0');
  std::ifstream(path, std::ios::binary).read(start.data(), static_cast<std::streamsize>(start.size()));
  return start == banner_start();
}

}  // namespace

void choose(const std::string& path) {
  std::error_code none;
  given = path;
  Output::report_path = fs::absolute(path, none).string();
  Output::report_checked = false;
  Output::print_iterations = false;
}

bool open() {
  if (given.empty()) return true;
  report.emplace(Output::report_path);
  if (report->stream() != nullptr) {
    Output::fp = report->stream();
    return true;
  }
  const std::string advice =
      path_advice(report->open_failure(), "Please check that the file path is correct in --output.");
  report.reset();
  std::fprintf(stderr, "ERROR: File \"%s\" cannot be created.%s\n", given.c_str(), advice.c_str());
  return false;
}

bool close() {
  if (!report) return true;
  Output::fp = stdout;
  bool good = true;
  if (Output::report_checked || is_free(Output::report_path)) {
    good = report->commit();
    if (!good) print_unwritten({given});
  }
  report.reset();
  return good;
}

}  // namespace tovik::report_file
