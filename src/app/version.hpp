#pragma once

namespace tovik {

/// The number of this release, of which the build files know the one copy.
extern const char* const version_number;

}  // namespace tovik
