// The run of a command file with BYGROUP: one group after the other, then what all of them share.

#include <cstdio>

#include "app/application.hpp"
#include "app/by_group.hpp"
#include "app/progress.hpp"
#include "input/variable_order.hpp"
#include "support/file_writer.hpp"
#include "support/output.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

/// Keeps the warnings of the groups apart. When an error leaves the run, all of them return to the buffer, in
/// the order in which they came, and so reach the report.
class warnings_by_group {
 public:
  explicit warnings_by_group(std::vector<by_group>& groups)
      : groups_(groups), global_(warning::buffer.take()) {}
  warnings_by_group(const warnings_by_group&) = delete;
  warnings_by_group& operator=(const warnings_by_group&) = delete;
  ~warnings_by_group() {
    if (ended_) return;
    for (auto group = groups_.rbegin(); group != groups_.rend(); ++group)
      warning::buffer.put_front(group->messages);
    warning::buffer.put_front(global_);
  }

  /// The groups have run; what is warned of from here on speaks of all of them.
  void back_to_global() {
    warning::buffer.put_front(global_);
    global_.clear();
  }

  void print(std::FILE* stream) {
    ended_ = true;
    std::fputs("\nWARNING MESSAGES:\n\n  GLOBAL MESSAGES:\n\n", stream);
    warning::print_messages(stream, warning::buffer.take());
    for (const by_group& group : groups_) {
      std::fprintf(stream, "  GROUP %s MESSAGES:\n\n", group.name.c_str());
      warning::print_messages(stream, group.messages);
    }
    std::fflush(stream);
  }

 private:
  std::vector<by_group>& groups_;
  std::vector<warning::message> global_;
  bool ended_ = false;
};

void print_group_heading(const std::string& name) {
  const std::string rule = "\n" + std::string(75, '-') + "\n";
  print_everywhere(rule + "\nGROUP " + name + " SAMPLER\n" + rule);
}

/// True when a signal has cut one short; later groups do not run.
bool run_all(std::vector<by_group>& groups) {
  unsigned number = 0;
  for (by_group& group : groups) {
    progress::clock().begin_group(++number, static_cast<unsigned>(groups.size()));
    progress::enter(run_phase::preparing);
    print_group_heading(group.name);
    const bool interrupted = group.run();
    group.messages = warning::buffer.take();
    if (interrupted) return true;
  }
  return false;
}

}  // namespace

bool Application::runGroup(InputFile& input) const {
  std::vector<by_group> groups = input.groups();
  warnings_by_group warnings(groups);
  const bool interrupted = run_all(groups);
  warnings.back_to_global();
  progress::enter(run_phase::writing);
  {
    file_set files;
    input.writeData(groups);
    files.commit();
  }
  progress::enter(run_phase::summarising);
  if (!groups.empty()) input.dataNames = groups.front().input.dataNames;
  input.printVariableOrder();
  warnings.print(fp);
  return interrupted;
}

}  // namespace tovik
