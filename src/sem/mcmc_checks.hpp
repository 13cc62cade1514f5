#pragma once

namespace tovik {
class ModelList;
}  // namespace tovik

namespace tovik::sem {

class working_data;

/// Throws tovik::error when a predictor of some equation, also one inside a computed term, would have to be
/// drawn by a model of its own, or centred by drawn means: predictors have to be outcomes of equations, or
/// complete and fixed.
void check_predictors(ModelList const& models, working_data const& working);

}  // namespace tovik::sem
