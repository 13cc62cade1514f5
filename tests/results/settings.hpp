#pragma once

#include "results/summary.hpp"

namespace tovik::tests {

/// The settings of a fresh process for the time of a test.
struct SummarySettings {
  SummarySettings() { reset(); }
  ~SummarySettings() { reset(); }

  static void reset() {
    Summary::supress_print = true;
    Summary::splitChain = true;
    Summary::interval = 100;
    Summary::cols.clear();
  }
};

}  // namespace tovik::tests
