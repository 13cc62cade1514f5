#include "app/version.hpp"

namespace tovik {

const char* const version_number = TOVIK_VERSION;

}  // namespace tovik
