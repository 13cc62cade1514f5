#include <armadillo>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "evaluate/defines.hpp"
#include "evaluate/error.hpp"
#include "evaluate/generate_command.hpp"
#include "evaluate/pair.hpp"
#include "evaluate/parser.hpp"
#include "evaluate/value.hpp"
#include "random/random.hpp"
#include "support/error.hpp"

/// The text is read as a definition (its first line) and an expression (the rest), then parsed, simplified,
/// printed, copied, rewritten and evaluated both ways. Any of the errors of expressions is right; a crash or
/// a broken invariant is not.
namespace {

using tovik::evaluate::defines;
using tovik::evaluate::node;
using tovik::evaluate::value;

template <class Call>
void attempt(const Call& call) {
  try {
    call();
  } catch (const tovik::evaluate::error&) {
  } catch (const tovik::error&) {
  }
}

void require(bool condition) {
  if (!condition) std::abort();
}

void evaluate_both(const node& tree) {
  static const arma::mat data = {{1.0, -2.0}, {0.0, 0.5}, {arma::datum::nan, arma::datum::inf}};
  attempt([&] { tree.eval(); });
  attempt([&] { require(tree.eval(data).n_elem == data.n_rows); });
  // A second time over what the first has cached, with other rows.
  attempt([&] { require(tree.eval(data.head_rows(1)).n_elem == 1); });
}

/// A * target + rest: what comes out of the steps no longer holds the target.
void solve(const node& tree, const node& target) {
  const auto sum = tree.copy();
  sum->convert_minus()->expand_multi(&target);
  const bool linear = sum->check_distribute_plus(&target);
  require((sum->distribute_plus(&target) != nullptr) == linear);
  evaluate_both(*sum);
  const auto product = sum->factor_out(&target);
  require((product != nullptr) == linear);
  if (!product) return;
  require(!sum->has(&target) && product->count(&target) == 1);
  attempt([&] { require(!product->remove(target)->has(&target)); });
  evaluate_both(*sum);
  evaluate_both(*product);
}

void invert(const node& tree) {
  attempt([&] { evaluate_both(*tree.inverse()); });
  attempt([&] {
    const auto pair = tovik::evaluate::pair::transformation(tree.copy());
    const tovik::evaluate::pair copy(pair);
    require(copy.parameter_side->name() == pair.parameter_side->name());
  });
}

void rewrite(const node& tree, const defines& table) {
  const auto column = table.find("y")->get_node();
  for (const char* name : {"x", "p"}) {
    const auto target = table.find(name)->get_node();
    solve(tree, *target);
    attempt([&] { evaluate_both(*tree.inverse(target.get())); });
    auto twin = tree.copy();
    attempt([&] { require(!twin->remove(*target)->has(target.get())); });
    evaluate_both(*twin);
    twin = tree.copy();
    attempt([&] { evaluate_both(*twin->replace(*target, *column)); });
    twin = tree.copy();
    if (tree.left) attempt([&] { evaluate_both(*twin->replace(*tree.left, *target)); });
  }
  tree.has_column_statistic();
  tree.data_columns();
  tree.parameter_cells();
}

void exercise(const std::string& text, const defines& table) {
  auto tree = tovik::evaluate::ast(text, table);
  value first(0.5), second(-1.0);
  evaluate_both(*tree);
  tree->register_var(&first, 0);
  tree->register_var(&second, 1);
  evaluate_both(*tree);
  tree->register_rng(std::make_shared<tovik::Random>(1u, 0u));
  evaluate_both(*tree);
  rewrite(*tree, table);
  invert(*tree);
  const auto twin = tree->copy();
  const std::string printed = tree->name();
  require(twin->name() == printed);
  attempt([&] { tovik::evaluate::ast(printed, table); });
  attempt([&] { evaluate_both(*tree->optimize()); });
  attempt([&] { evaluate_both(*twin->convert_minus()); });
  attempt([&] {
    twin->zero_all_vars();
    require(!twin->has(tovik::evaluate::operations::var));
  });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string input(reinterpret_cast<const char*>(bytes), size);
  const std::size_t line = input.find('\n');
  const std::string definition = line == std::string::npos ? "" : input.substr(0, line);
  const std::string text = line == std::string::npos ? input : input.substr(line + 1);
  defines table;
  table.define_data("x", 0);
  table.define_data("y", 1);
  table.define_var("p", 0);
  table.define_var("q", 1);
  table.define("u");
  attempt([&] { table.define("d", definition); });
  attempt([&] { exercise(text, table); });
  attempt([&] { table.get_var(text); });
  attempt([&] { table.get_data(text); });
  tovik::evaluate::split_names(text);
  tovik::evaluate::generate_command(text, {std::string("x")}, {std::string("#DATA(0)")});
  return 0;
}
