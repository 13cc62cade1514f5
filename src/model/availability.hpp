#pragma once

namespace tovik {
class ModelList;
}

namespace tovik::model {

/// Refuses what the language of the list can say and the sampler does not draw yet. Throws tovik::error.
void check_available(const ModelList& models);

}  // namespace tovik::model
