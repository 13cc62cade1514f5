#include "sem/predictor_world.hpp"

#include <cmath>
#include <limits>
#include <string>
#include <utility>

namespace tovik::tests {

namespace {

template <typename Kind>
struct Probe : Kind {
  using Kind::Kind;
  static Opened open(const sem::predictor_setup& setup, const std::vector<uwords>& W,
                     const arma::Mat<double>& data) {
    auto probe = std::make_unique<Probe>(setup, W, data);
    Opened out;
    out.state = &probe->state_;
    out.published = &probe->published_;
    out.model = std::move(probe);
    return out;
  }
};

}  // namespace

void PredictorWorld::build() {
  dim = of == kind::nominal ? 2 : 1;
  arma::uword n = 0;
  for (const auto& top : sizes)
    for (unsigned size : top) n += size;
  arma::Mat<double> file(n, 11, arma::fill::zeros);
  arma::uword row = 0, two = 0;
  for (std::size_t top = 0; top < sizes.size(); ++top)
    for (unsigned size : sizes[top]) {
      for (unsigned k = 0; k < size; ++k, ++row) {
        file(row, 9) = static_cast<double>(two);
        file(row, 10) = static_cast<double>(top);
      }
      ++two;
    }
  std::vector<arma::uword> ids = {9, 10};
  ids.resize(levels - 1);
  working = std::make_unique<sem::working_data>(file, ids);
  name_variable();
  make_scores();
  make_parameters();
}

void PredictorWorld::draw_joint() {
  if (free_parameters) draw_parameters();
  if (free_variances) draw_variances();
  sem::unit_chain const chain(*working, own, deviates);
  const unsigned m = chain.n_above();
  std::vector<arma::Mat<double>> S(m + 2);
  S[m + 1] = rng->randn(1, static_cast<int>(dim)) / std::sqrt(prior_precision);
  for (unsigned q = m + 1; q-- > 0;) {
    arma::uword const n = chain.n_units(q);
    S[q] = rng->randn(static_cast<int>(n), static_cast<int>(dim)) * arma::chol(Sigma[q]);
    const arma::Col<double> w = scores[chain.level(q)].data().col(8);
    S[q] += w * gamma[q];
    for (arma::uword i = 0; i < n; ++i) S[q].row(i) += S[q + 1].row(q == m ? 0 : chain.parent(q)(i));
  }
  construct(S);
  draw_outcome();
}

void PredictorWorld::draw_outcome() {
  for (arma::uword i = 0; i < data().n_rows; ++i)
    data()(i, 0) = fitted(data(), i) + std::sqrt(y_variance) * rng->rnorm();
}

void PredictorWorld::construct(const std::vector<arma::Mat<double>>& S) {
  const uwords category = categories(S[0]);
  arma::Mat<double>& to = data();
  for (arma::uword i = 0; i < to.n_rows; ++i) {
    arma::uword const u = working->units(own)(i);
    to(i, 1) = of == kind::continuous ? S[0](u, 0) : v.values[category(u)];
    for (arma::uword k = 0; k < 2; ++k) to(i, 2 + k) = category(u) == k + 1 ? 1.0 : 0.0;
  }
  for (arma::uword u : missing)
    for (arma::uword i = 0; i < to.n_rows; ++i)
      if (working->units(own)(i) == u) to(i, 1) = std::numeric_limits<double>::quiet_NaN();
  open();
  x.state->grand_mean = S.back();
  for (unsigned q = 1; q < places(); ++q) x.state->components[q]->score = S[q];
  x.state->components[0]->score = S[0];
  const uwords unknown(missing);
  x.state->set_own(S[0].rows(unknown), unknown);
  x.published->set_links(omega());
  x.model->publish(to);
  wire();
}

std::vector<arma::Mat<double>> PredictorWorld::omega() const {
  std::vector<arma::Mat<double>> out(Sigma.size() + 1);
  arma::Mat<double> sum(dim, dim, arma::fill::zeros);
  for (std::size_t q = 0; q < Sigma.size(); ++q) out[q + 1] = sum += Sigma[q];
  return out;
}

double PredictorWorld::fitted(const arma::Mat<double>& at, arma::uword i) const {
  if (other_fit) return other_fit(at, i);
  double sum = 0;
  for (arma::uword k = 0; k < dim; ++k) {
    const double value = at(i, is_nominal() ? 2 + k : 1);
    sum += (k == 0 ? 1.0 : -0.6) * (b_x + b_product * at(i, 8)) * value;
    for (unsigned d = 1; own + d < levels; ++d)
      if (b_means[d] != 0) sum += (k == 0 ? 1.0 : -0.6) * b_means[d] * at(i, mean_column(d, k));
  }
  return sum;
}

arma::Col<double> PredictorWorld::log_likelihood(const arma::Mat<double>& at, int level) const {
  arma::Col<double> out(working->n_units(static_cast<unsigned>(level)), arma::fill::zeros);
  for (arma::uword i = 0; i < at.n_rows; ++i) {
    const double r = at(i, 0) - fitted(at, i);
    out(working->units(static_cast<unsigned>(level))(i)) -= 0.5 * r * r / y_variance;
  }
  return out;
}

std::unique_ptr<sem::estimator::likelihood> PredictorWorld::readers() const {
  auto out = std::make_unique<sem::estimator::likelihood>();
  out->push_back(sem::estimator::likelihood_function(
      this, [this](const arma::Mat<double>& at, const int& level) { return log_likelihood(at, level); }));
  return out;
}

void PredictorWorld::draw_means(unsigned q) {
  x.model->drawComponent(distance(q), scores_at(q), scores_at(q - 1));
  if (!free_parameters && !free_variances) return;
  x.model->redrawCovariance(distance(q));
}

void PredictorWorld::scan(bool latent) {
  using sem::predictor_step;
  const unsigned m = places() - 1;
  for (unsigned q = 1; q <= m; ++q) {
    const unsigned d = distance(q);
    if (x.model->needsLikelihood(predictor_step::level_mean, d))
      x.model->drawComponent(data(), d, scores_at(q), scores_at(q - 1));
    else
      draw_means(q);
  }
  if (x.model->needsLikelihood(predictor_step::grand_mean, 0))
    x.model->drawGrandMean(data(), scores_at(m));
  else
    x.model->drawGrandMean(scores_at(m));
  if (free_parameters) {
    for (unsigned q = 0; q <= m; ++q) {
      scores_at(q).write(x.model->columns(), x.model->deviation(distance(q)));
      x.model->drawParam(distance(q), scores_at(q));
    }
  } else if (latent) {
    arma::Mat<double> mean;
    x.state->expected(0, scores_at(0), mean);
    x.state->components[0]->drawLatent(mean);
  }
  if (x.model->needsLikelihood(predictor_step::imputation, 0))
    x.model->drawImputation(data(), scores_at(0));
  else
    x.model->drawImputation(scores_at(0));
}

std::vector<double> PredictorWorld::functions() {
  std::vector<double> out(x.state->grand_mean.begin(), x.state->grand_mean.end());
  for (unsigned q = 1; q < places(); ++q) {
    const arma::Mat<double>& T = x.state->scores(q);
    for (arma::uword k = 0; k < dim; ++k) {
      out.push_back(arma::mean(T.col(k)));
      out.push_back(T(T.n_rows / 2, k));
      out.push_back(T(0, k) * x.state->grand_mean(k));
    }
  }
  const arma::Mat<double>& S = x.state->scores(0);
  for (arma::uword k = 0; k < dim; ++k) {
    out.push_back(arma::mean(S.col(k)));
    if (!missing.empty()) out.push_back(S(missing.front(), k) * S(missing.back(), k));
  }
  const arma::Col<double> y = data().col(0);
  if (!missing.empty()) {
    out.push_back(S(missing.front(), 0) * y(working->first_rows(own)(missing.front())));
    out.push_back(S(missing.back(), dim - 1) + 0.1 * y(working->first_rows(own)(missing.back())));
  }
  out.push_back(arma::dot(y, data().col(value_column())) / static_cast<double>(y.n_elem));
  out.push_back(arma::mean(y) * x.state->grand_mean(0));
  if (!free_parameters && !free_variances) return out;
  for (unsigned q = 0; q < places(); ++q) {
    for (double variance : x.state->components[q]->variances())
      if (q > 0 || of == kind::continuous) out.push_back(std::atan(variance));
    if (free_variances) continue;
    for (double coefficient : x.state->components[q]->gamma) out.push_back(coefficient);
  }
  return out;
}

uwords PredictorWorld::categories(const arma::Mat<double>& S) const {
  uwords out(S.n_rows, arma::fill::zeros);
  for (arma::uword i = 0; i < S.n_rows; ++i) {
    if (is_ordinal())
      for (double t : tau) out(i) += S(i, 0) > t;
    else if (is_nominal() && S.row(i).max() > 0)
      out(i) = 1 + S.row(i).index_max();
  }
  return out;
}

void PredictorWorld::name_variable() {
  v = data::variable("x", data::type::continuous, 1, levels - 1 - own);
  if (is_ordinal()) v.type = data::type::ordinal;
  if (is_nominal()) v.type = data::type::nominal;
  if (of == kind::binary || of == kind::binary_nominal) v.values = {1, 4};
  if (of == kind::ordinal || of == kind::nominal) v.values = {1, 2, 5};
  if (is_nominal())
    for (arma::uword k = 0; k < dim; ++k)
      v.dummies.push_back(std::make_shared<data::variable>(
          "x." + std::to_string(static_cast<int>(v.values[k + 1])), data::type::dummy, 2 + k, v.level));
  if (means)
    for (unsigned d = 1; own + d < levels; ++d)
      for (arma::uword k = 0; k < dim; ++k) v.means.push_back(static_cast<unsigned>(mean_column(d, k)));
  v.setCentered(centre);
  v.setCenteredMeans(centre_means);
}

void PredictorWorld::make_scores() {
  scores.clear();
  for (unsigned L = 0; L < levels; ++L) {
    arma::uword const n = working->n_units(L);
    sem::level_scores level(n, 11, is_nominal() ? uwords{2, 3, 8} : uwords{1, 8});
    const arma::Mat<double> w = rng->randn(static_cast<int>(n), 1);
    level.write({8}, w);
    scores.push_back(std::move(level));
  }
  for (arma::uword i = 0; i < data().n_rows; ++i) data()(i, 8) = scores[0].data()(i, 8);
}

void PredictorWorld::make_parameters() {
  Sigma.clear();
  gamma.clear();
  sem::unit_chain const chain(*working, own, deviates);
  for (unsigned q = 0; q <= chain.n_above(); ++q) {
    arma::Mat<double> S(dim, dim, arma::fill::zeros);
    S.diag() += q == 0 ? 0.9 : q == 1 ? 0.6 : 0.4;
    if (dim > 1) S(0, 1) = S(1, 0) = 0.15;
    if (q == 0 && is_ordinal()) S.ones();
    if (q == 0 && is_nominal()) S = 0.5 * (arma::eye(dim, dim) + arma::ones(dim, dim));
    Sigma.push_back(S);
    gamma.push_back(arma::Mat<double>(1, dim, arma::fill::value(q == 0 ? 0.5 : -0.4)));
  }
  tau = of == kind::ordinal ? arma::Col<double>{0.0, 0.7} : arma::Col<double>{0.0};
}

void PredictorWorld::draw_variances() {
  for (std::size_t q = of == kind::continuous ? 0 : 1; q < Sigma.size(); ++q) {
    if (is_nominal())
      Sigma[q] = rng->riwish(static_cast<int>(dim) + 1, arma::eye(dim, dim));
    else
      Sigma[q](0, 0) = 1.0 / rng->rgamma(1.0, 2.0);
  }
}

void PredictorWorld::draw_parameters() {
  draw_variances();
  for (std::size_t q = 0; q < Sigma.size(); ++q) {
    gamma[q].zeros();
    if (q == 0 && of != kind::continuous) gamma[q] = std::sqrt(5.0) * rng->randn(1, static_cast<int>(dim));
  }
}

void PredictorWorld::open() {
  sem::predictor_setup setup;
  setup.rng = rng;
  setup.working = working.get();
  setup.variable = &v;
  setup.level = own;
  setup.deviates = deviates;
  std::vector<uwords> W(Sigma.size(), uwords{8});
  if (free_parameters)
    for (std::size_t q = of == kind::continuous ? 0 : 1; q < W.size(); ++q) W[q].reset();
  if (is_nominal())
    x = Probe<sem::OneVarNominal>::open(setup, W, data());
  else if (is_ordinal())
    x = Probe<sem::OneVarOrdinal>::open(setup, W, data());
  else
    x = Probe<sem::OneVar>::open(setup, W, data());
  x.state->mean_precision = prior_precision;
  for (unsigned q = 0; q < places(); ++q) {
    sem::Component& component = *x.state->components[q];
    if (!W[q].is_empty()) component.gamma = gamma[q];
    if (q > 0 && is_nominal())
      const_cast<arma::Mat<double>&>(component.SigmaE()) = Sigma[q];
    else if (!is_nominal())
      component.sigma2 = Sigma[q](0, 0);
  }
  if (is_ordinal()) const_cast<arma::Col<double>&>(x.state->components[0]->thresholds()) = tau;
}

void PredictorWorld::wire() {
  using sem::predictor_step;
  const bool reads_x = b_x != 0 || b_product != 0;
  bool some_mean = false;
  for (unsigned q = 1; q < places(); ++q) {
    auto read = [&](unsigned at) { return at > 0 && means && b_means[distance(at)] != 0; };
    some_mean = some_mean || read(q);
    if (read(q) || (centre_means == data::center::cluster && read(q - 1)) ||
        (reads_x && q == 1 && centre == data::center::cluster))
      give(predictor_step::level_mean, distance(q), together_means);
  }
  if ((reads_x && centre == data::center::grand) || (some_mean && centre_means == data::center::grand))
    give(predictor_step::grand_mean, 0, {});
  if (reads_x && !missing.empty()) give(predictor_step::imputation, 0, together_values);
}

void PredictorWorld::give(sem::predictor_step step, unsigned d, const sem::estimator::acceptance& together) {
  auto list = readers();
  list->together = together;
  x.model->setLikelihood(step, d, std::move(list));
}

}  // namespace tovik::tests
