#pragma once

namespace tovik::changelog {

/// The release notes, printed whole by --changelog.
extern const char* const log;

}  // namespace tovik::changelog
