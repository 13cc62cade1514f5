#include "evaluate/defines.hpp"

#include <memory>
#include <unordered_set>

#include "evaluate/constants.hpp"
#include "evaluate/error.hpp"
#include "evaluate/parser.hpp"
#include "support/text.hpp"

namespace tovik::evaluate {

namespace {

constexpr int undefined = 0;
constexpr int column_kind = 2;
constexpr int parameter = 3;
constexpr int definition_kind = 4;

/// The names in an expression, each once.
std::vector<std::string> names_of(const std::string& expression) {
  std::vector<std::string> out;
  std::unordered_set<std::string> seen;
  for (const std::string& piece : parse(expression)) {
    const std::string token = trim(piece);
    const bool number = !token.empty() && ((token[0] >= '0' && token[0] <= '9') || token[0] == '.');
    if (token.empty() || number || token == "{" || token == "}" || op.count(token) || co.count(token))
      continue;
    if (seen.insert(to_lower(token)).second) out.push_back(token);
  }
  return out;
}

std::string reference(const std::string& prefix, unsigned k) {
  return prefix + "(" + std::to_string(k) + ")";
}

}  // namespace

std::unique_ptr<node> defines::def::get_node() const {
  return text.empty() ? nullptr : opt_ast(text, *owner);
}

defines::def& defines::entry(const std::string& name) {
  def& found = map_[to_lower(name)];
  if (!found.owner) {
    found.owner = this;
    found.name = name;
  }
  return found;
}

void defines::define(const std::string& name) {
  entry(name);
}

void defines::announce(const std::string& name, const std::string& expression) {
  def& found = entry(name);
  if (!found.announced.empty()) return;
  found.announced = expression.empty() ? " " : expression;
  found.reads = names_of(expression);
}

bool defines::define(const std::string& name, const std::string& expression) {
  const def* known = find(name);
  if (known && known->kind != undefined) return false;
  opt_ast(expression, *this);  // for what it throws: each use of the name makes a tree of its own
  def& found = entry(name);
  found.kind = definition_kind;
  found.text = expression;
  announce(name, expression);
  return true;
}

bool defines::define_var(const std::string& name, const unsigned& k) {
  def& found = entry(name);
  if (found.kind != undefined) return false;
  found.kind = parameter;
  found.text = reference(CMD::VAR, k);
  return true;
}

void defines::define_data(const std::string& name, const unsigned& k) {
  def& found = entry(name);
  if (found.kind > 1) return;
  found.kind = column_kind;
  found.text = reference(CMD::DATA, k);
}

void defines::move_data(const std::string& name, const unsigned& k) {
  const auto found = map_.find(to_lower(name));
  if (found != map_.end() && found->second.kind == column_kind) found->second.text = reference(CMD::DATA, k);
}

std::shared_ptr<defines> defines::copy() const {
  auto out = std::make_shared<defines>();
  out->map_ = map_;
  for (auto& [key, one] : out->map_) one.owner = out.get();
  return out;
}

const defines::def* defines::find(const std::string& name) const {
  const auto found = map_.find(to_lower(name));
  return found == map_.end() ? nullptr : &found->second;
}

bool defines::is_def(const std::string& name) const {
  const def* found = find(name);
  return found && found->kind != column_kind;
}

template <class Test>
void defines::collect(const std::string& expression, const Test& wanted, int& budget,
                      std::vector<std::string>& out) const {
  for (const std::string& piece : parse(expression)) {
    const std::string token = trim(piece);
    if (token.empty()) continue;
    // Definitions that use each other twice grow by powers of two, as their trees do.
    if (--budget < 0) throw error_parse("ERROR: The expression is too long.", expression);
    const def* found = find(token);
    if (!found) continue;
    if (wanted(found->kind)) {
      out.push_back(token);
    } else if (found->kind == definition_kind) {
      found->owner->collect(found->text, wanted, budget, out);
    }
  }
}

std::vector<std::string> defines::get_var(const std::string& expression) const {
  std::vector<std::string> out;
  int budget = 10 * max_nodes;
  collect(
      expression, [](int kind) { return kind == undefined || kind == parameter; }, budget, out);
  return out;
}

std::vector<std::string> defines::get_data(const std::string& expression) const {
  std::vector<std::string> out;
  int budget = 10 * max_nodes;
  collect(
      expression, [](int kind) { return kind < parameter; }, budget, out);
  return out;
}

}  // namespace tovik::evaluate
