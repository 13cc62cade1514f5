#pragma once

#include <string>

namespace tovik::block {

/// One statement of MODEL or SIMULATE with the name of the block in which it stands.
struct one_model {
  std::string statement;
  std::string block;
};

/// Reserved block names.
namespace predef {
inline const std::string none = "";
inline const std::string model = "model";
inline const std::string hidden = "_hidden";
inline const std::string imputation = "#_imputation";
inline const std::string parameter = "#_parameter";
inline const std::string computation = "#_computation";
}  // namespace predef

}  // namespace tovik::block
