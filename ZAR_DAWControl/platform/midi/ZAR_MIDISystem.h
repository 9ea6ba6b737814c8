#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "ZAR_DAWControl/platform/MidiPorts.h"
#include "ZAR_DAWControl/platform/RunLoop.h"
#include "ZAR_DAWControl/platform/midi/PacedMidiOutput.h"
#include "ZAR_DAWControl/platform/midi/hui/HUISurface.h"

class ZAR_HUIDeviceDelegate;
class ZAR_MIDIOutput;

/// The framework's MIDI: the HUI port pair to Pro Tools and what it has heard there over time.
/// It outlives the HUI devices, which come and go (the transport makes a new one and asks it at
/// once whether Pro Tools talks HUI), so the ping history of the ports and the lamps of the
/// tracks live here. Lamp changes reach the devices' delegates on the MIDI thread, or on the main
/// thread when they become due between two MIDI messages (a lamp that held for the debounce window
/// is reported by a timer of the main run loop); the two never overlap and keep their order.
///
/// Everything for the HUI output leaves at the pace of a HUI link (`zar::platform::PacedMidiOutput`):
/// a real HUI is a MIDI cable, and Pro Tools reads its HUI port at its own pace, so a burst (the
/// bank survey, eight bank-left presses, a pass that arms and mutes many tracks) queues and leaves
/// one message at a time instead of overrunning a port's buffer. A message to an idle link leaves
/// at once, on the caller's thread; the queue goes out from a thread of the output. A bank move and
/// the press it leads to are queued whole or refused whole. What is refused (more than
/// `kHUIOutputCapacity` messages waiting, ports not open) or fails on the port is logged once per
/// run of failures and counted (`huiOutputCounts`); a toggle that never reached Pro Tools is still
/// corrected by its lamp. When the ports fail a send the queue is dropped (its presses address a
/// bank that Pro Tools, once back, no longer shows) and the ports are opened again at the next
/// `openHUIPort`. When the system goes, what waits leaves at once (a Stop sent just before the host
/// quits still reaches Pro Tools), without waiting for the link.
///
/// Preferences (host's user defaults, read when the shared system is made):
/// - "ZAR_MIDIBackend": "alsa" (default: works without a server and shows hardware and network
///   MIDI interfaces), "jack", or "loopback" for the simulated Pro Tools.
/// - "ZAR_MIDIHUIPortName": name of the virtual ports to pick in Pro Tools' peripherals dialog,
///   default "ZAR_DAWControl HUI".
/// - "ZAR_MIDIHUIInputPort", "ZAR_MIDIHUIOutputPort": when set, connect to existing ports whose
///   names contain these texts instead of making virtual ports.
/// - "ZAR_MIDIHUIBaudRate": the pace of the HUI output in bits per second, ten bits a byte on the
///   wire; default 31250, MIDI's rate (a three-byte message every 0.96 ms). 0 sends every message
///   at once, as fast as the port takes them. A value that is not a number of zero or more is
///   logged and the default used.
class ZAR_MIDISystem : public std::enable_shared_from_this<ZAR_MIDISystem> {
 public:
  /// The event type whose output is the HUI output.
  static constexpr std::int32_t kHUIEventType = 8;
  static constexpr const char* kBackendPrefKey = "ZAR_MIDIBackend";
  static constexpr const char* kHUIPortNamePrefKey = "ZAR_MIDIHUIPortName";
  static constexpr const char* kHUIInputPortPrefKey = "ZAR_MIDIHUIInputPort";
  static constexpr const char* kHUIOutputPortPrefKey = "ZAR_MIDIHUIOutputPort";
  static constexpr const char* kHUIBaudRatePrefKey = "ZAR_MIDIHUIBaudRate";
  static constexpr const char* kDefaultBackend = "alsa";
  static constexpr const char* kDefaultHUIPortName = "ZAR_DAWControl HUI";
  static constexpr double kDefaultHUIBaudRate = 31250;
  /// Messages that may wait for the HUI link: about four seconds of it at MIDI's rate. A pass that
  /// arms and mutes 64 tracks sends about 1,000 (a channel move before most presses), the bank
  /// survey about 100.
  static constexpr std::size_t kHUIOutputCapacity = 4096;

  /// What a HUI device holds while it lives: its delegate and the track count it last passed on.
  /// The system holds it weakly; while one is alive the system answers Pro Tools' pings.
  struct HUIAttachment {
    std::mutex mutex;
    std::weak_ptr<ZAR_HUIDeviceDelegate> delegate;
    std::optional<std::int32_t> trackCount;
  };

