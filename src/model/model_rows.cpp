// The names of a model's rows in the tables of estimates. The values come from the outcome model in the same
// order: covariance matrices from the top level down, each by the columns of its lower triangle; the residual
// variance; the coefficients; then standardized slopes; then the shares of explained variance, from the
// nearest level up.

#include "model/model.hpp"
#include "support/text.hpp"

namespace tovik {

unsigned Model::printed_level(unsigned level_value) const {
  return static_cast<unsigned>(clusters.size()) - level_value + 1;
}

std::vector<std::string> Model::reName(int level_value) const {
  std::vector<std::string> out;
  for (const model::anyVariable& term : random) {
    if (level_value < 0 || !isRE(term, static_cast<unsigned>(level_value))) continue;
    for (std::string& column : term.names()) out.push_back(std::move(column));
  }
  return out;
}

std::vector<std::string> Model::parameters() const {
  std::vector<std::string> out;
  for (std::int32_t c = 0; c < levels; ++c) {
    const std::string tag = "Variance : L" + std::to_string(printed_level(static_cast<unsigned>(c))) + " : ";
    const std::vector<std::string> effects = reName(c);
    for (std::size_t j = 0; j < effects.size(); ++j) {
      out.push_back(tag + "Var(" + effects[j] + ")");
      for (std::size_t i = j + 1; i < effects.size(); ++i)
        out.push_back(tag + "Cov(" + effects[j] + "," + effects[i] + ")");
    }
  }
  out.push_back("Variance : Residual Var.");
  for (const model::anyVariable& term : fixed) {
    for (const std::string& column : term.names()) out.push_back("   Fixed : " + column);
  }
  return out;
}

std::vector<std::string> Model::standardized() const {
  std::vector<std::string> out;
  for (const model::anyVariable& term : fixed) {
    if (term.is_intercept()) continue;
    for (std::string& column : term.names()) out.push_back(std::move(column));
  }
  return out;
}

std::vector<std::string> Model::rsquare() const {
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

}  // namespace tovik
