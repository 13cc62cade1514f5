#pragma once

#include <functional>
#include <string>

namespace tovik {

struct unwritten_file;

/// Runs `stages` and turns whatever they throw into words on standard output, followed by the warning block
/// on the report; then names the files that could not be written. Returns the exit status: 0, or 1 after an
/// error or when something could not be written.
int report_errors(const std::function<void()>& stages);

/// The error that a file is incomplete: on the report, on standard output, and on standard error unless that
/// is the same stream.
void print_unwritten(const unwritten_file& file);

}  // namespace tovik
