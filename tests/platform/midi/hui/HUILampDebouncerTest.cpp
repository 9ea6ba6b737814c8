#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "ZAR_DAWControl/platform/midi/hui/HUILampDebouncer.h"

namespace {

using zar::hui::HUILamp;
using zar::hui::HUILampDebouncer;
using Change = HUILampDebouncer::Change;
using Changes = std::vector<Change>;

TEST(HUILampDebouncer, UnknownLampsReportTheirFirstStateAndRepeatsAreSilent) {
  HUILampDebouncer debouncer(1.5);
  Changes changes;
  debouncer.report(0, HUILamp::recordReady, false, 0.0, changes);
  debouncer.report(0, HUILamp::recordReady, false, 1.0, changes);
  debouncer.sweep(2.0, changes);
  debouncer.report(0, HUILamp::recordReady, false, 3.0, changes);
  debouncer.sweep(9.0, changes);
  EXPECT_EQ(changes, (Changes{{0, HUILamp::recordReady, false}}));
  changes.clear();
  debouncer.report(-1, HUILamp::mute, false, 0.0, changes);
  debouncer.report(64, HUILamp::recordReady, true, 0.0, changes);
  EXPECT_TRUE(changes.empty());
  debouncer.reset();
  debouncer.report(0, HUILamp::recordReady, true, 10.0, changes);
  EXPECT_EQ(changes, (Changes{{0, HUILamp::recordReady, true}}));
}

TEST(HUILampDebouncer, PendingReportsOfTracksOutOfViewAreDropped) {
  HUILampDebouncer debouncer(1.5);
  Changes changes;
  debouncer.report(3, HUILamp::recordReady, true, 0.0, changes);
  debouncer.report(12, HUILamp::recordReady, true, 0.0, changes);
  changes.clear();
  debouncer.report(3, HUILamp::recordReady, false, 0.5, changes);   // mid-flash when the bank moves
  debouncer.report(12, HUILamp::recordReady, false, 0.5, changes);
  debouncer.keepPendingOnlyFor(8, 15, 0.6);
  debouncer.sweep(5.0, changes);
  EXPECT_EQ(changes, (Changes{{12, HUILamp::recordReady, false}}));
}

class HUILampDebouncerWindow : public testing::TestWithParam<double> {};

TEST_P(HUILampDebouncerWindow, TheSurfacesOwnToggleIsTakenAtOnceAndAUsersChangeRightAfterIsReported) {
  const double window = GetParam();
  HUILampDebouncer debouncer(window);
  Changes changes;
  debouncer.report(4, HUILamp::recordReady, true, 0.0, changes);
  debouncer.report(5, HUILamp::mute, false, 0.0, changes);
  debouncer.report(6, HUILamp::recordReady, true, 0.0, changes);
  changes.clear();
  // The surface disarms 4, mutes 5 and presses the mute of 7, whose lamp it has not seen yet.
  for (const auto& [track, lamp] : {std::pair{4, HUILamp::recordReady}, {5, HUILamp::mute}, {7, HUILamp::mute}}) {
    debouncer.toggled(track, lamp, 1.0);
  }
  // Lamps sent before the host saw the presses are not changes; then the host shows the new values.
  debouncer.report(4, HUILamp::recordReady, true, 1.0, changes);
  debouncer.report(5, HUILamp::mute, false, 1.0, changes);
  debouncer.report(4, HUILamp::recordReady, false, 1.01, changes);
  debouncer.report(5, HUILamp::mute, true, 1.01, changes);
  debouncer.report(7, HUILamp::mute, false, 1.01, changes);
  EXPECT_EQ(changes, (Changes{{7, HUILamp::mute, false}}));
  EXPECT_EQ(debouncer.nextDeadline(), std::nullopt);
  // 0.3 s later the user arms 4 and unmutes 5 again: both reported at once.
  debouncer.report(4, HUILamp::recordReady, true, 1.3, changes);
  debouncer.report(5, HUILamp::mute, false, 1.3, changes);
  EXPECT_EQ(changes, (Changes{{7, HUILamp::mute, false}, {4, HUILamp::recordReady, true}, {5, HUILamp::mute, false}}));
  // A press the host never sees: it keeps showing 6 armed, which counts once the window has passed.
  debouncer.toggled(6, HUILamp::recordReady, 10.0);
  debouncer.report(6, HUILamp::recordReady, true, 10.0 + window / 2, changes);
  EXPECT_EQ(changes.size(), 3u);
  debouncer.report(6, HUILamp::recordReady, true, 10.0 + window, changes);
  EXPECT_EQ(changes.back(), (Change{6, HUILamp::recordReady, true}));
  EXPECT_EQ(debouncer.known(), (Changes{{4, HUILamp::recordReady, true},
                                        {5, HUILamp::mute, false},
                                        {6, HUILamp::recordReady, true},
                                        {7, HUILamp::mute, false}}));
}

TEST_P(HUILampDebouncerWindow, APressTheHostAnswersOnlyWithTheOldValueIsTakenBackAfterTheWindow) {
  const double window = GetParam();
  HUILampDebouncer debouncer(window);
  Changes changes;
  // The presses went to a Pro Tools that had quit: the one there now shows 1 and 2 as they were.
  // Of 3 it shows nothing, and 9's bank leaves the view after its old lamp: the answer may come
  // while another bank is shown, so those presses stand.
  for (const auto& [track, lamp, on] : {std::tuple{1, HUILamp::mute, false}, {2, HUILamp::recordReady, true},
                                        {3, HUILamp::mute, false}, {9, HUILamp::mute, false}}) {
    debouncer.report(track, lamp, on, 0.0, changes);
    debouncer.toggled(track, lamp, 1.0);
    if (track != 3) debouncer.report(track, lamp, on, 1.1, changes);
  }
  debouncer.keepPendingOnlyFor(0, 7, 1.2);
  EXPECT_EQ(changes.size(), 4u) << "only the first reports";
  EXPECT_EQ(debouncer.nextDeadline(), 1.0 + window);
  debouncer.sweep(1.0 + window, changes);
  EXPECT_EQ(changes, (Changes{{1, HUILamp::mute, false}, {2, HUILamp::recordReady, true},
                              {3, HUILamp::mute, false}, {9, HUILamp::mute, false},
                              {1, HUILamp::mute, false}, {2, HUILamp::recordReady, true}}));
  EXPECT_EQ(debouncer.nextDeadline(), std::nullopt);
  EXPECT_EQ(debouncer.known(), (Changes{{1, HUILamp::mute, false}, {2, HUILamp::recordReady, true},
                                        {3, HUILamp::mute, true}, {9, HUILamp::mute, true}}));
}

INSTANTIATE_TEST_SUITE_P(Windows, HUILampDebouncerWindow, testing::Values(0.6, 0.75, 1.5));

}  // namespace
