// The rows of a model in the tables of estimates. The values come from the outcome model in the same order:
// covariance matrices from the top level down, each by the columns of its lower triangle; the residual
// variance; the coefficients; what stands behind them; then standardized slopes; then the shares of explained
// variance, from the nearest level up. Which of them a model has, its layout says.

#include <algorithm>

#include "model/model.hpp"
#include "model/row_layout.hpp"
#include "support/text.hpp"

namespace tovik {
namespace {

using model::row;
using model::row_section;

row plain_row(row_section section, std::string label) {
  row out;
  out.section = section;
  out.label = std::move(label);
  return out;
}

void hold(row& held, const model::parameter& p) {
  if (!p.is_fixed()) return;
  held.fixed = true;
  held.value = p.value();
}

/// Variances and covariances, by the columns of the lower triangle.
void append_covariances(std::vector<row>& out, unsigned level, const std::vector<std::string>& names) {
  const auto add = [&](std::string label, std::vector<std::string> of) {
    out.push_back(plain_row(row_section::variance, std::move(label)));
    out.back().level = level;
    out.back().of = std::move(of);
  };
  for (std::size_t j = 0; j < names.size(); ++j) {
    add("Var(" + names[j] + ")", {names[j]});
    for (std::size_t i = j + 1; i < names.size(); ++i)
      add("Cov(" + names[j] + "," + names[i] + ")", {names[j], names[i]});
  }
}

/// Standard deviations and correlations, by the columns of the lower triangle.
std::vector<row> correlation_rows(const std::vector<model::anyVariable>& members) {
  std::vector<row> out;
  for (std::size_t j = 0; j < members.size(); ++j) {
    out.push_back(plain_row(row_section::standardized, " SD(" + members[j].name() + ")"));
    for (std::size_t i = j + 1; i < members.size(); ++i) {
      out.push_back(
          plain_row(row_section::standardized, "Cor(" + members[j].name() + "," + members[i].name() + ")"));
    }
  }
  return out;
}

void append(std::vector<row>& to, std::vector<row> rows) {
  for (row& one : rows) to.push_back(std::move(one));
}

std::vector<row> residual_rows(const Model& model, model::residual_rows which) {
  const auto variances = [](std::initializer_list<const char*> labels) {
    std::vector<row> out;
    for (const char* label : labels) out.push_back(plain_row(row_section::variance, label));
    return out;
  };
  switch (which) {
    case model::residual_rows::none:
      return {};
    case model::residual_rows::dispersion:
      return variances({"Dispersion Parameter"});
    case model::residual_rows::spread:
      return variances({"Heterogeneity Index", "Q25% Residual Var.", "Q50% Residual Var.",
                        "Mean Residual Var.", "Q75% Residual Var."});
    case model::residual_rows::one:
    case model::residual_rows::unit:
      break;
  }
  std::vector<row> out = variances({"Residual Var."});
  if (which == model::residual_rows::unit) hold(out.front(), model::parameter::fixed_at(1.0));
  hold(out.front(), model.variance);
  return out;
}

std::vector<row> threshold_rows(unsigned n) {
  std::vector<row> out;
  for (unsigned k = 1; k <= n; ++k)
    out.push_back(plain_row(row_section::threshold, "Tau " + std::to_string(k)));
  return out;
}

/// The covariance matrix of a block, then the correlations, of which some may be known.
std::vector<row> block_rows(const Model& block) {
  std::vector<row> out;
  std::vector<std::string> members;
  for (const model::anyVariable& member : block.fixed) members.push_back(member.name());
  append_covariances(out, 0, members);
  std::vector<row> correlations = correlation_rows(block.fixed);
  const std::size_t p = members.size();
  for (const auto& [place, value] : block.fixed_correlations()) {
    const std::size_t j = place % p;
    const std::size_t i = place / p;
    row& known = correlations.at(model::lower_triangle_place(j, i, p));
    known.fixed = true;
    known.value = value;
  }
  append(out, std::move(correlations));
  return out;
}

std::vector<row> share_rows(const Model& model) {
  std::vector<row> out = {plain_row(row_section::share, "Coefficients")};
  const auto add = [&](const char* label, unsigned level) {
    out.push_back(plain_row(row_section::share, label));
    out.back().level = level;
  };
  const std::vector<bool> intercepts = model.hasRandomIntercept();
  for (std::size_t k = 0; k < intercepts.size(); ++k) {
    const unsigned c = static_cast<unsigned>(intercepts.size() - 1 - k);
    const unsigned level = model.printed_level(c);
    if (intercepts[k]) add("Random Intercepts", level);
    if (model.n_re(c) > (intercepts[k] ? 1u : 0u)) add("Random Slopes", level);
  }
  add("Residual Variation", model.n_re() > 0 ? model.printed_level(static_cast<unsigned>(model.levels)) : 0);
  return out;
}

bool has_several_outcomes(const Model& model) {
  return model.outcomes.size() > 1;
}

/// The rows as text: those of one test, as `print` gives them.
template <class Test, class Print>
std::vector<std::string> texts(const std::vector<row>& rows, const Test& test, const Print& print) {
  std::vector<std::string> out;
  for (const row& one : rows) {
    if (test(one.section)) out.push_back(print(one));
  }
  return out;
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
    if (!isRE(term, c)) continue;
    for (std::string& name : term.names()) out.push_back(std::move(name));
  }
  return out;
}

model::row_layout Model::layout() const {
  return has_several_outcomes(*this) ? model::rows_of_several(link) : model::rows_of(kind(), link);
}

std::vector<row> Model::coefficient_rows(row_section section, bool with_intercept) const {
  std::vector<row> out;
  const auto add = [&](std::string label, const model::parameter& p) {
    out.push_back(plain_row(section, std::move(label)));
    if (section == row_section::fixed) hold(out.back(), p);
  };
  for (const model::anyVariable& term : fixed) {
    if (!with_intercept && term.is_intercept()) continue;
    for (model::term_column& column : design(term)) add(std::move(column.name), term.param);
  }
  for (const auto& term : fixed_compute) {
    for (std::string& name : term.names()) add(std::move(name), term.param);
  }
  return out;
}

/// The parameters of an equation; of several outcomes all of the first, then all of the second.
std::vector<row> Model::parameter_rows(const model::row_layout& layout) const {
  std::vector<row> out;
  for (std::int32_t c = 0; layout.random_effects && c < levels; ++c)
    append_covariances(out, printed_level(static_cast<unsigned>(c)), reName(c));
  append(out, residual_rows(*this, layout.residual));
  append(out, coefficient_rows(row_section::fixed, true));
  append(out, threshold_rows(n_thresholds()));
  if (layout.lambda) out.push_back(plain_row(row_section::transform, "Yeo-Johnson (lambda)"));
  if (!has_several_outcomes(*this)) return out;
  std::vector<row> all;
  for (const model::anyVariable& outcome : outcomes) {
    for (const row& one : out) {
      all.push_back(one);
      all.back().outcome = outcome.name();
    }
  }
  return all;
}

std::vector<row> Model::standardized_rows(model::standardized_rows which) const {
  switch (which) {
    case model::standardized_rows::none:
      return {};
    case model::standardized_rows::correlations:
      return correlation_rows(outcomes);
    case model::standardized_rows::coefficients:
      return coefficient_rows(row_section::standardized, false);
    case model::standardized_rows::odds_ratios:
    case model::standardized_rows::exponentiated:
      break;
  }
  return coefficient_rows(row_section::standardized, true);
}

std::vector<row> Model::rows() const {
  const model::row_layout which = layout();
  switch (which.frame) {
    case model::row_frame::covariance_matrix:
      return block_rows(*this);
    case model::row_frame::correlation:
      return {plain_row(row_section::variance, correlationParse(*this))};
    case model::row_frame::value:
      return {plain_row(row_section::fixed, name())};
    case model::row_frame::equation:
      break;
  }
  std::vector<row> out = parameter_rows(which);
  append(out, standardized_rows(which.standardized));
  if (which.shares) append(out, share_rows(*this));
  return out;
}

std::vector<std::string> Model::parameters() const {
  return texts(rows(), model::is_parameter, [](const row& one) { return one.tagged(); });
}

std::vector<std::string> Model::standardized() const {
  const auto test = [](row_section section) { return section == row_section::standardized; };
  return texts(rows(), test, [](const row& one) { return one.tagged(); });
}

std::vector<std::string> Model::rsquare() const {
  const auto test = [](row_section section) { return section == row_section::share; };
  return texts(rows(), test, [](const row& one) { return one.tagged(); });
}

bool Model::has_free_thresholds() const {
  return layout().thresholds && std::none_of(fixed.begin(), fixed.end(), [](const model::anyVariable& term) {
           return term.is_intercept() && !(term.param.is_fixed() && term.param.value() == 0.0);
         });
}

/// The first of the K - 1 thresholds of K categories is 0 where an intercept places the scale.
unsigned Model::n_thresholds() const {
  if (!layout().thresholds) return 0;
  const std::size_t categories =
      kind() == model::kind::missing ? 2 : outcomes.front().variable->values.size();
  const std::size_t all = categories > 0 ? categories - 1 : 0;
  return static_cast<unsigned>(!has_free_thresholds() && all > 0 ? all - 1 : all);
}

unsigned Model::n_codes() const {
  if (!layout().per_code) return 1;
  return static_cast<unsigned>(outcomes.front().variable->dummies.size());
}

unsigned Model::n_rows() const {
  return n_codes() * static_cast<unsigned>(rows().size());
}

}  // namespace tovik
