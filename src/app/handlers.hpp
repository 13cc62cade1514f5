#pragma once

#include <functional>

namespace tovik {

/// Runs `stages` and turns whatever they throw into words on standard output, followed by the warning block on
/// the report. Returns the exit status: 0, or 1 after an error or when the report could not be written.
int report_errors(const std::function<void()>& stages);

}  // namespace tovik
