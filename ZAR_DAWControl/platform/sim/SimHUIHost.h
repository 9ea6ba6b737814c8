#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "ZAR_DAWControl/platform/midi/MidiMessageSplitter.h"
#include "ZAR_DAWControl/platform/MidiPorts.h"
#include "ZAR_DAWControl/platform/RunLoop.h"
#include "ZAR_DAWControl/platform/midi/hui/HUIDecoder.h"
#include "ZAR_DAWControl/platform/midi/hui/HUIProtocol.h"

namespace zar::sim {

/// The HUI side of the simulated Pro Tools: a session of named tracks with record enable, mute
/// and solo, a transport, and the bank of eight tracks shown on the surface's strips. It pings
/// the surface every second, follows the surface's button presses, and sends lamp changes of the
/// bank in view, flashing record-ready on armed tracks while not recording and mute on tracks
/// muted only because another track is soloed, as Pro Tools does. Timers run on the installed
/// platform's main run loop. Thread-safe.
class SimHUIHost : public std::enable_shared_from_this<SimHUIHost> {
 public:
  enum class TransportState { stopped, playing, recording };

  struct Track {
    std::string name;
    bool recEnabled = false;
    bool muted = false;
    bool soloed = false;
    friend bool operator==(const Track&, const Track&) = default;
  };

  struct Options {
    /// Pro Tools' "Always Fill Channel Strips When Banking": the last bank is filled with the last
    /// eight tracks instead of starting eight after the one before.
    bool fillChannelStripsWhenBanking = false;
    double pingInterval = 1.0;
    /// Half a flash period: lamps flash on for this long, then off for this long.
    double flashInterval = 0.5;
  };

  /// The ports Pro Tools opens: the framework's HUI ports of the given name, connected to.
  static platform::MidiPortRequest defaultPortRequest(const std::string& surfacePortName, const std::string& api);

  /// Opens the ports (and again at every ping while they are not open) and starts the timers.
  static std::shared_ptr<SimHUIHost> create(std::shared_ptr<platform::MidiPorts> ports,
                                            platform::MidiPortRequest request, std::vector<std::string> trackNames,
                                            Options options);
  ~SimHUIHost();
  SimHUIHost(const SimHUIHost&) = delete;
  SimHUIHost& operator=(const SimHUIHost&) = delete;

  /// Whether the ports are open (the surface's ports existed).
  bool portsOpen() const;
  /// Stopped pinging is Pro Tools with HUI not selected in its peripherals dialog.
  void setPinging(bool pinging);
  bool pinging() const;
  /// Sends one ping now (opening the ports first if needed).
  void sendPing();
  std::uint64_t pingRepliesReceived() const;

  std::vector<Track> tracks() const;
  std::optional<Track> track(std::size_t index) const;
  /// As the user clicks in Pro Tools.
  void setTrackRecEnabled(std::size_t index, bool value);
  void setTrackMuted(std::size_t index, bool value);
  void setTrackSoloed(std::size_t index, bool value);
  /// Replaces the session's tracks (tracks added, removed or moved in Pro Tools); the strips keep
  /// their bank where the session still reaches and show the new tracks' lamps.
  void setTracks(std::vector<Track> tracks);
  /// Called (on the thread that made the change) with the index of a track whose state changed.
  /// Returns once no call of the previous callback runs any more (unless called from one), so
  /// whoever clears it may go away.
  void setTrackChangeCallback(std::function<void(std::size_t)> callback);

  TransportState transportState() const;
  /// Record pressed and waiting for Play (Pro Tools' record button flashes).
  bool recordArmed() const;
  /// The first track on the strips.
  int bankOffset() const;

  /// Every message received from the surface, whole, in order.
  std::vector<std::vector<std::uint8_t>> receivedMessages() const;
  void clearReceivedMessages();
  /// Called on the MIDI thread with what arrived from the surface, once it has taken effect: a
  /// point at which a test makes something happen between two messages. Empty: none.
  void setReceiveHook(std::function<void(std::span<const std::uint8_t>)> hook);

  struct Token;  // limits construction to `create`
  SimHUIHost(Token, std::shared_ptr<platform::MidiPorts> ports, platform::MidiPortRequest request,
             std::vector<std::string> trackNames, Options options);

 private:
  void start();
  bool openPortsLocked();
  void receive(std::span<const std::uint8_t> bytes);
  void press(std::uint8_t zone, std::uint8_t port, std::vector<std::size_t>& changed);
  void moveBank(std::uint8_t port);
  void flash();
  void refreshLampsLocked(bool all);
  bool lampLocked(std::size_t strip, std::uint8_t port) const;
  bool anySoloLocked() const;
  void sendLocked(std::span<const std::uint8_t> bytes);
  void changeTrack(std::size_t index, const std::function<void(Track&)>& change);
  void notify(const std::vector<std::size_t>& changed);

  std::shared_ptr<platform::MidiPorts> _ports;
  platform::MidiPortRequest _request;
  Options _options;

  mutable std::mutex _mutex;
  std::shared_ptr<platform::MidiPortPair> _pair;
  hui::HUIDecoder _decoder;
  platform::MidiMessageSplitter _splitter;
  std::vector<Track> _tracks;
  TransportState _transport = TransportState::stopped;
  bool _recordArmed = false;
  int _bankOffset = 0;
  bool _flashOn = true;
  bool _pinging = true;
  std::uint64_t _pingReplies = 0;
  std::vector<std::vector<std::uint8_t>> _received;
  /// Last lamp value sent per strip and port; nothing when it must be sent again.
  std::optional<bool> _sentLamps[hui::kStripsPerBank][hui::kPortsPerZone];
  std::function<void(std::size_t)> _trackChanged;
  std::function<void(std::span<const std::uint8_t>)> _receiveHook;
  /// Threads running the track change callback now.
  std::vector<std::thread::id> _notifying;
  std::condition_variable _notified;
  platform::TimerRef _pingTimer;
  platform::TimerRef _flashTimer;
};

}  // namespace zar::sim
