// Correlations of the latent residual of a logistic outcome with others, carried by phantoms.

#include <cmath>

#include "random/random.hpp"
#include "sem/outcomes/logistic.hpp"

namespace tovik::sem {

/// The residual of a logistic regression as the end of a correlation.
class logistic_side : public correlated_side, public weighted_side {
 public:
  logistic_side(Logistic& model, arma::uword k) : model_(model), k_(k) {}

  /// psi without the phantoms.
  void read(const arma::Mat<double>& data) override {
    model_.predictor(data, psi_);
    psi_ -= model_.phantom_means(data);
    for (arma::uword i = 0; i < psi_.n_elem; ++i) psi_(i) -= model_.offset(i);
  }
  weighted_side* weighted() override { return this; }
  const phantom_part& part() const override { return model_.part(0); }
  arma::uword term() const override { return k_; }
  double* rho() override { return &model_.part(0).loadings.rho(k_); }
  const void* source() const override { return model_.source(); }
  bool refresh() override { return model_.refresh_phantoms(0); }

  // It follows from the correlations.
  bool variance_moves() const override { return false; }
  double variance() const override { return model_.correlated_variance(); }
  void set_variance(double v) override { model_.set_residual_variance(v); }
  void keep() override {}
  void restore() override {}
  double log_prior() const override { return 0.0; }

  double log_density(const arma::Mat<double>& data) override {
    const arma::Mat<double>& m = model_.phantom_means(data);
    double sum = 0.0;
    for (arma::uword i = 0; i < psi_.n_elem; ++i)
      sum += scan::log_bernoulli(model_.scale_.at(data, i), psi_(i) + m(i));
    return sum;
  }
  void draw_weights(Random& rng, const arma::Mat<double>& data, arma::Col<double>& w,
                    arma::Col<double>& g) override {
    const arma::Mat<double>& m = model_.phantom_means(data);
    for (arma::uword i = 0; i < psi_.n_elem; ++i) {
      w(i) = rng.rpg(psi_(i) + m(i));
      g(i) = model_.scale_.at(data, i) - 0.5 - w(i) * psi_(i);
      if (!std::isfinite(g(i))) w(i) = g(i) = 0.0;
    }
  }

 private:
  Logistic& model_;
  arma::uword k_;
  arma::Col<double> psi_;
};

std::unique_ptr<correlated_side> Logistic::correlated(arma::uword column) {
  const phantom_loadings& here = part(0).loadings;
  for (arma::uword k = 0; k < here.size(); ++k)
    if (here.terms()[k].column == column) return std::make_unique<logistic_side>(*this, k);
  return Regression::correlated(column);
}

// 0, of which nothing is left, where the correlations leave nothing.
double Logistic::correlated_variance() const {
  const phantom_loadings& here = part(0).loadings;
  double left = 1.0;
  for (arma::uword k = 0; k < here.size(); ++k) left -= std::fabs(here.rho(k));
  return left > 0.0 ? scan::logistic_variance / left : 0.0;
}

}  // namespace tovik::sem
