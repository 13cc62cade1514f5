#pragma once

#include <cstdio>

namespace tovik {

class ModelList;
class Summary;
class VariableList;
namespace sem {
class SimpleList;
}

/// The estimates of the equations, one table for each in list order, with the conditional effects below each;
/// then correlations that phantoms carry (at each change of block), parameters with priors of their own and
/// computed parameters in tables of their own.
///
/// `estimates` has the rows of all equations, also of those that are not printed; `simple` those of
/// `effects`. An empty table prints frames without rows. Returns true if something was printed.
bool print_outcomes(std::FILE* stream, const VariableList& variables, const ModelList& models,
                    const Summary& estimates, const Summary& simple, const sem::SimpleList& effects);

/// Correlations among residuals at each of `n_levels` levels. `correlations` has a row for every pair of
/// ModelList::rcorr_names, level by level from the lowest; those with a parameter of their own are left out
/// unless `all`; `sorted` puts the largest absolute value of the first column on top.
void print_correlations(std::FILE* stream, const ModelList& models, unsigned n_levels,
                        const Summary& correlations, bool sorted, bool all);

}  // namespace tovik
