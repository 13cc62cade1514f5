#pragma once

namespace tovik {

/// Upper tail of the chi-square distribution with df degrees of freedom: P(X > x) = Q(df/2, x/2). NaN when df
/// is below 1 or x is NaN or negative (a statistic that could not be computed), 0 at x = +inf. Never throws.
double chisq_upper(double x, double df);

}  // namespace tovik
