#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "ZAR_DAWControl/platform/Clock.h"
#include "ZAR_DAWControl/platform/x11/AtspiElement.h"
#include "ZAR_DAWControl/platform/x11/AtspiTransport.h"

namespace zar::x11 {

/// What this process knows of other applications' accessible objects, kept up to date by what
/// they announce on the bus, so that a read of something that didn't change costs no call.
///
/// - An answer read from the bus is kept. A change an application announces (state, name,
///   description, children, bounds, text, value, parent, role) forgets that one answer of that
///   one object; the next read asks the bus again. A read under way while a change comes in is
///   handed to its caller but not kept.
/// - What the framework does itself forgets what it touched: a press or a set forgets the
///   element's state, names and texts, and after keys or clicks were posted (`inputPosted`) the
///   first read of each application waits until every change that application announced before
///   then has arrived (`AtspiTransport::barrier`).
/// - Applications that announce nothing for some change, or stop announcing, can't leave an answer
///   stale for ever: an answer in use (read since it was last confirmed) that is older than
///   `confirmAfter` is read again in the background (`confirmDue`); one older than `refetchAfter`
///   is read again before it is given. Roles and interfaces never change for an object's life.
/// - Positions on the screen move without a word when a window moves: `setScreenChanges` gives a
///   count of the desktop's window moves, and any change of it forgets every position.
/// - An application that left the bus, or whose process ended, answers invalidUIElement at once;
///   so does an object that is gone. While the bus can't be reached every read answers
///   apiDisabled.
/// - Reading an element's children also reads, all together, the role, interfaces, states and
///   name of the children not known yet, then the extents of those with a place on the screen:
///   two waits for the whole row instead of one per call.
///
/// Every call may be made from any thread. One lock guards what the mirror knows; no call to the
/// bus is made while it is held.
class AtspiMirror {
 public:
  struct Options {
    /// Answers come from memory; false asks the bus at every read and keeps only roles and
    /// interfaces (the way before the mirror, kept for comparison).
    bool enabled = true;
    /// An answer in use that is older than this is confirmed in the background, seconds.
    double confirmAfter = 2.0;
    /// An answer older than this is read again before it is given, seconds.
    double refetchAfter = 10.0;
    /// Between two rounds of background confirmation, seconds; at most `confirmBatch` reads a round.
    double confirmInterval = 0.25;
    std::size_t confirmBatch = 64;
  };

  /// An application on the bus, as the workspace lists it.
  struct ApplicationInfo {
    std::int32_t pid = 0;
    std::string name;
    std::string description;
  };

  AtspiMirror(std::shared_ptr<AtspiTransport> transport, std::shared_ptr<platform::Clock> clock, Options options);
  ~AtspiMirror();
  AtspiMirror(const AtspiMirror&) = delete;
  AtspiMirror& operator=(const AtspiMirror&) = delete;

  const Options& options() const { return _options; }
  AtspiTransport& transport() { return *_transport; }

  /// Confirms aging answers on a thread of the mirror's, every `confirmInterval` of real time.
  void startConfirming();
  /// One round of confirmation: reads again (together) up to `confirmBatch` answers in use that
  /// are older than `confirmAfter`, the oldest first.
  void confirmDue();

  /// The source of the count of window moves on the desktop (see the class comment).
  void setScreenChanges(std::function<std::uint64_t()> count);
  /// Keys, clicks or a typed text were sent to the desktop.
  void inputPosted() { _inputEpoch.fetch_add(1); }

  /// The element of the application of process `pid`.
  std::shared_ptr<AtspiElement> applicationOfProcess(std::int32_t pid);
  /// The applications on the bus, in the desktop's order.
  std::vector<ApplicationInfo> applications();
  /// Whether the bus can be reached.
  bool reachable() { return _transport->reachable(); }

  /// What is read of an element: the fields asked for are filled in.
  using Answer = AtspiElement::Values;

