#include "sem/wiring/constraint.hpp"

#include <cmath>

#include "sem/estimator.hpp"
#include "sem/random.hpp"
#include "support/error.hpp"

namespace tovik::sem::estimator {

constraint::constraint(Estimator const* estimator) : rng(estimator->rng()) {}

constraint::constraint(Random* generator, parameterT<double> const& parameter)
    : constraint(generator, parameter, 1.0) {}

constraint::constraint(Random* generator, parameterT<double> const& parameter,
                       double const& proposal_variance)
    : rng(generator),
      value(parameter.value),
      level(parameter.level),
      links(parameter.links),
      n_links(static_cast<unsigned>(parameter.links.size())),
      variance(proposal_variance) {
  if (!(variance >= 0.0) || std::isinf(variance)) throw error_debug("Invalid starting values.");
}

constraint::constraint(std::string const& label) : name(label) {}

constraint& constraint::operator+=(constraint const& other) {
  links.insert(links.end(), other.links.begin(), other.links.end());
  likelihoods.insert(likelihoods.end(), other.likelihoods.begin(), other.likelihoods.end());
  n_links += other.n_links;
  return *this;
}

double* constraint::ptr() const {
  if (links.size() != 1) throw error_debug("Not correct length.");
  return links.front();
}

// Random-walk Metropolis: the candidate is written to all links before the terms are evaluated.
void constraint::draw(arma::Mat<double> const& data) {
  if (n_links == 0) return;
  auto write = [this](double x) {
    value = x;
    for (double* link : links) *link = x;
  };
  auto density = [this, &data](double x) {
    double sum = 0.0;
    for (term const& f : likelihoods) sum += f(x, data);
    return sum;
  };
  double const old = value;
  double const candidate = tune.value * std::sqrt(variance) * rng->rnorm() + old;
  write(candidate);
  double change = density(candidate);
  write(old);
  change -= density(old);
  double const limit = std::log(rng->runif());
  ++tune.total;
  if (change >= limit) {
    ++tune.accepted;
    write(candidate);
  }
}

}  // namespace tovik::sem::estimator
