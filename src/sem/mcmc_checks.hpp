#pragma once

namespace tovik {
class ModelList;
}  // namespace tovik

namespace tovik::sem {

class working_data;

/// Throws tovik::error when a predictor of some equation would have to be drawn, or centred by drawn means:
/// predictors have to be complete, and fixed unless they are outcomes of equations of their own.
void check_predictors(ModelList const& models, working_data const& working);

}  // namespace tovik::sem
