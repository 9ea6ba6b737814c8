#!/usr/bin/env bash
# Installs what is needed, then builds and runs the whole test suite under each preset:
# the optimised build, AddressSanitizer with UndefinedBehaviorSanitizer, and ThreadSanitizer; then
# fuzzes each settings file reader for a short, bounded time.
# ZAR_TEST_PRESETS="default" limits the run to the presets named; ZAR_FUZZ_SECONDS=0 skips fuzzing.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh

presets=${ZAR_TEST_PRESETS:-"default asan-ubsan tsan"}
for preset in $presets; do
  echo "=== preset ${preset}"
  start=$(date +%s)
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset"
  ctest --preset "$preset"
  echo "=== preset ${preset} passed in $(( $(date +%s) - start )) s"
done

fuzz_seconds=${ZAR_FUZZ_SECONDS:-10}
if [ "$fuzz_seconds" -gt 0 ]; then
  start=$(date +%s)
  ZAR_FUZZ_SECONDS=$fuzz_seconds bash scripts/fuzz.sh
  echo "=== fuzzing passed in $(( $(date +%s) - start )) s"
fi
