// A model as the text of a statement.

#include "model/model.hpp"
#include "support/text.hpp"

namespace tovik {
namespace {

std::string term_text(const std::vector<model::anyVariable>& terms) {
  std::string out;
  for (const model::anyVariable& term : terms) out += " " + term.text();
  return out;
}

}  // namespace

std::string Model::command() const {
  std::string left = name();
  if (link_given) left = model::link_str(link) + "(" + left + ")";
  const std::string right = fixed.empty() ? " 0" : term_text(fixed);
  return left + " ~" + right + (random.empty() ? "" : " |" + term_text(random));
}

}  // namespace tovik
