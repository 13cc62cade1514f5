#include "app/application.hpp"

#include <cstdio>
#include <string>

#include "app/analysis.hpp"
#include "app/banner.hpp"
#include "app/handlers.hpp"
#include "app/progress.hpp"
#include "app/report_file.hpp"
#include "app/run.hpp"
#include "input/input_file.hpp"
#include "support/interrupt.hpp"

namespace tovik {

int Application::exec(const std::string& path) const {
  if (!report_file::open()) return 1;
  bool interrupted = false;
  int status = report_errors([&] {
    std::fputs(banner_text(version).c_str(), fp);
    std::fflush(fp);
    progress::shown line;
    interrupted = run_stages(path);
    line.finish();
  });
  if (!report_file::close()) status = 1;
  // As shells tell it of a process that a signal has ended.
  return status == 0 && interrupted ? 128 + interrupt::requested() : status;
}

bool Application::run_stages(const std::string& path) const {
  InputFile input(path);
  if (!input.simulates.empty() && input.models.empty() && input.fcs.empty()) {
    input.data();  // generates the data and saves them; nothing is estimated
    return false;
  }
  input.printOptions();
  return input.byGroup.empty() ? run(input) : runGroup(input);
}

bool Application::run(InputFile& input) const {
  return run_analysis(input, prepare(input));
}

}  // namespace tovik
