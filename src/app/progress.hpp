#pragma once

#include <string>

namespace tovik::progress {

/// Prints one line to standard output, and to the report when that is another stream that wants progress
/// lines. One fputs per stream, so that lines of different chains stay whole.
void print(const std::string& line);

/// The clock as "Jan  1 00:00:00 2026\n": the text of ctime from the month on, with its newline.
std::string now();

}  // namespace tovik::progress
