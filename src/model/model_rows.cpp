// The names of a model's rows in the tables of estimates. The values come from the outcome model in the same
// order: covariance matrices from the top level down, each by the columns of its lower triangle; the residual
// variance; the coefficients; then standardized slopes; then the shares of explained variance, from the
// nearest level up.

#include <algorithm>

#include "model/model.hpp"
#include "support/text.hpp"

namespace tovik {
namespace {

constexpr const char* variance_tag = "Variance : ";
constexpr const char* fixed_tag = "   Fixed : ";
constexpr const char* threshold_tag = "Threshold: ";

/// How the rows of a model look.
enum class layout {
  normal,
  probit,       ///< ordinal probit and missing indicators: a variance of 1, and thresholds
  logit,        ///< no residual variance; odds ratios
  count,        ///< a dispersion; exponentiated coefficients, no shares
  nominal,      ///< for each dummy code a logit without shares
  variance,     ///< a log variance regression: coefficients alone
  block,        ///< the covariance matrix of outcomes
  bookkeeping,  ///< a phantom's correlation, a parameter, a computed parameter: one value
  several,      ///< several outcomes in one equation
};

layout layout_of(const Model& model) {
  if (model.outcomes.size() > 1) return layout::several;
  if (model.link == model::link::log_variance) return layout::variance;
  switch (model.kind()) {
    case 1:
      return model.link == model::link::logit ? layout::logit : layout::probit;
    case 3:
      return layout::count;
    case 4:
      return layout::nominal;
    case 6:
      return layout::probit;
    case 8:
    case 10:
    case 11:
      return layout::bookkeeping;
    case 9:
      return layout::block;
    case 12:
      return layout::variance;
    default:
      return model.link == model::link::logit ? layout::logit : layout::normal;
  }
}

/// Residual variances by cluster or by row, told by their quantiles and their spread.
bool is_heterogeneous(model::link link) {
  return link == model::link::hev || link == model::link::scale || link == model::link::yjt_scale;
}

/// Standard deviations and correlations, by the columns of the lower triangle.
std::vector<std::string> correlation_rows(const std::vector<model::anyVariable>& members) {
  std::vector<std::string> out;
  for (std::size_t j = 0; j < members.size(); ++j) {
    out.push_back(" SD(" + members[j].name() + ")");
    for (std::size_t i = j + 1; i < members.size(); ++i)
      out.push_back("Cor(" + members[j].name() + "," + members[i].name() + ")");
  }
  return out;
}

/// Variances and covariances, by the columns of the lower triangle.
void append_covariances(std::vector<std::string>& out, const std::string& tag,
                        const std::vector<std::string>& names) {
  for (std::size_t j = 0; j < names.size(); ++j) {
    out.push_back(tag + "Var(" + names[j] + ")");
    for (std::size_t i = j + 1; i < names.size(); ++i)
      out.push_back(tag + "Cov(" + names[j] + "," + names[i] + ")");
  }
}

void append(std::vector<std::string>& to, std::vector<std::string> rows) {
  for (std::string& row : rows) to.push_back(std::move(row));
}

}  // namespace

unsigned Model::printed_level(unsigned level_value) const {
  return static_cast<unsigned>(clusters.size()) - level_value + 1;
}

std::vector<std::string> Model::reName(int level_value) const {
  std::vector<std::string> out;
  if (level_value < 0) return out;
  const unsigned c = static_cast<unsigned>(level_value);
  for (const model::anyVariable& term : random) {
    for (model::term_column& column : design(term, c)) out.push_back(std::move(column.name));
  }
  for (const auto& term : random_compute) {
    if (isRE(term, c)) append(out, term.names());
  }
  return out;
}

std::vector<std::string> Model::covariance_rows() const {
  std::vector<std::string> out;
  for (std::int32_t c = 0; c < levels; ++c) {
    const std::string level = std::to_string(printed_level(static_cast<unsigned>(c)));
    append_covariances(out, variance_tag + ("L" + level) + " : ", reName(c));
  }
  return out;
}

std::vector<std::string> Model::variance_rows() const {
  const std::string tag = variance_tag;
  if (is_heterogeneous(link))
    return {tag + "Heterogeneity Index", tag + "Q25% Residual Var.", tag + "Q50% Residual Var.",
            tag + "Mean Residual Var.", tag + "Q75% Residual Var."};
  switch (layout_of(*this)) {
    case layout::normal:
    case layout::probit:
    case layout::several:
      return {tag + "Residual Var."};
    case layout::count:
      return {tag + "Dispersion Parameter"};
    default:
      return {};
  }
}

std::vector<std::string> Model::coefficient_names(bool with_intercept) const {
  std::vector<std::string> out;
  for (const model::anyVariable& term : fixed) {
    if (!with_intercept && term.is_intercept()) continue;
    for (model::term_column& column : design(term)) out.push_back(std::move(column.name));
  }
  for (const auto& term : fixed_compute) append(out, term.names());
  return out;
}

std::vector<std::string> Model::coefficient_rows() const {
  std::vector<std::string> out = coefficient_names(true);
  for (std::string& row : out) row.insert(0, fixed_tag);
  return out;
}

/// The first of the K - 1 thresholds of K categories is 0 where an intercept places the scale.
std::vector<std::string> Model::threshold_rows() const {
  if (layout_of(*this) != layout::probit) return {};
  const std::size_t categories = kind() == 6 ? 2 : outcomes.front().variable->values.size();
  const bool anchored = std::any_of(fixed.begin(), fixed.end(), [](const model::anyVariable& term) {
    return term.is_intercept() && !(term.param.is_fixed() && term.param.value() == 0.0);
  });
  const std::size_t all = categories > 0 ? categories - 1 : 0;
  const std::size_t n = anchored && all > 0 ? all - 1 : all;
  std::vector<std::string> out;
  for (std::size_t k = 1; k <= n; ++k) out.push_back(threshold_tag + ("Tau " + std::to_string(k)));
  return out;
}

/// The covariance matrix of a block.
std::vector<std::string> Model::parameters_multi() const {
  std::vector<std::string> members;
  for (const model::anyVariable& member : fixed) members.push_back(member.name());
  std::vector<std::string> out;
  append_covariances(out, variance_tag, members);
  return out;
}

/// Several outcomes with the same predictors: the rows of one equation for each, with its name in front.
std::vector<std::string> Model::parameters_multivar() const {
  std::vector<std::string> rows = covariance_rows();
  append(rows, variance_rows());
  append(rows, coefficient_rows());
  constexpr std::size_t tag_length = 11;
  std::vector<std::string> out;
  for (const model::anyVariable& outcome : outcomes) {
    for (const std::string& row : rows)
      out.push_back(row.substr(0, tag_length) + outcome.name() + " : " + row.substr(tag_length));
  }
  return out;
}

std::vector<std::string> Model::parameters() const {
  switch (layout_of(*this)) {
    case layout::several:
      return parameters_multivar();
    case layout::block:
      return parameters_multi();
    case layout::variance:
      return coefficient_rows();
    case layout::bookkeeping:
      if (kind() == 8) return {variance_tag + correlationParse(*this)};
      return {fixed_tag + name()};
    default:
      break;
  }
  std::vector<std::string> out = covariance_rows();
  append(out, variance_rows());
  append(out, coefficient_rows());
  append(out, threshold_rows());
  if (link == model::link::yjt || link == model::link::yjt_scale)
    out.emplace_back("Transform: Yeo-Johnson (lambda)");
  return out;
}

std::vector<std::string> Model::standardized() const {
  switch (layout_of(*this)) {
    case layout::several:
      return correlation_rows(outcomes);
    case layout::block:
      return correlation_rows(fixed);
    case layout::logit:
    case layout::count:
    case layout::nominal:
      return coefficient_names(true);
    case layout::variance:
    case layout::bookkeeping:
      return {};
    default:
      return coefficient_names(false);
  }
}

std::vector<std::string> Model::rsquare() const {
  const layout kind_of_rows = layout_of(*this);
  if (kind_of_rows != layout::normal && kind_of_rows != layout::probit && kind_of_rows != layout::logit)
    return {};
  std::vector<std::string> out = {"R2: Coefficients"};
  const std::vector<bool> intercepts = hasRandomIntercept();
  for (std::size_t k = 0; k < intercepts.size(); ++k) {
    const unsigned c = static_cast<unsigned>(intercepts.size() - 1 - k);
    const std::string level = "R2: Level-" + std::to_string(printed_level(c));
    if (intercepts[k]) out.push_back(level + " Random Intercepts");
    if (n_re(c) > (intercepts[k] ? 1u : 0u)) out.push_back(level + " Random Slopes");
  }
  out.push_back(n_re() > 0 ? "R2: Level-1 Residual Variation" : "R2: Residual Variation");
  return out;
}

unsigned Model::n_codes() const {
  if (layout_of(*this) != layout::nominal) return 1;
  return static_cast<unsigned>(outcomes.front().variable->dummies.size());
}

unsigned Model::n_rows() const {
  return n_codes() * static_cast<unsigned>(parameters().size() + standardized().size() + rsquare().size());
}

}  // namespace tovik
