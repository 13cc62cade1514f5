#pragma once

namespace tovik {

/// What --help prints: every option, one line each.
extern const char* const usage;

}  // namespace tovik
