#include "app/progress_line.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <thread>

#include "scratch_folder.hpp"

using namespace tovik;

namespace progress_line_test {

run_state in_chains(run_phase phase, std::uint64_t scans, std::uint64_t planned, double seconds) {
  run_state out;
  out.phase = phase;
  out.scans = scans;
  out.planned = planned;
  out.seconds = seconds;
  return out;
}

TEST(ProgressText, IsThePhaseAloneWithoutChains) {
  run_state state;
  EXPECT_EQ(progress_text(state), "reading");
  state.phase = run_phase::writing;
  EXPECT_EQ(progress_text(state), "writing");
}

TEST(ProgressText, TellsShareSpeedAndTimeLeft) {
  EXPECT_EQ(progress_text(in_chains(run_phase::burn_in, 1200, 10000, 2.0)),
            "burn-in   12%  600 scans/s  0:15 left");
  EXPECT_EQ(progress_text(in_chains(run_phase::sampling, 10000, 10000, 20.0)),
            "sampling  100%  500 scans/s  0:00 left");
}

TEST(ProgressText, KeepsTheLastPerCentForTheLastScan) {
  EXPECT_NE(progress_text(in_chains(run_phase::sampling, 9999, 10000, 2.0)).find(" 99%"), std::string::npos);
}

TEST(ProgressText, HasDecimalsForSlowScansAndHoursForLongRuns) {
  EXPECT_EQ(progress_text(in_chains(run_phase::burn_in, 5, 18005, 2.0)),
            "burn-in    0%  2.5 scans/s  2:00:00 left");
}

TEST(ProgressText, PromisesNoTimeBeforeTheFirstScan) {
  EXPECT_EQ(progress_text(in_chains(run_phase::burn_in, 0, 100, 2.0)), "burn-in    0%");
}

TEST(ProgressText, NumbersTheGroups) {
  run_state state;
  state.phase = run_phase::preparing;
  state.group = 2;
  state.groups = 5;
  EXPECT_EQ(progress_text(state), "group 2 of 5, preparing");
}

TEST(RunClock, CountsScansOfTheChainsThatRun) {
  run_clock clock;
  clock.begin_chains(10);
  {
    const run_clock::stretch burn_in(clock, run_phase::burn_in);
    for (int i = 0; i < 4; ++i) clock.scanned();
    EXPECT_EQ(clock.now().phase, run_phase::burn_in);
    EXPECT_EQ(clock.now().scans, 4u);
    EXPECT_EQ(clock.now().planned, 10u);
  }
  const run_clock::stretch sampling(clock, run_phase::sampling);
  EXPECT_EQ(clock.now().phase, run_phase::sampling);
  clock.begin_chains(6);
  EXPECT_EQ(clock.now().scans, 0u);
}

TEST(RunClock, SharesTheTimeOfChainsOutByWhatTheySpent) {
  using std::chrono::milliseconds;
  run_clock clock;
  clock.begin_chains(2);
  {
    const run_clock::stretch burn_in(clock, run_phase::burn_in);
    std::this_thread::sleep_for(milliseconds(30));
  }
  {
    const run_clock::stretch sampling(clock, run_phase::sampling);
    std::this_thread::sleep_for(milliseconds(10));
  }
  clock.end_chains();
  const auto& seconds = clock.seconds();
  const double burn_in = seconds[static_cast<std::size_t>(run_phase::burn_in)];
  const double sampling = seconds[static_cast<std::size_t>(run_phase::sampling)];
  EXPECT_GE(burn_in, 0.029);
  EXPECT_GE(sampling, 0.009);
  EXPECT_EQ(clock.now().planned, 0u);
}

TEST(RunClock, AddsTheSecondsOfAPhaseThatComesTwice) {
  run_clock clock;
  for (int i = 0; i < 2; ++i) {
    clock.enter(run_phase::writing);
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    clock.enter(run_phase::summarising);
  }
  EXPECT_GE(clock.seconds()[static_cast<std::size_t>(run_phase::writing)], 0.019);
}

class Line : public testing::Test {
 protected:
  Line() : out_(std::fopen(path().c_str(), "w")) {}
  ~Line() override { std::fclose(out_); }

  /// Waits until the line has been written, at most ten seconds.
  bool appears(const std::string& piece) {
    for (int i = 0; i < 1000; ++i) {
      if (text().find(piece) != std::string::npos) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
  }
  /// Through a stream of its own: the line writes to the other at any time.
  std::string text() const {
    std::ifstream in(path());
    return {std::istreambuf_iterator<char>(in), {}};
  }
  std::string path() const { return (scratch_.path() / "errors").string(); }

  tests::scratch_folder scratch_;
  std::FILE* out_;
  run_clock clock_;
  const std::chrono::milliseconds often_{5};
};

TEST_F(Line, IsRewrittenInPlaceAndGoesWithTheObject) {
  {
    const progress_line line(out_, clock_, often_, false);
    EXPECT_TRUE(appears("\rreading\r"));
    clock_.enter(run_phase::preparing);
    EXPECT_TRUE(appears("\rpreparing\r"));
  }
  const std::string all = text();
  EXPECT_EQ(all.substr(all.size() - 11), "\r" + std::string(9, ' ') + "\r");
  EXPECT_EQ(all.find('\n'), std::string::npos);
}

TEST_F(Line, IsNotWrittenBeforeTheFirstInterval) {
  { const progress_line line(out_, clock_, std::chrono::seconds(60), false); }
  EXPECT_EQ(text(), "");
}

TEST_F(Line, ALongerTextIsCoveredByBlanks) {
  progress_line line(out_, clock_, often_, false);
  clock_.enter(run_phase::summarising);
  ASSERT_TRUE(appears("\rsummarising\r"));
  line.finish("done");
  const std::string all = text();
  EXPECT_EQ(all.substr(all.size() - 14), "\rdone" + std::string(7, ' ') + "\r\n");
}

TEST_F(Line, KeepsAwayFromAReportOnTheSameTerminal) {
  progress_line line(out_, clock_, often_, true);
  ASSERT_TRUE(appears("\rreading\r"));
  std::size_t before = 0;
  {
    const progress_line::gap gap(&line);
    clock_.enter(run_phase::summarising);
    before = text().size();
    EXPECT_EQ(text().substr(before - 9), "\r" + std::string(7, ' ') + "\r");
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_EQ(text().size(), before);
  const progress_line::gap none(nullptr);
}

}  // namespace progress_line_test
