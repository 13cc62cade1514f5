#include "model/link.hpp"

namespace tovik::model {

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
