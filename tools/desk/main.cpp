#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>

#include "desk_files.hpp"

/// Writes the files that are made out of the program's tables below the folder that is given: `make desk`.
int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "Usage: desk_files <folder>\n");
    return 2;
  }
  try {
    for (const tovik::desk::desk_file& file : tovik::desk::desk_files()) {
      const std::filesystem::path path = std::filesystem::path(argv[1]) / file.path;
      std::filesystem::create_directories(path.parent_path());
      std::ofstream out(path);
      out << file.text;
      out.close();
      if (!out) throw std::runtime_error(path.string() + " cannot be written.");
    }
  } catch (const std::exception& fault) {
    std::fprintf(stderr, "%s\n", fault.what());
    return 1;
  }
  return 0;
}
