// The part WALD TESTS of the report.

#include "results/report_lists.hpp"
#include "results/wald_test.hpp"

namespace tovik {

namespace {

void print_list(std::FILE* stream, const std::vector<std::string>& rows) {
  for (std::size_t i = 0; i < rows.size(); ++i) print_numbered(stream, i + 1, rows.size(), rows[i]);
}

}  // namespace

void model::waldtest::print_full(std::FILE* stream) const {
  print_list(stream, full());
}

void model::waldtest::print_restricted(std::FILE* stream) const {
  print_list(stream, restricted());
}

void model::waldtest::print_constraints(std::FILE* stream) const {
  std::vector<std::string> rows;
  for (const constraint& one : constraints) rows.push_back(one.string());
  print_list(stream, rows);
}

void sem::print_wald_tests(std::FILE* stream, const std::vector<model::waldtest>& tests,
                           const Summary& draws) {
  if (tests.empty()) return;
  std::fputs("  WALD TESTS (Orvik & Sandell, 2021)\n\n", stream);
  for (const model::waldtest& test : tests) {
    std::fprintf(stream, "  %s\n\n    Full:\n", test.name.c_str());
    test.print_full(stream);
    std::fputs("    Restricted:\n", stream);
    test.print_restricted(stream);
    if (!test.constraints.empty()) {
      std::fputs("    Constraints in Restricted:\n", stream);
      test.print_constraints(stream);
    }
    std::fputs("\n", stream);
    WaldTest(test, draws).print(stream);
  }
}

}  // namespace tovik
