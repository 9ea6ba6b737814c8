#pragma once

#include <array>
#include <cstdint>

#include "ZAR_DAWControl/platform/midi/hui/HUIProtocol.h"

namespace zar::hui {

/// Builds the HUI messages both sides send. Decoding is `HUIDecoder`'s.
class HUICodec {
 public:
  static HUIMessage ping();
  static HUIMessage pingReply();
  static HUIMessage selectSwitchZone(std::uint8_t zone);
  static HUIMessage switchPort(std::uint8_t port, bool pressed);
  static HUIMessage selectLampZone(std::uint8_t zone);
  static HUIMessage lampPort(std::uint8_t port, bool on);
  /// A complete button press: select, port on, select, port off.
  static std::array<HUIMessage, 4> buttonPress(std::uint8_t zone, std::uint8_t port);
};

}  // namespace zar::hui
