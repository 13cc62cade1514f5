// Correlations of the latent residual of a regression with Polya-Gamma weights with others, carried by
// phantoms.

#include <cmath>

#include "random/random.hpp"
#include "sem/outcomes/polya_gamma_regression.hpp"

namespace tovik::sem {

/// The residual as the end of a correlation.
class polya_gamma_side : public correlated_side, public weighted_side {
 public:
  polya_gamma_side(polya_gamma_regression& model, arma::uword k) : model_(model), k_(k) {}

  /// eta without the phantoms.
  void read(const arma::Mat<double>& data) override {
    model_.settle();
    model_.predictor(data, eta_);
    eta_ -= model_.phantom_means(data);
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
    for (arma::uword i = 0; i < eta_.n_elem; ++i)
      sum += model_.log_density(i, model_.value_at(data, i), eta_(i) + m(i));
    return sum;
  }
  void draw_weights(Random& rng, const arma::Mat<double>& data, arma::Col<double>& w,
                    arma::Col<double>& g) override {
    const arma::Mat<double>& m = model_.phantom_means(data);
    for (arma::uword i = 0; i < eta_.n_elem; ++i) {
      const double psi = eta_(i) - model_.offset(i), y = model_.value_at(data, i);
      w(i) = model_.draw_weight(rng, y, psi + m(i));
      g(i) = model_.kappa(y) - w(i) * psi;
      if (!std::isfinite(g(i))) w(i) = g(i) = 0.0;
    }
  }

 private:
  polya_gamma_regression& model_;
  arma::uword k_;
  arma::Col<double> eta_;
};

std::unique_ptr<correlated_side> polya_gamma_regression::correlated(arma::uword column) {
  const phantom_loadings& here = part(0).loadings;
  for (arma::uword k = 0; k < here.size(); ++k)
    if (here.terms()[k].column == column) return std::make_unique<polya_gamma_side>(*this, k);
  return Regression::correlated(column);
}

}  // namespace tovik::sem
