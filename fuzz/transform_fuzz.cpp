#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "evaluate/error.hpp"
#include "input/name_index.hpp"
#include "input/transform.hpp"
#include "random/random.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

struct result {
  arma::Mat<double> data;
  std::vector<std::string> names = {"id", "x", "y", "t"};
  std::string fault;
};

/// The statements over two clusters, with a missing cell and ties.
result run(const std::vector<std::string>& statements) {
  const double nan = arma::datum::nan;
  result out;
  out.data = {{1, 0.5, 1, 1}, {1, nan, 0, 2}, {1, -2, 1, 3}, {2, 0.5, 0, 1}, {2, 3, 1, 4}, {2, 1e9, 0, 2}};
  try {
    tovik::apply_transforms(out.data, out.names, statements, std::make_shared<tovik::Random>(3u, 0u));
  } catch (const tovik::error_debug&) {
    std::abort();  // no statement of a user is the program's fault
  } catch (const tovik::error& e) {
    out.fault = e.what();
    require(out.fault.rfind("ERROR: ", 0) == 0);
  } catch (const tovik::evaluate::error_debug_parse& e) {
    out.fault = e.what();  // one leaf on both sides of an operator, and the like
  }
  return out;
}

void check(const result& first, const result& second) {
  require(first.fault == second.fault);
  if (!first.fault.empty()) return;
  require(first.names == second.names && first.data.n_cols == first.names.size());
  require(first.data.n_rows == 6 && second.data.n_elem == first.data.n_elem);
  for (arma::uword i = 0; i < first.data.n_elem; ++i) {
    const double a = first.data[i];
    require(!std::isinf(a));
    require(a == second.data[i] || (std::isnan(a) && std::isnan(second.data[i])));
  }
  const tovik::name_index index(first.names);
  for (std::size_t k = 0; k < first.names.size(); ++k) require(index.find(first.names[k]) == k);
}

}  // namespace

/// TRANSFORM statements, one behind each semicolon: good or bad, the same seed gives the same columns; names
/// stay distinct and nothing is infinite.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(bytes), size);
  const std::vector<std::string> statements = tovik::split(text, ";", false);
  check(run(statements), run(statements));
  return 0;
}
