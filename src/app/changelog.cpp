#include "app/changelog.hpp"

namespace tovik::changelog {

const char* const log =
    "Tovik release notes\n"
    "\n"
    TOVIK_VERSION
    "\n"
    "  - Regression of complete and incomplete continuous outcomes on complete predictors\n"
    "    in single-level, two-level and three-level data, with random effects.\n"
    "  - Several chains on threads, with split-chain potential scale reduction,\n"
    "    effective sample sizes and information criteria in the report.\n"
    "  - Result files: draws, estimates, imputed data, averages, starting values, labels.\n";

}  // namespace tovik::changelog
