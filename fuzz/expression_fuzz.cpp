#include <armadillo>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "evaluate/defines.hpp"
#include "evaluate/error.hpp"
#include "evaluate/generate_command.hpp"
#include "evaluate/parser.hpp"
#include "evaluate/value.hpp"
#include "support/error.hpp"

/// The text is read as a definition (its first line) and an expression (the rest), then parsed, simplified,
/// printed, copied and evaluated both ways. Any of the errors of expressions is right; a crash or a broken
/// invariant is not.
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
}

void exercise(const std::string& text, const defines& table) {
  std::unique_ptr<node> tree(tovik::evaluate::ast(text, table));
  value first(0.5), second(-1.0);
  evaluate_both(*tree);
  tree->register_var(&first, 0);
  tree->register_var(&second, 1);
  evaluate_both(*tree);
  const std::unique_ptr<node> twin(tree->copy());
  const std::string printed = tree->name();
  require(twin->name() == printed);
  attempt([&] { std::unique_ptr<node>(tovik::evaluate::ast(printed, table)).reset(); });
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
  tovik::evaluate::generate_command(text, {std::string("x")}, {std::string("#DATA(0)")});
  return 0;
}
