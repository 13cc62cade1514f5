#include "manifest/ord_var.hpp"

#include "sem/predictors/predictor_starts.hpp"

namespace tovik::manifest {

namespace {

arma::Mat<double> codes_of(const data::variable& v, const arma::Col<arma::uword>& categories) {
  arma::Mat<double> out(categories.n_elem, 1);
  for (arma::uword i = 0; i < categories.n_elem; ++i) out(i, 0) = v.values.at(categories[i]);
  return out;
}

}  // namespace

OrdVar::OrdVar(Data& data, std::size_t k, const std::shared_ptr<Random>& rng, const options& how)
    : Var(data, k, rng, how, sem::OrdComponent::gammaPrior, arma::Mat<double>(1, 1, arma::fill::ones)),
      latent_(component(), sem::fill_categories(data.at(k).values[0].col(0), *data.at(k).variable, *rng),
              data.at(k).variable->values.size(), data.at(k).missing) {
  latent_.heed_missing = !how.mice;
  gamma_(0, 0) = latent_.startMean();
  latent_.startScores(arma::Mat<double>(score_.n_rows, 1, arma::fill::value(gamma_(0, 0))));
  score_ = latent_.score;
  data_.set(k, arma::regspace<arma::Col<arma::uword>>(0, score_.n_rows - 1),
            codes_of(*variable().variable, latent_.categories()));
}

void OrdVar::drawLatent(const arma::Mat<double>& mean) {
  latent_.drawLatent(mean);
  score_ = latent_.score;
}

void OrdVar::take(const arma::Mat<double>& drawn) {
  latent_.setScore(drawn, missing());
  score_ = latent_.score;
  const data::variable& v = *variable().variable;
  codes_.set_size(drawn.n_rows, 1);
  for (arma::uword i = 0; i < drawn.n_rows; ++i) codes_(i, 0) = v.values[latent_.categories()[missing()[i]]];
  data_.set(k_, missing(), codes_);
}

arma::Col<double> OrdVar::thresholds() const {
  const arma::Col<double>& tau = latent_.thresholds();
  return tau.n_elem < 2 ? arma::Col<double>() : arma::Col<double>(tau.tail(tau.n_elem - 1));
}

}  // namespace tovik::manifest
