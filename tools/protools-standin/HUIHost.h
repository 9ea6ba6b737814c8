#pragma once

#include <glib.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "EditWindow.h"
#include "ZAR_DAWControl/platform/MidiPorts.h"
#include "ZAR_DAWControl/platform/midi/MidiMessageSplitter.h"
#include "ZAR_DAWControl/platform/midi/hui/HUIDecoder.h"
#include "ZAR_DAWControl/platform/midi/hui/HUIProtocol.h"

namespace standin {

/// The stand-in Pro Tools' HUI side, as Pro Tools runs a HUI peripheral: it connects its ports to
/// the surface's (retrying at every ping until they exist), pings every second, follows the
/// surface's presses while HUI is selected (strip mute, solo and record-ready of the bank in view, bank and channel
/// moves, the transport's Stop, Play and Record) and sends the lamps of the bank in view when they
/// change, flashing record-ready on armed tracks while not recording and mute on tracks muted only
/// by another track's solo. Everything but the receiving runs on the GTK main thread; received
/// bytes are handed to it.
class HUIHost {
 public:
  struct Options {
    /// How long each message received holds the MIDI thread (on JACK, the client's process
    /// callback), as a busy Pro Tools would.
    std::chrono::microseconds receiveDelay{};
    /// Every message received is printed ("hui in B0 0F 0E"), so a reader can tell which arrived.
    bool printReceived = false;
  };

  HUIHost(EditWindow& window, std::shared_ptr<zar::platform::MidiPorts> ports, zar::platform::MidiPortRequest request,
          Options options);
  ~HUIHost();
  HUIHost(const HUIHost&) = delete;
  HUIHost& operator=(const HUIHost&) = delete;

  /// Starts pinging and flashing.
  void start();
  /// The user changed a track's record enable or mute in the window.
  void trackChanged();
  /// HUI unselected in the peripherals: no more pings, and nothing received is acted on.
  void unselect();

 private:
  enum class Transport { stopped, playing, recording };
  struct Received;

  bool openPorts();
  void handle(std::span<const std::uint8_t> bytes);
  void press(std::uint8_t zone, std::uint8_t port);
  void moveBank(std::uint8_t port);
  bool lamp(std::size_t strip, std::uint8_t port) const;
  void refreshLamps(bool all);
  void showTransport();
  static gboolean onPing(gpointer self);
  static gboolean onFlash(gpointer self);
  static gboolean onReceived(gpointer received);

  EditWindow& _window;
  const std::shared_ptr<zar::platform::MidiPorts> _ports;
  const zar::platform::MidiPortRequest _request;
  const Options _options;
  std::shared_ptr<zar::platform::MidiPortPair> _pair;
  zar::hui::HUIDecoder _decoder;
  zar::platform::MidiMessageSplitter _splitter;
  std::vector<bool> _soloed;
  Transport _transport = Transport::stopped;
  bool _recordArmed = false;
  int _bankOffset = 0;
  bool _flashOn = true;
  bool _answered = false;
  bool _selected = true;
  std::optional<bool> _sentLamps[zar::hui::kStripsPerBank][zar::hui::kPortsPerZone];
  guint _pingSource = 0;
  guint _flashSource = 0;
};

}  // namespace standin
