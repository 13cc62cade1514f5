#pragma once

#include <memory>

namespace tovik::evaluate {
class value;
}

namespace tovik::model {

/// An entry of the table of parameters of one chain: the live value that "#VAR(slot)" reads.
struct parameter_info {
  std::shared_ptr<evaluate::value> cell;
  unsigned slot = 0;
  bool is_new = true;  ///< inserted, and not yet bound to a place in a model
  int tag = 0;         ///< for the ensemble's own bookkeeping
};

}  // namespace tovik::model
