#pragma once

#include <filesystem>
#include <string>

#include "scratch_folder.hpp"

namespace tovik::tests {

/// What a run of the program printed to standard output (and error), and how it ended.
struct run_result {
  std::string output;
  int status = -1;
};

/// Runs the program through the shell with `arguments` as written.
run_result run_program(const std::string& arguments);

std::string read_file(const std::filesystem::path& path);
void write_file(const std::filesystem::path& path, const std::string& text);

/// A report in comparable form: the clock's texts become "Jan  1 00:00:00 2026", and the progress lines,
/// which chains print in any order, are sorted by chain.
std::string masked(const std::string& report);

/// The layout of a report without its numbers: every number with decimals becomes 0 with as many of them, in
/// the place where the number ends; the parameter with the highest PSR becomes 1. Warnings that the chains
/// have not converged are left out.
std::string masked_numbers(const std::string& report);

}  // namespace tovik::tests
