#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sem/small_run.hpp"

namespace tovik::tests {

/// Fit statistics have no marginal block where effects cannot be integrated out: with effects the marginal
/// likelihood of the first outcome is unknown, without it is the conditional one. `run_of`: the run with
/// these identifiers of clusters.
template <typename RunOf>
void expect_marginal_likelihood_without_effects_only(RunOf run_of, std::uint64_t seed) {
  for (const bool effects : {true, false}) {
    const small_run run = run_of(effects ? std::vector<std::string>{"school"} : std::vector<std::string>());
    const auto chain = run.chain(Random(seed, 1), {1, 1});
    chain->oneRep();
    const arma::cube all = chain->outcomes()->likelihood(chain->working().data);
    const arma::mat of_first = all.slice(0);
    EXPECT_TRUE(of_first.col(1).is_finite());
    EXPECT_EQ(of_first.col(0).has_nan(), effects);
    EXPECT_EQ(arma::approx_equal(of_first.col(0), of_first.col(1), "absdiff", 0.0), !effects);
  }
}

}  // namespace tovik::tests
