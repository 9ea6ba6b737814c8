// The accessibility mirror against a bus in memory, on virtual time: what it keeps, what makes it
// forget, how old an answer may get, and what it says of applications and objects that are gone.

#include "ZAR_DAWControl/platform/x11/AtspiMirror.h"

#include <atspi/atspi-constants.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <thread>

#include "ZAR_DAWControl/platform/sim/VirtualClock.h"
#include "support/ChildProcess.h"
#include "support/FakeAtspiBus.h"

namespace {

using namespace std::chrono_literals;
using zar::platform::AXError;
using zar::test::FakeAtspiBus;
using zar::x11::AtspiElement;
using zar::x11::AtspiField;
using zar::x11::AtspiMirror;
using zar::x11::AtspiRef;

constexpr std::uint64_t kChecked = std::uint64_t{1} << ATSPI_STATE_CHECKED;

class AtspiMirrorTest : public testing::Test {
 protected:
  // Pro Tools (this process stands for it) with a window holding an input monitor and a counter.
  void SetUp() override { open({}); }

  void open(AtspiMirror::Options options) {
    _mirror.reset();
    _bus = std::make_shared<FakeAtspiBus>();
    const std::string app = ":1.7";
    _button = _bus->add(app, "/b", {.role = ATSPI_ROLE_TOGGLE_BUTTON, .interfaces = zar::x11::kAtspiAction, .name = "TrackInput Monitor"});
    _field = _bus->add(app, "/f", {.role = ATSPI_ROLE_ENTRY, .interfaces = zar::x11::kAtspiText | zar::x11::kAtspiComponent,
                                   .name = "Edit Selection Start", .text = "01:00:00:00", .extents = {10, 20, 100, 30}});
    _window = _bus->add(app, "/w", {.role = ATSPI_ROLE_FRAME, .name = "Edit: Reel 3", .children = {_field, _button}});
    _bus->add(app, zar::x11::kAtspiRootPath, {.role = ATSPI_ROLE_APPLICATION, .name = "com.avid.ProTools", .children = {_window}},
              static_cast<std::int32_t>(::getpid()));
    _mirror = std::make_shared<AtspiMirror>(_bus, _clock, options);
  }

  // The element of an object, as the window's children hand it out.
  std::shared_ptr<AtspiElement> element(const AtspiRef& ref) {
    const auto windows = read(*_mirror->applicationOfProcess(static_cast<std::int32_t>(::getpid())), AtspiField::children).children;
    const auto children = read(*windows.at(0), AtspiField::children).children;
    return ref == _field ? children.at(0) : ref == _button ? children.at(1) : windows.at(0);
  }

  AtspiMirror::Answer read(AtspiElement& element, AtspiField field, AXError expected = AXError::success) {
    AtspiMirror::Answer answer;
    EXPECT_EQ(_mirror->read(element, {field}, answer), expected);
    return answer;
  }
  std::string title(AtspiElement& element) { return read(element, AtspiField::name).name; }
  std::uint64_t states(AtspiElement& element) { return read(element, AtspiField::states).states; }
  std::string text(AtspiElement& element) { return read(element, AtspiField::text).text; }

