// Any line through ZAR_DAWPassRecord::fromJSONLine, as `dawctl takes` reads the pass log: a line
// read as a record writes back to a line that reads as the same record, and the verdict judges it
// whatever it holds.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "ZAR_DAWControl/passes/PassVerdict.h"
#include "ZAR_DAWControl/passes/ZAR_DAWPassRecord.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view line(reinterpret_cast<const char*>(data), size);
  auto record = ZAR_DAWPassRecord::fromJSONLine(line);
  if (!record) return 0;
  const auto again = ZAR_DAWPassRecord::fromJSONLine(record->toJSONLine());
  if (!again || !(*again == *record)) std::abort();
  zar::passes::PassVerdict::judge(*record);
  if (record->verdictText().empty()) std::abort();
  return 0;
}
