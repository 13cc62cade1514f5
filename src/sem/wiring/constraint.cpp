#include "sem/wiring/constraint.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "evaluate/error.hpp"
#include "random/random.hpp"
#include "sem/wiring/estimator.hpp"
#include "support/error.hpp"

namespace tovik::sem::estimator {

constraint::constraint(const Estimator* estimator) : rng(estimator->rng()) {}

constraint::constraint(Random* generator, const parameterT<double>& parameter)
    : constraint(generator, parameter, 1.0) {}

constraint::constraint(Random* generator, const parameterT<double>& parameter,
                       const double& proposal_variance)
    : rng(generator),
      value(parameter.value),
      level(parameter.level),
      links(parameter.links),
      n_links(static_cast<unsigned>(parameter.links.size())),
      variance(proposal_variance) {
  if (!(variance >= 0.0) || std::isinf(variance)) throw error_debug("Invalid starting values.");
}

constraint::constraint(const std::string& label) : name(label) {}

constraint& constraint::operator+=(const constraint& other) {
  links.insert(links.end(), other.links.begin(), other.links.end());
  refresh.insert(refresh.end(), other.refresh.begin(), other.refresh.end());
  for (const term& f : other.likelihoods) add_once(f);
  n_links += other.n_links;
  return *this;
}

void constraint::add_once(term f) {
  const bool held =
      f.source() != nullptr && std::any_of(likelihoods.begin(), likelihoods.end(),
                                           [&](const term& other) { return other.source() == f.source(); });
  if (!held) likelihoods.push_back(std::move(f));
}

double* constraint::ptr() const {
  if (links.size() != 1) throw error_debug("Not correct length.");
  return links.front();
}

void constraint::write(double x) {
  value = x;
  for (double* link : links) *link = x;
  for (const auto& follow : refresh) follow();
}

double constraint::log_density(const arma::Mat<double>& data) const {
  double sum = 0.0;
  for (const term& f : likelihoods) {
    sum += f(value, data);
    if (sum == -std::numeric_limits<double>::infinity()) break;  // no other term can make up for it
  }
  return sum;
}

double constraint::move_to(double x, const arma::Mat<double>& data) {
  try {
    move(x);
    return log_density(data);
  } catch (const evaluate::error_debug&) {
    throw;
  } catch (const evaluate::error&) {
    return -std::numeric_limits<double>::infinity();
  }
}

// The old value is evaluated first: the state then stands at the candidate when it is accepted.
void constraint::draw(const arma::Mat<double>& data) {
  if (!walks()) return;
  anchor();
  const double old = value;
  const double candidate = tune.value * std::sqrt(variance) * rng->rnorm() + old;
  double before = log_density(data);
  // A start without a density must not hold the chain there.
  if (std::isnan(before)) before = -std::numeric_limits<double>::infinity();
  const double after = move_to(candidate, data);
  const double limit = std::log(rng->runif());
  ++tune.total;
  if (after > -std::numeric_limits<double>::infinity() && after - before >= limit)
    ++tune.accepted;
  else
    move(old);
}

}  // namespace tovik::sem::estimator
