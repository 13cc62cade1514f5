#include "app/version.hpp"

#ifndef TOVIK_VERSION
#define TOVIK_VERSION "3.2.17"  // as in project() of CMakeLists.txt, for builds that do not pass it on; tested
#endif

namespace tovik {

const char* const version_number = TOVIK_VERSION;

}  // namespace tovik
