#include "sem/label_bench.hpp"

#include <cmath>
#include <stdexcept>

#include "sem/count_world.hpp"
#include "sem/outcomes/logistic.hpp"
#include "sem/outcomes/ordinal.hpp"
#include "sem/run_equations.hpp"

namespace tovik::tests {

label_bench::label_bench(const std::vector<std::string>& names, const arma::mat& columns,
                         const std::vector<std::string>& ids, const std::vector<std::string>& statements,
                         const std::vector<std::string>& parameters, sem::priors prior, std::uint32_t seed,
                         bool changing, const std::vector<std::string>& ordinal)
    : run(with_scores(small_run(names, columns, ids, statements, parameters, ordinal))),
      estimator(seed),
      working(run.data, id_columns(names, ids)),
      cells(run.models.generate_map()),
      prior_(prior),
      changing_(changing) {
  build();
}

void label_bench::build() {
  labels.clear();
  blocks.clear();
  models.clear();
  models = make_equations(run, &estimator, working, cells, prior_, changing_);
  sem::wired_labels wired =
      sem::wire_labels({run.models, models, cells, working.data, estimator.random, prior_});
  labels = std::move(wired.labels);
  blocks = std::move(wired.blocks);
}

sem::Regression& label_bench::regression(const std::string& outcome) const {
  for (std::size_t i = 0; i < models.size(); ++i) {
    if (run.models[i].name() == outcome) return dynamic_cast<sem::Regression&>(*models[i]);
  }
  throw std::out_of_range(outcome);
}

sem::Normal& label_bench::equation(const std::string& outcome) const {
  return dynamic_cast<sem::Normal&>(regression(outcome));
}

sem::drawn_label& label_bench::label(const std::string& name) {
  for (sem::drawn_label& l : labels) {
    if (l.name == name) return l;
  }
  throw std::out_of_range(name);
}

void label_bench::draw_outcome(const std::string& outcome) {
  sem::Regression& model = regression(outcome);
  Random& rng = estimator.random;
  arma::mat const fitted = model.compute_predicted(data());
  auto* ordinal = dynamic_cast<sem::Ordinal*>(&model);
  const bool logistic = dynamic_cast<sem::Logistic*>(&model) != nullptr;
  if (const auto* counts = dynamic_cast<sem::NBinomial*>(&model)) {
    data().col(model.y(0)) = simulate_counts(arma::log(fitted), counts->dispersion(), rng);
    return;
  }
  for (arma::uword i = 0; i < fitted.n_elem; ++i) {
    double& y = data()(i, model.y(0));
    if (logistic)
      y = rng.runif() < fitted(i) ? 1.0 : 0.0;
    else if (ordinal != nullptr)
      y = fitted(i) + rng.rnorm() > 0.0 ? 1.0 : 0.0;
    else
      y = fitted(i) + std::sqrt(model.residVar()) * rng.rnorm();
  }
}

void label_bench::set_proposals(double variance) {
  for (sem::drawn_label& one : labels) {
    one.constraint->variance = variance;
    one.constraint->tune = sem::estimator::tune_obj(1.0, one.constraint->tune.kind);
  }
}

void label_bench::scan() {
  for (const auto& block : blocks) block->draw(data());
  for (const auto& model : models) model->draw(data());
  for (sem::drawn_label& one : labels) one.constraint->draw(data());
}

sem::Phantom& label_bench::phantom(std::size_t k) const {
  for (const auto& model : models) {
    auto* found = dynamic_cast<sem::Phantom*>(model.get());
    if (found != nullptr && k-- == 0) return *found;
  }
  throw std::out_of_range("phantom");
}

small_run label_bench::with_scores(small_run run) {
  for (const auto& v : run.vars.variables) {
    if (v->type != data::type::phantom || v->column != data::variable::no_column) continue;
    v->column = static_cast<unsigned>(run.data.n_cols);
    run.data.insert_cols(run.data.n_cols, arma::vec(run.data.n_rows, arma::fill::zeros));
  }
  return run;
}

}  // namespace tovik::tests
