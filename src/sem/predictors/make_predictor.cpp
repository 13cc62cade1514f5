#include "data/variable.hpp"
#include "sem/predictors/one_var.hpp"
#include "sem/predictors/variable.hpp"

namespace tovik::sem {

namespace {

std::unique_ptr<Variable> of_kind(const predictor_setup& setup,
                                  const std::vector<arma::Col<arma::uword>>& predictors,
                                  const arma::Mat<double>& data) {
  switch (setup.variable->type) {
    case data::type::ordinal:
      return std::make_unique<OneVarOrdinal>(setup, predictors, data);
    case data::type::nominal:
      return std::make_unique<OneVarNominal>(setup, predictors, data);
    default:
      return std::make_unique<OneVar>(setup, predictors, data);
  }
}

}  // namespace

std::unique_ptr<Variable> make_predictor(const predictor_setup& setup,
                                         const std::vector<arma::Col<arma::uword>>& predictors,
                                         arma::Mat<double>& data) {
  std::unique_ptr<Variable> out = of_kind(setup, predictors, data);
  out->publish(data);
  return out;
}

}  // namespace tovik::sem
