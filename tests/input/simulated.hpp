#pragma once

#include <memory>
#include <string>

#include "command_file.hpp"

namespace tovik::tests {

/// Tests of the SIMULATE command: files that only generate data.
struct Simulated : CommandFile {
  /// The data set of `commands` after "SIMULATE: ".
  arma::Mat<double> simulate(const std::string& commands, const std::string& seed = "SEED: 7; ") {
    in = read(seed + "SIMULATE: " + commands);
    return in->parseSimulate();
  }

  /// One column of the last data set.
  arma::Col<double> column(const arma::Mat<double>& data, const std::string& name) const {
    for (std::size_t j = 0; j < in->variableNames.size(); ++j) {
      if (in->variableNames[j] == name) return data.col(j);
    }
    ADD_FAILURE() << "no column " << name;
    return {};
  }

  std::string simulate_fault(const std::string& commands, const std::string& seed = "SEED: 7; ") {
    return fault([&] { simulate(commands, seed); });
  }

  std::unique_ptr<InputFile> in;
};

inline void expect_equal(const arma::Col<double>& actual, const arma::Col<double>& expected) {
  ASSERT_EQ(actual.n_elem, expected.n_elem);
  for (arma::uword i = 0; i < actual.n_elem; ++i) EXPECT_EQ(actual[i], expected[i]) << "row " << i;
}

}  // namespace tovik::tests
