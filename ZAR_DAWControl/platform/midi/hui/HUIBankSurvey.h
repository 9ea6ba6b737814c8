#pragma once

#include <optional>

namespace zar::hui {

/// The plan that brings every bank of the session into view once, so that the surface sees the
/// lamps of every track and not only of the eight it happens to show. Each bank stays in view for
/// a dwell long enough to tell a flashing lamp from a steady one. Pure bookkeeping: the owner
/// moves the bank and passes the time in.
class HUIBankSurvey {
 public:
  /// Starts over from the first bank of a session of `trackCount` tracks (nothing: the size is not
  /// known, only the first bank is surveyed).
  void start(std::optional<int> trackCount);
  /// Surveys further when the session turns out larger; a survey already done is not repeated.
  void extend(int trackCount);
  void stop();
  bool active() const { return _active; }

  /// The track to bring into view next (the last track of the bank being surveyed); nothing when
  /// the survey is done or inactive.
  std::optional<int> target() const;
  /// The bank holding the target is in view and settled at `now`: it stays in view until
  /// `now + dwell`, unless the dwell already runs.
  void inView(double now, double dwell);
  /// The bank moved away before its dwell ended: it is surveyed again.
  void movedAway() { _dwellUntil.reset(); }
  /// Ends the dwell of the current bank when it has run by `now`; true when it did.
  bool finishDwell(double now);
  std::optional<double> dwellUntil() const { return _dwellUntil; }

 private:
  int banks() const;

  bool _active = false;
  std::optional<int> _trackCount;
  int _nextBank = 0;
  std::optional<double> _dwellUntil;
};

}  // namespace zar::hui