  /// Reads fields of an element, with one look at whether it is still there: from memory those
  /// known and young enough, the others from the bus, together. Success, or the error of the
  /// read: apiDisabled, invalidUIElement, attributeUnsupported, cannotComplete.
  platform::AXError read(AtspiElement& element, std::initializer_list<AtspiField> fields, Answer& answer);
  /// The process of the element's application.
  platform::AXError pid(AtspiElement& element, std::int32_t& pid);
  /// The element of an object (a parent read, say); null for nobody's.
  std::shared_ptr<AtspiElement> element(const AtspiRef& ref);

  // Writes: each forgets what it touched.

  platform::AXError doAction(AtspiElement& element, std::int32_t index);
  platform::AXError actionText(AtspiElement& element, std::int32_t index, std::string& text);
  platform::AXError setText(AtspiElement& element, const std::string& text);
  platform::AXError setValue(AtspiElement& element, double value);

 private:
  using ElementRef = std::shared_ptr<AtspiElement>;

  /// The object an element stands for, or the error that says why there is none now.
  platform::AXError resolve(AtspiElement& element, ElementRef& object);
  platform::AXError aliveLocked(AtspiElement& object);
  /// Copies what is known of `field` into the answer, unless it must be read from the bus.
  bool answerLocked(AtspiElement& object, AtspiField field, Answer& answer, double now);
  static void copyLocked(const AtspiElement& object, AtspiField field, Answer& answer);
  /// Runs a write on the object and forgets what it touched.
  template <typename Write>
  platform::AXError write(AtspiElement& element, Write write);
  /// Keeps what the bus answered (false when the answer is of the wrong kind). The answer counts
  /// as known only when no change came in since `generation` was taken; `changed` tells whether it
  /// differs from what was kept before.
  bool storeLocked(AtspiElement& object, AtspiField field, const AtspiValue& value, std::uint32_t generation,
                   double now, bool* changed = nullptr);
  void prefetchChildren(const std::vector<ElementRef>& children);
  /// A field to read of an element, with its generation when the read was decided.
  struct Pending {
    ElementRef element;
    AtspiField field;
    std::uint32_t generation;
  };
  /// Reads the fields together, without the lock held, and keeps what may be kept (an object the
  /// bus says is gone is marked so); the error of each, and in `changed` how many kept answers
  /// the reads changed.
  std::vector<platform::AXError> readTogether(const std::vector<Pending>& pending, std::size_t* changed = nullptr);
  /// Reads the fields not known of the elements, all together.
  void prefetch(const std::vector<ElementRef>& elements, std::span<const AtspiField> fields);
  void forgetLocked(AtspiElement& object, AtspiField field);
  void touched(AtspiElement& object);
  void forgetPositionsIfMoved();
  void apply(const AtspiEvent& event);
  ElementRef internLocked(const AtspiRef& ref);
  std::shared_ptr<AtspiElement::Application> applicationLocked(const std::string& bus);
  ElementRef desktopLocked();
  /// The process of an application, read once and kept.
  std::optional<std::int32_t> processOf(const std::shared_ptr<AtspiElement::Application>& application);
  static std::string key(const AtspiRef& ref) { return ref.bus + '\n' + ref.path; }

  const std::shared_ptr<AtspiTransport> _transport;
  const std::shared_ptr<platform::Clock> _clock;
  const Options _options;

  std::mutex _mutex;
  std::unordered_map<std::string, std::weak_ptr<AtspiElement>> _elements;
  std::size_t _liveAtLastSweep = 0;
  std::unordered_map<std::string, std::weak_ptr<AtspiElement::Application>> _applications;
  ElementRef _desktop;
  std::function<std::uint64_t()> _screenChanges;
  std::uint64_t _screenChangesSeen = 0;
  std::atomic<std::uint64_t> _inputEpoch{0};

  std::mutex _confirmMutex;
  std::condition_variable _confirmWake;
  bool _stopping = false;
  std::thread _confirmer;
};

}  // namespace zar::x11
