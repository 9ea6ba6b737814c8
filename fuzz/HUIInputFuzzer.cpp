// Any MIDI from Pro Tools' side through the HUI input path: the decoder and the surface behind the
// framework's HUI device (running status, system exclusive, truncated messages, pings, lamps of
// strips and zones far out of range, in any chunking, with the clock moving on, the session's
// track count changing and the framework pressing strips in between).
// The decoder must give the same events however the bytes are cut into calls; the surface must
// report lamps only of tracks 0..63 (only of the session's tracks when asked what it knows), and
// send only whole messages that start with a status byte.

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

#include "ZAR_DAWControl/platform/midi/hui/HUIDecoder.h"
#include "ZAR_DAWControl/platform/midi/hui/HUISurface.h"

namespace {

void checkChanges(const std::vector<zar::hui::HUISurface::Change>& changes, int limit) {
  for (const auto& change : changes) {
    if (change.track < 0 || change.track >= limit) std::abort();
  }
}

void decoderKeepsEventsWhateverTheCuts(std::span<const std::uint8_t> stream, std::size_t step) {
  zar::hui::HUIDecoder whole;
  const auto events = whole.decode(stream);
  zar::hui::HUIDecoder cut;
  std::vector<zar::hui::HUIEvent> pieces;
  for (std::size_t at = 0; at < stream.size(); at += step) {
    for (const auto& event : cut.decode(stream.subspan(at, std::min(step, stream.size() - at)))) pieces.push_back(event);
  }
  if (pieces != events) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  const std::size_t step = input.ConsumeIntegralInRange<std::size_t>(1, 9);
  const auto all = input.ConsumeRemainingBytes<std::uint8_t>();
  const std::span<const std::uint8_t> stream(all);
  decoderKeepsEventsWhateverTheCuts(stream, step);

  // The surface: the same bytes as traffic, where a byte 0xF4 or 0xF5 (undefined in MIDI, so
  // never meaningful HUI) also makes the framework act between two chunks. Its output refuses
  // every seventh send, as a full queue does.
  int sends = 0;
  zar::hui::HUISurface surface([&sends](std::span<const std::uint8_t> sent) -> std::optional<double> {
    if (sent.empty() || sent.front() < 0x80) std::abort();
    if (++sends % 7 == 0) return std::nullopt;
    return 0.0;
  });
  double now = 0;
  int trackCount = -1;
  for (std::size_t at = 0; at < stream.size(); at += step) {
    const auto chunk = stream.subspan(at, std::min(step, stream.size() - at));
    now += 0.01 * chunk.front();
    checkChanges(surface.receive(chunk, now, chunk.size() % 2 == 0), 64);
    const std::uint8_t last = chunk.back();
    if (last == 0xF4) {
      trackCount = static_cast<int>(chunk.front()) - 40;  // negative and above 64 too
      checkChanges(surface.setTrackCount(trackCount, now), 64);
    } else if (last == 0xF5) {
      surface.pressStripPort(static_cast<int>(chunk.front()) * 3 - 100, chunk.front() & 0x0F, now);
    }
    if (const auto deadline = surface.nextDeadline(); deadline && *deadline <= now + 1.0) {
      checkChanges(surface.tick(std::max(now, *deadline)), 64);
    }
  }
  if (trackCount >= 0) checkChanges(surface.knownLamps(), std::min(trackCount, 64));
  return 0;
}
