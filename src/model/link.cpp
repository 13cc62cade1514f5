#include "model/link.hpp"

namespace tovik::model {

bool has_lambda(link value) {
  return value == link::yjt || value == link::yjt_scale;
}

bool has_many_variances(link value) {
  return value == link::hev || value == link::scale || value == link::yjt_scale;
}

std::string link_str(link value) {
  switch (value) {
    case link::identity:
      return "identity";
    case link::weighted:
      return "weighted";
    case link::probit:
      return "probit";
    case link::logit:
      return "logit";
    case link::yjt:
    case link::yjt_scale:
      return "yjt";
    case link::scale:
    case link::log_variance:
      return "var";
    case link::hev:
      return "hev";
  }
  return "";
}

}  // namespace tovik::model
