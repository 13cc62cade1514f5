#include "sem/predictors/predictor_set.hpp"

namespace tovik::sem {}  // namespace tovik::sem
