#include "model/row_table.hpp"

#include "model/model_list.hpp"

namespace tovik::model {

row_table::row_table(const ModelList& models) {
  rows_.reserve(models.size());
  for (const Model& model : models) {
    rows_.push_back(model.rows());
    starts_.push_back(starts_.back() + model.n_codes() * static_cast<unsigned>(rows_.back().size()));
  }
}

}  // namespace tovik::model
