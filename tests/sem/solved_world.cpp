#include "sem/solved_world.hpp"

#include <cmath>
#include <stdexcept>

#include "sample_tests.hpp"
#include "sem/outcomes/multi.hpp"
#include "sem/outcomes/ordinal.hpp"
#include "sem/phantoms/phantom.hpp"
#include "sem/run_equations.hpp"

namespace tovik::tests {

SolvedWorld::SolvedWorld(const std::vector<std::string>& names, const arma::mat& columns,
                         const std::vector<std::string>& ids, const std::vector<std::string>& statements,
                         const std::vector<std::string>& parameters, const std::vector<std::string>& ordinal,
                         const std::vector<std::string>& latent)
    : run(prepared(small_run(names, columns, ids, statements, parameters, ordinal, latent))),
      estimator(77),
      working(run.data, id_columns(names, ids)),
      cells(run.models.generate_map()) {
  models = make_equations(run, &estimator, working, cells, prior_, true);
  draw_state();
  // By themselves, as what a solved distribution takes the place of.
  const Setting<bool> walks(sem::sampler_settings::draw_label_blocks, false);
  labels = sem::wire_labels({run.models, models, cells, working.data, estimator.random, prior_}).labels;
}

void SolvedWorld::draw_state() {
  Random& rng = estimator.random;
  for (std::size_t i = 0; i < models.size(); ++i) {
    auto* model = dynamic_cast<sem::Regression*>(models[i].get());
    if (model == nullptr) continue;
    for (arma::uword unit : model->missing_rows) write(run.models[i].name(), unit, rng.rnorm());
    for (arma::uword j : model->free) model->betas_(j) = 0.5 * rng.rnorm();
    for (arma::mat& u : model->u)
      for (double& effect : u) effect = 0.6 * rng.rnorm();
    if (auto* normal = dynamic_cast<sem::Normal*>(model)) normal->sigma2 = 0.5 + rng.runif();
    model->refresh_phantoms(0);
    if (auto* scores = dynamic_cast<sem::Ordinal*>(model)) {
      scores->addStarts(scores->params());
      scores->publish(data());
    }
  }
  for (const auto& model : models) {
    if (auto* phantom = dynamic_cast<sem::Phantom*>(model.get())) phantom->addStarts({0.4});
    if (auto* block = dynamic_cast<sem::Multi*>(model.get())) correlate(*block);
  }
}

// Correlations of 0.3 to 0.45, with the variances that the members have.
void SolvedWorld::correlate(sem::Multi& block) {
  arma::vec values(block.n_params());
  const auto& members = block.members();
  arma::uword at = 0;
  for (std::size_t j = 0; j < members.size(); ++j) {
    for (std::size_t i = j; i < members.size(); ++i) {
      const double r = i == j ? 1.0 : 0.3 + 0.05 * static_cast<double>(i + j);
      values(at++) = r * std::sqrt(members[i]->covariance(0)(0, 0) * members[j]->covariance(0)(0, 0));
    }
  }
  block.addStarts(values);
}

unsigned SolvedWorld::index(const std::string& outcome) const {
  for (unsigned i = 0; i < models.size(); ++i)
    if (run.models[i].name() == outcome) return i;
  throw std::out_of_range(outcome);
}

sem::Regression& SolvedWorld::equation(const std::string& outcome) const {
  return dynamic_cast<sem::Regression&>(*models[index(outcome)]);
}

sem::drawn_label& SolvedWorld::label(const std::string& name) {
  for (sem::drawn_label& l : labels)
    if (l.name == name) return l;
  throw std::out_of_range(name);
}

double SolvedWorld::log_density() const {
  double sum = 0.0;
  for (const auto& outcome : models) {
    if (outcome->link == nullptr) sum += outcome->logLiklihood(working.data);
    const auto* model = dynamic_cast<const sem::Regression*>(outcome.get());
    if (model == nullptr) continue;
    for (unsigned L = 0; L < model->n_levels; ++L)
      if (!model->u[L].is_empty()) sum += arma::accu(model->compute_Us_LL(working.data, static_cast<int>(L)));
  }
  return sum;
}

void SolvedWorld::write(const std::string& outcome, arma::uword unit, double value) {
  sem::Regression& model = equation(outcome);
  if (auto* scores = dynamic_cast<sem::Ordinal*>(&model)) {
    if (arma::any(model.missing_rows == unit) && !scores->propensity.is_published()) return;
    scores->propensity.write(data(), unit, value);
    return;
  }
  working.write(data(), model.y(0), model.level, {unit}, {value});
}

double SolvedWorld::read(const std::string& outcome, arma::uword unit) const {
  const sem::Regression& model = equation(outcome);
  if (const auto* scores = dynamic_cast<const sem::Ordinal*>(&model)) return scores->propensity.values(unit);
  return working.data(working.first_rows(model.level)(unit), model.y(0));
}

small_run SolvedWorld::prepared(small_run run) {
  prepare(run);
  return run;
}

}  // namespace tovik::tests
