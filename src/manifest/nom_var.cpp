#include "manifest/nom_var.hpp"

#include "sem/predictors/predictor_starts.hpp"

namespace tovik::manifest {

namespace {

arma::Mat<double> covariance_of_differences(arma::uword dim) {
  return 0.5 * (arma::Mat<double>(dim, dim, arma::fill::eye) + arma::Mat<double>(dim, dim, arma::fill::ones));
}

arma::Col<arma::uword> start_categories(const Data& data, const member& m, Random& rng) {
  const sem::working_data& working = data.working();
  return sem::fill_categories(sem::unit_values(working, working.data, m.variable->column, m.level),
                              *m.variable, rng);
}

/// Dummy codes of these units, or of all.
void write_codes(const arma::Col<arma::uword>& categories, const arma::Col<arma::uword>& units,
                 arma::Mat<double>& out) {
  out.zeros();
  for (arma::uword i = 0; i < units.n_elem; ++i)
    if (categories[units[i]] > 0) out(i, categories[units[i]] - 1) = 1.0;
}

}  // namespace

NomVar::NomVar(Data& data, std::size_t k, const std::shared_ptr<Random>& rng, const options& how)
    : Var(data, k, rng, how, sem::NomComponent::gammaPrior,
          covariance_of_differences(data.at(k).columns.size())),
      latent_(component(), start_categories(data, data.at(k), *rng), data.at(k).missing) {
  score_ = latent_.score;
  const arma::Col<arma::uword> all = arma::regspace<arma::Col<arma::uword>>(0, score_.n_rows - 1);
  codes_.set_size(arma::size(score_));
  write_codes(latent_.categories(), all, codes_);
  data_.set(k, all, codes_);
}

arma::Col<double> NomVar::values() const {
  const std::vector<double>& known = variable().variable->values;
  arma::Col<double> out(score_.n_rows);
  for (arma::uword i = 0; i < out.n_elem; ++i) out[i] = known.at(latent_.categories()[i]);
  return out;
}

void NomVar::drawLatent(const arma::Mat<double>& mean) {
  latent_.completeLatentDraws(mean);
  score_ = latent_.score;
}

void NomVar::take(const arma::Mat<double>& drawn) {
  latent_.setScore(drawn, missing());
  score_ = latent_.score;
  codes_.set_size(arma::size(drawn));
  write_codes(latent_.categories(), missing(), codes_);
  data_.set(k_, missing(), codes_);
}

}  // namespace tovik::manifest
