#!/usr/bin/env bash
# Installs what is needed, then builds and runs the whole test suite under each preset:
# the optimised build, AddressSanitizer with UndefinedBehaviorSanitizer, and ThreadSanitizer.
# ZAR_TEST_PRESETS="default" limits the run to the presets named.
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
