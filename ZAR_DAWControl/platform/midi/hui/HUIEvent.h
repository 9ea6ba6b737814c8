#pragma once

#include <cstdint>

namespace zar::hui {

/// One decoded HUI message, with the zone that was selected when it arrived.
struct HUIEvent {
  enum class Kind {
    ping,        ///< host to surface: are you there
    pingReply,   ///< surface to host: yes
    systemReset, ///< either side starting or stopping
    lamp,        ///< host to surface: a lamp of `zone`, `port` turned on or off
    switchPort,  ///< surface to host: a button of `zone`, `port` pressed or released
  };

  Kind kind = Kind::ping;
  std::uint8_t zone = 0;
  std::uint8_t port = 0;
  bool on = false;

  friend bool operator==(const HUIEvent&, const HUIEvent&) = default;
};

}  // namespace zar::hui
