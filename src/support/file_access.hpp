#pragma once

#include <string>

namespace tovik {

/// Whether files can be opened, and what a message says when they cannot. A failure is the system's error
/// number; 0 is none.

/// The failure of opening for reading. Pipes and devices are not opened: what they hold can be read only
/// once.
int read_failure(const std::string& path);

/// The failure of opening for writing, found without a trace on the disk. What stands at the path keeps its
/// contents. Pipes and devices are not opened: that would wait for a reader or disturb one.
int write_failure(const std::string& path);

/// True when the path leads to nothing.
bool is_absent(int failure);

/// A further line of a message, the line's break before it: what the system says. Empty when the path leads
/// to nothing, which the message tells already.
std::string system_reason(int failure);

/// The same behind a line that asks the user to look at the path; that line is left out where no other path
/// would help.
std::string path_advice(int failure, const std::string& advice);

}  // namespace tovik
