#pragma once

namespace tovik {
class ModelList;
}

namespace tovik::sem {

/// Stops a run whose equations are right and use what the sampler does not draw yet: throws tovik::error that
/// names the thing and where it stands. To be called before anything is built from the list.
void check_available(const ModelList& models);

}  // namespace tovik::sem