  std::shared_ptr<zar::sim::VirtualClock> _clock = std::make_shared<zar::sim::VirtualClock>();
  std::shared_ptr<FakeAtspiBus> _bus;
  std::shared_ptr<AtspiMirror> _mirror;
  AtspiRef _button, _field, _window;
};

TEST_F(AtspiMirrorTest, AnswersFromMemoryUntilTheApplicationAnnouncesAChange) {
  const auto button = element(_button);
  EXPECT_EQ(title(*button), "TrackInput Monitor");
  const std::size_t fields = _bus->fieldsRead();
  EXPECT_EQ(states(*button), 0u);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(states(*button), 0u);
  EXPECT_EQ(_bus->fieldsRead(), fields) << "known from the children's read; nothing asked again";

  _bus->edit(_button, [](auto& object) { object.states = kChecked; });
  EXPECT_EQ(states(*button), 0u) << "a change not announced yet";
  _bus->announce(_button, AtspiField::states);
  EXPECT_EQ(states(*button), kChecked);
  EXPECT_EQ(title(*button), "TrackInput Monitor");
  EXPECT_EQ(_bus->fieldsRead(), fields + 1) << "only what changed is read again";
  EXPECT_EQ(element(_button), button) << "one element per object";
}

TEST_F(AtspiMirrorTest, AReadUnderWayWhenAChangeIsAnnouncedIsHandedOverButNotKept) {
  const auto field = element(_field);
  // The answer left the application before its change; the announcement arrives before the answer.
  _bus->setReadHook([&](const zar::x11::AtspiRead& read) {
    if (read.field == AtspiField::text) _bus->announce(_field, AtspiField::text);
  });
  EXPECT_EQ(text(*field), "01:00:00:00");
  _bus->setReadHook({});
  _bus->edit(_field, [](auto& object) { object.text = "00:59:58:00"; });
  EXPECT_EQ(text(*field), "00:59:58:00") << "the answer from before the change was not kept";
}

TEST_F(AtspiMirrorTest, WhatTheFrameworkDoesForgetsWhatItTouched) {
  const auto button = element(_button);
  const auto field = element(_field);
  states(*button);
  // The toolkit turns the button on and says nothing.
  _bus->edit(_button, [](auto& object) { object.states = kChecked; });
  EXPECT_EQ(_mirror->doAction(*button, 0), AXError::success);
  EXPECT_EQ(states(*button), kChecked) << "a press is never taken back by an answer from before it";

  text(*field);
  EXPECT_EQ(_mirror->setText(*field, "00:00:12:05"), AXError::success);
  EXPECT_EQ(text(*field), "00:00:12:05");
}

TEST_F(AtspiMirrorTest, AfterInputTheFirstReadWaitsForWhatTheApplicationAnnouncedBeforeIt) {
  const auto field = element(_field);
  text(*field);
  // Keys typed into the counter: the application changed it, its announcement is still on the way.
  _bus->holdAnnouncements(true);
  _bus->edit(_field, [](auto& object) { object.text = "00:59:58:00"; });
  _bus->announce(_field, AtspiField::text);
  EXPECT_EQ(text(*field), "01:00:00:00") << "no input, no wait";
  _mirror->inputPosted();
  EXPECT_EQ(text(*field), "00:59:58:00");
  EXPECT_EQ(_bus->barriers(), 1u);
  text(*field);
  EXPECT_EQ(_bus->barriers(), 1u) << "once per application after each input";
}

TEST_F(AtspiMirrorTest, AnswersInUseAreConfirmedInTheBackgroundAndOldOnesReadAgain) {
  const auto button = element(_button);
  const auto field = element(_field);
  states(*button);
  // A toolkit that says nothing when the button changes.
  _bus->edit(_button, [](auto& object) { object.states = kChecked; });
  _clock->advanceBy(1.5);
  states(*button);
  const std::size_t fields = _bus->fieldsRead();
  _mirror->confirmDue();
  EXPECT_EQ(_bus->fieldsRead(), fields) << "not old enough to be confirmed";
  EXPECT_EQ(states(*button), 0u);

  _clock->advanceBy(1.0);
  _mirror->confirmDue();
  EXPECT_EQ(_bus->fieldsRead(), fields + 1) << "only the answer read since it was kept: the counter's text was not";
  EXPECT_EQ(states(*button), kChecked) << "corrected without a wait of the reader's";
  _clock->advanceBy(3);
  _mirror->confirmDue();
  EXPECT_EQ(_bus->fieldsRead(), fields + 1) << "not read since its confirmation: left alone";

  _bus->edit(_field, [](auto& object) { object.name = "Edit Selection End"; });
  _clock->advanceBy(10);
  EXPECT_EQ(title(*field), "Edit Selection End") << "too old to be given: read again first";
}

TEST_F(AtspiMirrorTest, ConfirmationReadsTheOldestFirstABatchAtATime) {
  open({.confirmBatch = 1});
  const auto button = element(_button);
  const auto field = element(_field);
  _clock->advanceBy(0.5);
  _bus->announce(_button, AtspiField::states);
  states(*button);  // read again, so younger than the field's title
  _clock->advanceBy(2.1);
  title(*field);
  states(*button);
  _bus->edit(_field, [](auto& object) { object.name = "Changed"; });
  _bus->edit(_button, [](auto& object) { object.states = kChecked; });
  _mirror->confirmDue();
  EXPECT_EQ(title(*field), "Changed");
  EXPECT_EQ(states(*button), 0u) << "the next round's";
  _mirror->confirmDue();
  EXPECT_EQ(states(*button), kChecked);
}

TEST_F(AtspiMirrorTest, GoneApplicationsAndObjectsAnswerInvalidAtOnce) {
  const auto field = element(_field);
  const auto window = element(_window);
  title(*field);
  _bus->remove(_field);
  read(*field, AtspiField::text, AXError::invalidUIElement);
  read(*field, AtspiField::name, AXError::invalidUIElement);  // kept though it was

  const std::size_t fields = _bus->fieldsRead();
  _bus->leave(":1.7");
  read(*window, AtspiField::name, AXError::invalidUIElement);
  EXPECT_EQ(_bus->fieldsRead(), fields) << "without asking";
  EXPECT_TRUE(_mirror->applications().empty());

  _bus->loseBus();
  read(*window, AtspiField::name, AXError::apiDisabled);
}

TEST_F(AtspiMirrorTest, AProcessThatEndedIsGoneAtTheNextCallBeforeItsConnectionCloses) {
  zar::test::ChildProcess process({"sleep", "60"});
  ASSERT_TRUE(process.running());
  const auto counter = _bus->add(":1.9", "/c", {.role = ATSPI_ROLE_ENTRY, .name = "Edit Selection Start"});
  _bus->add(":1.9", zar::x11::kAtspiRootPath, {.role = ATSPI_ROLE_APPLICATION, .name = "other", .children = {counter}},
            process.pid());
  const auto other = _mirror->applicationOfProcess(process.pid());
  EXPECT_EQ(title(*other), "other");
  const auto field = read(*other, AtspiField::children).children.at(0);
  EXPECT_EQ(title(*field), "Edit Selection Start");
  process.kill(SIGKILL);
  read(*field, AtspiField::name, AXError::invalidUIElement);  // its objects' kept answers too
  read(*other, AtspiField::name, AXError::invalidUIElement);
  // A process not on the bus yet is waited for; one that doesn't run is not.
  read(*_mirror->applicationOfProcess(1), AtspiField::name, AXError::cannotComplete);
  read(*_mirror->applicationOfProcess(process.pid()), AtspiField::name, AXError::invalidUIElement);
}

TEST_F(AtspiMirrorTest, ARowIsReadWithOneWaitForItsChildrenAndOneForTheirPlaces) {
  const auto window = element(_window);
  const std::size_t calls = _bus->readCalls();
  _bus->announce(_window, AtspiField::children);
  for (auto ref : {_field, _button}) _bus->edit(ref, [](auto& object) { object.name += "!"; });
  _bus->add(":1.7", "/m", {.role = ATSPI_ROLE_TOGGLE_BUTTON, .interfaces = zar::x11::kAtspiComponent, .name = "Mute"});
  _bus->edit(_window, [](auto& object) { object.children.push_back({":1.7", "/m"}); });
  const auto children = read(*window, AtspiField::children).children;
  ASSERT_EQ(children.size(), 3u);
  EXPECT_EQ(_bus->readCalls(), calls + 3) << "the children, what each new child is, where it is";
  EXPECT_EQ(title(*children[2]), "Mute");
  read(*children[2], AtspiField::extents);
  EXPECT_EQ(title(*children[0]), "Edit Selection Start") << "children known before keep what they had";
  EXPECT_EQ(_bus->readCalls(), calls + 3);
}

TEST_F(AtspiMirrorTest, PositionsAreForgottenWhenAWindowMoves) {
  std::uint64_t moves = 0;
  _mirror->setScreenChanges([&moves] { return moves; });
  const auto field = element(_field);
  EXPECT_EQ(read(*field, AtspiField::extents).extents.x, 10);
  _bus->edit(_field, [](auto& object) { object.extents.x = 410; });
  EXPECT_EQ(read(*field, AtspiField::extents).extents.x, 10);
  ++moves;
  EXPECT_EQ(read(*field, AtspiField::extents).extents.x, 410);
  // Not shown yet: no place, asked again until it has one.
  _bus->edit(_field, [](auto& object) { object.extents.x = INT32_MIN; });
  ++moves;
  EXPECT_EQ(read(*field, AtspiField::extents).extents.x, INT32_MIN);
  _bus->edit(_field, [](auto& object) { object.extents.x = 20; });
  EXPECT_EQ(read(*field, AtspiField::extents).extents.x, 20);
}

TEST_F(AtspiMirrorTest, WithoutTheMirrorEveryReadButRoleAndInterfacesAsksTheBus) {
  open({.enabled = false});
  const auto button = element(_button);
  const std::size_t fields = _bus->fieldsRead();
  for (int i = 0; i < 2; ++i) {
    title(*button);
    states(*button);
    EXPECT_EQ(read(*button, AtspiField::role).role, static_cast<std::uint32_t>(ATSPI_ROLE_TOGGLE_BUTTON));
  }
  EXPECT_EQ(_bus->fieldsRead(), fields + 5);
}

// The bus's thread announces while another reads: whatever the interleaving, once both are done
// the mirror gives the last value.
TEST_F(AtspiMirrorTest, AnnouncementsFromTheBusThreadAndReadsElsewhereEndInTheLastValue) {
  const auto button = element(_button);
  std::thread announcer([&] {
    for (int i = 1; i <= 200; ++i) {
      _bus->edit(_button, [i](auto& object) { object.states = static_cast<std::uint64_t>(i); });
      _bus->announce(_button, AtspiField::states);
    }
  });
  for (int i = 0; i < 200; ++i) states(*button);
  announcer.join();
  EXPECT_EQ(states(*button), 200u);
}

}  // namespace
