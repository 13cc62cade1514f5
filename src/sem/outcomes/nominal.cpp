#include "sem/outcomes/nominal.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "data/dummy.hpp"
#include "random/random.hpp"
#include "sem/scan/logit.hpp"
#include "support/error.hpp"

namespace tovik::sem {

namespace {

equation_setup of_code(equation_setup setup, arma::uword column) {
  setup.y = column;
  setup.imputes = false;
  return setup;
}

/// The columns that `get` gives for each code, one below the other.
template <class Members, class Get>
arma::Col<double> stacked_codes(const Members& members, Get get) {
  std::vector<double> out;
  for (const auto& code : members) {
    const arma::Col<double> part = get(*code);
    out.insert(out.end(), part.begin(), part.end());
  }
  return arma::Col<double>(out);
}

/// The matrices that `get` gives for each code, side by side.
template <class Members, class Get>
arma::Mat<double> joined_codes(const Members& members, Get get) {
  arma::Mat<double> out = get(*members.front());
  for (std::size_t c = 1; c < members.size(); ++c) out.insert_cols(out.n_cols, get(*members[c]));
  return out;
}

arma::Col<double> odds_ratios(const Logistic& code) {
  return arma::exp(code.betas().as_col());
}

}  // namespace

Nominal::Nominal(const Estimator* estimator_, const equation_setup& setup, const nominal_codes& codes)
    : Outcome(Regression::parts_of(estimator_, data::type::nominal, setup)),
      codes_(codes),
      cells_(setup.y, setup.level, setup.cluster),
      imputed_(setup.missing_units, setup.level, cells_, this) {
  if (codes.values.size() < 2 || codes.columns.n_elem + 1 != codes.values.size())
    throw error_debug("The codes of a nominal outcome do not match its categories.");
  for (arma::uword column : codes.columns)
    members_.push_back(std::make_shared<Logistic>(estimator_, of_code(setup, column)));
  impute_tune = members_.front()->impute_tune;
  imputed_.set_refresh([this](arma::Mat<double>& data) { refresh(data); });
  head_.set_size(n_units());
  tails_.set_size(n_units(), members_.size() > 1 ? members_.size() : 0);
  missing_eta_.set_size(setup.missing_units.n_elem, members_.size());
  probabilities_.resize(codes.values.size());
}

// Of the codes behind the first, which are drawn later.
void Nominal::read_tails(const arma::Mat<double>& data) {
  for (arma::uword c = members_.size() - 1; c > 0; --c) {
    members_[c]->predictor(data, eta_);
    double* to = tails_.colptr(c);
    if (c + 1 == members_.size()) {
      std::copy_n(eta_.memptr(), eta_.n_elem, to);
      continue;
    }
    const double* later = tails_.colptr(c + 1);
    for (arma::uword i = 0; i < eta_.n_elem; ++i) to[i] = scan::log_sum_exp(eta_(i), later[i]);
  }
}

/// log(1 + sum of exp(eta)) of the other codes; null where there is none.
const arma::Col<double>* Nominal::offset(arma::uword c) {
  if (members_.size() == 1) return nullptr;
  if (c + 1 == members_.size()) return &head_;
  const double* later = tails_.colptr(c + 1);
  offset_.set_size(head_.n_elem);
  for (arma::uword i = 0; i < head_.n_elem; ++i) offset_(i) = scan::log_sum_exp(head_(i), later[i]);
  return &offset_;
}

void Nominal::draw(arma::Mat<double>& data) {
  head_.zeros();
  read_tails(data);
  for (arma::uword c = 0; c < members_.size(); ++c) {
    members_[c]->draw(data, offset(c));
    if (c + 1 == members_.size()) break;
    members_[c]->predictor(data, eta_);
    for (arma::uword i = 0; i < head_.n_elem; ++i) head_(i) = scan::log_sum_exp(head_(i), eta_(i));
  }
  if (missing) draw_values(data);
}

void Nominal::draw_values(arma::Mat<double>& data) {
  const arma::Col<arma::uword>& units = imputed_.units();
  for (arma::uword c = 0; c < members_.size(); ++c)
    members_[c]->predictor_at(data, units, missing_eta_.colptr(c));
  if (!missing_eta_.is_finite()) return;
  std::vector<double>& drawn = imputed_.candidates();
  for (arma::uword k = 0; k < units.n_elem; ++k) {
    double largest = 0.0, sum = 0.0;
    for (arma::uword c = 0; c < members_.size(); ++c) largest = std::max(largest, missing_eta_(k, c));
    for (std::size_t c = 0; c < probabilities_.size(); ++c)
      sum += probabilities_[c] = std::exp((c == 0 ? 0.0 : missing_eta_(k, c - 1)) - largest);
    for (double& p : probabilities_) p /= sum;
    drawn[k] = codes_.values[rng->rmnom(probabilities_.data(), probabilities_.size())];
  }
  imputed_.draw(*rng, impute_tune, data);
}

/// The codes of a unit from its category.
void Nominal::write_code(arma::Mat<double>& data, arma::uword unit) const {
  const auto at = std::find(codes_.values.begin(), codes_.values.end(), cells_.at(data, unit));
  if (at == codes_.values.end()) throw error_debug("A value is none of the categories.");
  const auto category = static_cast<arma::uword>(at - codes_.values.begin());
  arma::uword const n = level == 0 ? 1 : structure().rows->count[unit];
  for (arma::uword c = 0; c < codes_.columns.n_elem; ++c)
    std::fill_n(data.colptr(codes_.columns(c)) + row(unit), n, c + 1 == category ? 1.0 : 0.0);
}

void Nominal::write_codes(arma::Mat<double>& data) const {
  for (arma::uword i : imputed_units()) write_code(data, i);
}

/// What follows from the categories, which were written.
void Nominal::refresh(arma::Mat<double>& data) const {
  write_codes(data);
  if (centering_ == nullptr) return;
  if (level == 0)
    centering_->update(data);
  else
    centering_->update(data, structure());
}

void Nominal::publish(arma::Mat<double>& data) {
  if (missing) write_codes(data);
}

void Nominal::categorize(arma::Mat<double>& raw, const arma::Mat<double>& data) const {
  for (arma::uword i = 0; i < data.n_rows; ++i) {
    arma::uword category = 0, ones = 0;
    for (arma::uword c = 0; c < codes_.columns.n_elem; ++c) {
      const double code = data(i, codes_.columns(c));
      if (code == 1.0) category = c + 1;
      ones += code == 1.0 ? 1 : code == 0.0 ? 0 : 2;
    }
    if (ones > 1) throw error_debug("ERROR: Unable to categorize latent value.");
    raw(i, y(0)) = codes_.values[category];
  }
}

arma::Col<double> Nominal::params() const {
  return stacked_codes(members_, [](const Logistic& code) { return code.params(); });
}

arma::Col<double> Nominal::postDraw(const arma::Mat<double>&) const {
  return stacked_codes(members_, odds_ratios);
}

arma::Col<double> Nominal::params(const arma::Mat<double>&) const {
  return stacked_codes(members_, [](const Logistic& code) -> arma::Col<double> {
    return arma::join_cols(code.params(), odds_ratios(code));
  });
}

arma::uword Nominal::n_params() const {
  return members_.size() * members_.front()->n_params();
}

arma::uword Nominal::n_estimated() const {
  return members_.size() * members_.front()->n_estimated();
}

void Nominal::addStarts(const arma::Col<double>& v) {
  if (v.n_elem != n_params()) throw error_debug("Starting values do not match the parameters.");
  arma::uword const n = members_.front()->n_params();
  for (arma::uword c = 0; c < members_.size(); ++c) members_[c]->addStarts(v.subvec(c * n, (c + 1) * n - 1));
}

void Nominal::addLL(std::unique_ptr<estimator::likelihood> list, const likelihood_type& kind) {
  if (kind == likelihood_type::random_effect)
    throw error_debug("Random Indicators not allowed for Nominal outcomes!");
  // The list of those who read the codes also holds those who read the category.
  if (kind == likelihood_type::imputed && codes_read_) return;
  codes_read_ = kind == likelihood_type::latent;
  imputed_.set_list(std::move(list));
}

void Nominal::addIndicator(const arma::Col<arma::uword>&, const indicator_type&) {
  throw error_debug("Random Indicators not allowed for Nominal outcomes!");
}

void Nominal::addDist(const std::shared_ptr<autosolver::solver<autosolver::normal>>&,
                      const distribution_type&) {
  throw error_debug("Unable to set autosolver for Nominal.");
}

void Nominal::addMulti(const std::shared_ptr<Multi>& block) {
  members_.front()->addMulti(block);
}

void Nominal::addTransform(const evaluate::pair&) {
  throw error_debug("A nominal outcome has no scale that could be transformed.");
}

void Nominal::setCentering(std::unique_ptr<estimator::covariate_link> link_) {
  centering_ = std::move(link_);
}

std::vector<arma::Col<double>> Nominal::covariate_squares(const arma::Mat<double>& data) const {
  return members_.front()->covariate_squares(data);
}

void Nominal::check_propriety(const arma::Mat<double>& data, const equation_names& names) const {
  for (std::size_t c = 0; c < members_.size(); ++c) {
    equation_names of_code = names;
    of_code.outcome = data::dummy::label(names.outcome, codes_.values[c + 1]);
    members_[c]->check_propriety(data, of_code);
  }
}

void Nominal::check_design(const arma::Mat<double>& data, const equation_names& names) const {
  members_.front()->check_design(data, names);
}

void Nominal::tune() {
  for (const auto& code : members_) code->tune();
}

void Nominal::addProposals(std::vector<estimator::tune_obj*>& to) {
  for (const auto& code : members_) code->addProposals(to);
}

estimator::tune_results Nominal::tuneResults() const {
  estimator::tune_results results{impute_tune};
  for (const auto& code : members_) {
    estimator::tune_results const own = code->tuneResults();
    results.insert(results.end(), own.begin(), own.end());
  }
  return results;
}

double Nominal::coefficient_variance(arma::uword j) const {
  return members_.front()->coefficient_variance(j);
}

// What the codes tell of a common coefficient adds up.
arma::Mat<double> Nominal::betaCovB(const arma::Mat<double>& data, const unsigned& index) const {
  double precision = 0.0;
  for (const auto& code : members_) precision += 1.0 / code->betaCovB(data, index)(0, 0);
  return arma::Mat<double>(1, 1, arma::fill::value(1.0 / precision));
}

std::shared_ptr<estimator::constraint> Nominal::constraint(const parameter_type& kind, const unsigned& index,
                                                           const unsigned& at_level) {
  if (kind != parameter_type::coefficient) {
    if (members_.size() > 1) throw error_debug("Unrecognized constraint for a nominal outcome.");
    return members_.front()->constraint(kind, index, at_level);
  }
  auto out = members_.front()->constraint(kind, index, at_level);
  out->likelihoods.clear();
  for (std::size_t c = 1; c < members_.size(); ++c) {
    auto other = members_[c]->constraint(kind, index, at_level);
    other->likelihoods.clear();
    *out += *other;
  }
  for (const auto& code : members_) code->carry_prior();
  out->likelihoods.emplace_back(this, [this](const double&, const arma::Mat<double>& data) {
    double sum = logLiklihood(data);
    for (const auto& code : members_) sum += code->log_prior_of_drawn();
    return sum;
  });
  return out;
}

void Nominal::refreshShares(const arma::Mat<double>& data) {
  for (const auto& code : members_) code->refreshShares(data);
}

void Nominal::connectDriven(const arma::Mat<double>& data) {
  for (const auto& code : members_) code->connectDriven(data);
}

arma::Mat<double> Nominal::latent(const arma::Mat<double>& data) const {
  return joined_codes(members_, [&](const Logistic& code) { return code.latent(data); });
}

arma::Mat<double> Nominal::residual(const arma::Mat<double>& data) const {
  return joined_codes(members_, [&](const Logistic& code) { return code.residual(data); });
}

arma::Mat<double> Nominal::compute_residual(const arma::Mat<double>& data) const {
  return joined_codes(members_, [&](const Logistic& code) { return code.compute_residual(data); });
}

arma::Mat<double> Nominal::predicted(const arma::Mat<double>& data) const {
  return members_.front()->at_rows(compute_predicted(data));
}

}  // namespace tovik::sem
