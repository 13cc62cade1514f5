#include "app/changelog.hpp"

namespace tovik::changelog {

// The text of CHANGELOG.md.
const char* const log = R"(# Tovik release notes

## 3.2.17 (2026-11-22)

- Regression of complete and incomplete continuous outcomes on complete predictors in single-level, two-level and three-level
  data, with random effects.
- Several chains on threads, with split-chain potential scale reduction, effective sample sizes and information criteria in the
  report.
- Result files: draws, estimates, imputed data, averages, starting values, labels.
- Errors show their place: standard error adds the line of the command file, or of the data file, and what to do about it.
- A word with a colon that is no command is named, with the command that it resembles.
- Refused with the statement: malformed numbers, labels that no parameter can have or that are names of variables, priors whose
  inputs give no distribution, predictors of phantoms, two links for one outcome, a variance set for an outcome that has none,
  a random effect that predicts its own outcome, names that nothing can refer to, identifiers that are not exact, two identifiers
  with the same clusters.
- Warned of: equations that predict each other in a cycle, computed terms that stand twice, commands without effect.
- `max(a, b)` and `min(a, b)` of parameters; each computed parameter is tried before the run.
- Data: cells in double quotes, and empty cells between commas as missing values.
- TRANSFORM may make identifiers.)";

}  // namespace tovik::changelog