  /// The process's MIDI system, on the installed platform's MIDI ports and the preferences.
  static std::shared_ptr<ZAR_MIDISystem> sharedMIDISystem();
  /// The HUI ports the preferences name.
  static zar::platform::MidiPortRequest huiPortRequestFromPreferences();
  /// The pace of the HUI output the preferences set.
  static double huiBaudRateFromPreferences();

  ZAR_MIDISystem(std::shared_ptr<zar::platform::MidiPorts> ports, zar::platform::MidiPortRequest huiRequest,
                 double huiBaudRate = huiBaudRateFromPreferences());
  ~ZAR_MIDISystem();
  ZAR_MIDISystem(const ZAR_MIDISystem&) = delete;
  ZAR_MIDISystem& operator=(const ZAR_MIDISystem&) = delete;

  /// The output for an event type: the HUI output for 8, nothing for others.
  std::shared_ptr<ZAR_MIDIOutput> midiOutputForEventType(std::int32_t eventType);

  /// Opens the HUI ports unless open; a failure is logged (once until the ports open) and tried
  /// again at the next call. Ports that stopped working (a send failed, or their MIDI server went
  /// away) are closed and opened again. Cheap while the ports work: drivers call it at every
  /// refresh, so HUI comes back with a restarted MIDI server.
  bool openHUIPort();
  /// Registers a device; opens the HUI ports.
  std::shared_ptr<HUIAttachment> attachHUIDevice();
  /// Pro Tools pinged the HUI ports within the last two seconds (platform clock).
  bool huiConnected() const;
  /// Connected, and the lamps of every track of the session are known (every bank was in view).
  bool huiLampsKnown() const;
  /// How many tracks the session shows on HUI; then tells `delegate` every lamp known.
  void setHUITrackCount(int count, const std::shared_ptr<ZAR_HUIDeviceDelegate>& delegate);
  std::uint64_t huiPingCount() const;
  /// Brings `track` into view and presses and releases the strip's port, queued for the HUI link;
  /// false when the ports are not open or the track is outside 0..63.
  bool pressHUIStripPort(int track, std::uint8_t port);
  /// Sends one message on the HUI output; false when the ports are not open or it was refused.
  bool sendHUIMessage(std::span<const std::uint8_t> message);
  /// What became of the messages for the HUI output so far, and how many wait.
  zar::platform::PacedMidiOutput::Counts huiOutputCounts() const;
  /// Returns once every message queued for the HUI output has left (or was dropped), waiting
  /// through the platform clock: on a virtual clock time moves on to the last departure. Given the
  /// ports' own wait for delivery, it also waits until what they carried arrived, and until what
  /// the output queued meanwhile (answers to what arrived) left and arrived too.
  void waitUntilHUIOutputSent(const std::function<void()>& waitForDelivery = {});
  /// The ports' names as other programs see them, or empty when not open.
  std::string huiPortDescription() const;

 private:
  using Delegates = std::vector<std::shared_ptr<ZAR_HUIDeviceDelegate>>;

  void receiveHUI(std::span<const std::uint8_t> bytes);
  bool huiPortsOpen() const;
  std::vector<std::shared_ptr<HUIAttachment>> liveAttachments();
  static Delegates delegatesOf(const std::vector<std::shared_ptr<HUIAttachment>>& attachments);
  /// Tells the delegates; the caller holds `_deliveryMutex`.
  static void deliver(const std::vector<zar::hui::HUISurface::Change>& changes, const Delegates& delegates);
  /// Makes sure a timer of the main run loop fires when the surface has something due.
  void scheduleTick();
  void onTick();

  std::shared_ptr<zar::platform::MidiPorts> _ports;
  zar::platform::MidiPortRequest _huiRequest;
  /// Made before the surface that sends through it, and closed before the ports.
  const std::unique_ptr<zar::platform::PacedMidiOutput> _huiOutput;
  zar::hui::HUISurface _huiSurface;
  std::mutex _mutex;  // opening, and the attachments
  std::vector<std::weak_ptr<HUIAttachment>> _attachments;
  bool _openFailing = false;  // guarded by _mutex: the last open failed, and was logged
  mutable std::mutex _pairMutex;  // the open ports; never held while they close
  std::shared_ptr<zar::platform::MidiPortPair> _huiPair;
  /// Held while the surface's changes are worked out and told, so reports keep their order.
  std::recursive_mutex _deliveryMutex;
  std::mutex _tickMutex;
  zar::platform::TimerRef _tickTimer;
  double _tickDeadline = 0;
};
