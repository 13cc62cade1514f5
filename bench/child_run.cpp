#include "child_run.hpp"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace tovik::bench {
namespace {

[[noreturn]] void fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

double seconds(const timeval& t) {
  return static_cast<double>(t.tv_sec) + 1e-6 * static_cast<double>(t.tv_usec);
}

}  // namespace

child_run run_child(const std::filesystem::path& program, const std::string& argument,
                    const std::filesystem::path& folder, const std::string& output) {
  const pid_t child = fork();
  if (child < 0) fail("fork");
  if (child == 0) {
    const bool ready = chdir(folder.c_str()) == 0;
    const int out = open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (ready && out >= 0 && dup2(out, STDOUT_FILENO) >= 0 && dup2(out, STDERR_FILENO) >= 0)
      execl(program.c_str(), program.c_str(), argument.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  int status = 0;
  rusage used{};
  while (wait4(child, &status, 0, &used) < 0)
    if (errno != EINTR) fail("wait4");
  return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
          seconds(used.ru_utime) + seconds(used.ru_stime)};
}

}  // namespace tovik::bench
