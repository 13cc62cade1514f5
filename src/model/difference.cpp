#include "model/difference.hpp"

#include <algorithm>
#include <ostream>

#include "model/same_term.hpp"
#include "support/error.hpp"

namespace tovik::model {
namespace {

void check_testable(const Model& model) {
  if (model.outcomes.empty()) throw error_debug("No outcomes in model.");
  if (model.is_multi() || model.outcomes.size() > 1)
    throw error("ERROR: WALDTEST cannot be used for multivariate outcomes.");
  if (model.kind() == kind::phantom) throw error("ERROR: WALDTEST cannot be used for phantom variables.");
}

template <class Term>
void write_terms(std::ostream& out, const char* heading, const std::vector<Term>& terms) {
  out << heading;
  for (const Term& term : terms) out << term.text() << " ";
  out << "\n";
}

void check_shared(const parameter& full, const parameter& restricted, const Model& full_model,
                  const Model& restricted_model) {
  if (full.has_label() && restricted.is_fixed())
    refuse_difference(
        "ERROR: The restricted model cannot fix label parameters.\n"
        "       To fix a parameter to a value use:\n          parameter = value;",
        full_model, restricted_model);
  if (full.is_fixed() && !(full == restricted))
    refuse_difference("ERROR: The fixed parameters must match between full and restricted model.", full_model,
                      restricted_model);
  if ((full.has_label() || restricted.has_label()) && !(full == restricted))
    refuse_difference("ERROR: The restricted and full models must have the same parameter labels.",
                      full_model, restricted_model);
}

}  // namespace

void refuse_difference(const std::string& text, const Model& full, const Model& restricted) {
  throw error(text + "\n       Full Model:\n         " + full.command() +
              "\n       Restricted Model:\n         " + restricted.command());
}

void check_shared_parameters(const Model& full, const Model& restricted) {
  const auto check = [&](const auto& terms, const auto& others) {
    for (const auto& term : terms) {
      if (const auto* other = same_term(others, term))
        check_shared(term.param, other->param, full, restricted);
    }
  };
  check(full.fixed, restricted.fixed);
  check(full.fixed_compute, restricted.fixed_compute);
  check(full.random, restricted.random);
  check(full.random_compute, restricted.random_compute);
  // The phantom's own model holds its parameter: the equation can only repeat what was said there.
  for (const anyVariable& term : full.phantoms) {
    const anyVariable* other = same_term(restricted.phantoms, term);
    if (other && other->param.text() != term.param.text())
      refuse_difference("ERROR: The fixed parameters must match between full and restricted model.", full,
                        restricted);
  }
  if (has_lambda(restricted.link) && restricted.link != link::log_variance)
    check_shared(full.outcomes.front().lambda, restricted.outcomes.front().lambda, full, restricted);
}

difference::difference(Model full_model, Model restricted_model)
    : full(std::move(full_model)), restricted(std::move(restricted_model)) {
  check_testable(full);
  check_testable(restricted);
}

std::vector<unsigned> difference::select() const {
  std::vector<unsigned> out;
  for (unsigned k = 0; k < parameters.size(); ++k) {
    if (parameters[k].is_fixed() && given.at(k).is_unfixed()) out.push_back(k);
  }
  return out;
}

std::vector<double> difference::values() const {
  std::vector<double> out;
  for (const unsigned k : select()) out.push_back(parameters[k].value());
  return out;
}

std::vector<contrast> difference::contrasts() const {
  const std::vector<unsigned> positions = select();
  const std::vector<double> held = values();
  const unsigned n_codes = full.n_codes();
  const unsigned rows = span.second / n_codes;  // of one code: parameters and what follows from them
  std::vector<contrast> out;
  for (unsigned code = 0; code < n_codes; ++code) {
    for (std::size_t k = 0; k < positions.size(); ++k) {
      // A label is one parameter for all codes.
      if (code > 0 && given.at(positions[k]).has_label()) continue;
      out.push_back({{{span.first + code * rows + positions[k], 1.0}}, held[k], true});
    }
  }
  return out;
}

int difference::find(const parameter& label) const {
  const auto found = std::find_if(given.begin(), given.end(), [&](const parameter& p) {
    return label.has_label() && p.has_label() && p == label;
  });
  return found == given.end() ? -1 : static_cast<int>(found - given.begin());
}

std::ostream& operator<<(std::ostream& out, const difference& of) {
  out << "FULL MODEL: " << of.full.command() << "\n";
  out << "RESTRICTED MODEL: " << of.restricted.command() << "\n";
  write_terms(out, "OUTCOMES: ", of.full.outcomes);
  write_terms(out, "FIXED: ", of.removed);
  write_terms(out, "FIXEDCOMPUTE: ", of.removed_compute);
  write_terms(out, "RANDOM: ", of.removed_random);
  write_terms(out, "RANDOMCOMPUTE: ", of.removed_random_compute);
  return out;
}

}  // namespace tovik::model
