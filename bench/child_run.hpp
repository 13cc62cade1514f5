#pragma once

#include <filesystem>
#include <string>

namespace tovik::bench {

/// How a process ended, and its processor time: of the program and of the system for it, all threads.
struct child_run {
  int status = -1;
  double cpu_seconds = 0.0;
};

/// Runs `program` on one argument in `folder`; what it prints goes to the file `output` there. Throws
/// std::system_error when there is no process to be had.
child_run run_child(const std::filesystem::path& program, const std::string& argument,
                    const std::filesystem::path& folder, const std::string& output);

}  // namespace tovik::bench
