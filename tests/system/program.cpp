#include "system/program.hpp"

#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace tovik::tests {

run_result run_program(const std::string& arguments) {
  std::string command = TOVIK_PROGRAM;
  command += " ";
  command += arguments;
  command += " 2>&1";
  std::FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) throw std::runtime_error("cannot start " + command);
  run_result result;
  char block[4096];
  for (std::size_t n; (n = std::fread(block, 1, sizeof block, pipe)) > 0;) result.output.append(block, n);
  const int status = pclose(pipe);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return result;
}

std::string read_file(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

void write_file(const std::filesystem::path& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

std::string masked(const std::string& report) {
  static const std::regex clock(R"([A-Z][a-z]{2} [ 0-9][0-9] [0-9]{2}:[0-9]{2}:[0-9]{2} [0-9]{4})");
  std::istringstream lines(std::regex_replace(report, clock, "Jan  1 00:00:00 2026"));
  std::string out;
  std::vector<std::string> progress;
  auto flush = [&] {
    std::stable_sort(progress.begin(), progress.end(), [](const std::string& a, const std::string& b) {
      return std::stoi(a.substr(8)) < std::stoi(b.substr(8));
    });
    for (const std::string& line : progress) out += line + "\n";
    progress.clear();
  };
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind("  Chain ", 0) == 0 && line.back() != ':') {
      progress.push_back(line);
    } else {
      flush();
      out += line + "\n";
    }
  }
  flush();
  return out;
}

}  // namespace tovik::tests
