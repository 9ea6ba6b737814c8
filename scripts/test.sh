#!/usr/bin/env bash
# Installs what is needed, then builds and runs the whole test suite under each preset:
# the optimised build, AddressSanitizer with UndefinedBehaviorSanitizer, and ThreadSanitizer; then
# fuzzes each settings file reader for a short, bounded time.
# ZAR_TEST_PRESETS="default" limits the run to the presets named; ZAR_FUZZ_SECONDS=0 skips fuzzing.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh

presets=${ZAR_TEST_PRESETS:-"default asan-ubsan tsan"}
summary=$(mktemp)
trap 'rm -f "$summary"' EXIT
passed=0
for preset in $presets; do
  echo "=== preset ${preset}"
  start=$(date +%s)
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset"
  ctest --preset "$preset" | tee "$summary"
  # "100% tests passed, 0 tests failed out of N": a failure has already ended the script.
  total=$(sed -n 's/.* tests failed out of \([0-9]*\)$/\1/p' "$summary" | tail -n 1)
  passed=$(( passed + ${total:-0} ))
  echo "=== preset ${preset} passed in $(( $(date +%s) - start )) s"
done

fuzz_seconds=${ZAR_FUZZ_SECONDS:-10}
if [ "$fuzz_seconds" -gt 0 ]; then
  start=$(date +%s)
  ZAR_FUZZ_SECONDS=$fuzz_seconds bash scripts/fuzz.sh
  echo "=== fuzzing passed in $(( $(date +%s) - start )) s"
fi

echo "tests: ${passed} passed, 0 failed"
