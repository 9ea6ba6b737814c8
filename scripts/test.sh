#!/usr/bin/env bash
# Installs what is needed, then builds and runs the whole test suite under each preset:
# the optimised build, AddressSanitizer with UndefinedBehaviorSanitizer, and ThreadSanitizer; then
# fuzzes each settings file reader for a short, bounded time. The examples are built against the
# default preset's build installed into build/install, and run.
# Every preset and the fuzzing run even when an earlier one fails; a line per preset tells how it
# went, and the script fails when anything did. The last line is the total of tests run.
# ZAR_TEST_PRESETS="default" limits the run to the presets named; ZAR_FUZZ_SECONDS=0 skips fuzzing.
set -uo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh || exit 1

presets=${ZAR_TEST_PRESETS:-"default asan-ubsan tsan"}
fuzz_seconds=${ZAR_FUZZ_SECONDS:-10}
jobs=$(nproc)
logs=build/test-logs
mkdir -p "$logs"
passed=0
failed=0
results=()

for preset in $presets; do
  echo "=== preset ${preset}"
  start=$(date +%s)
  log="$logs/$preset.log"
  if ! { cmake --preset "$preset" >/dev/null && cmake --build --preset "$preset" -j "$jobs"; }; then
    # The tests of a preset that doesn't build can't be counted: the build counts as one failure.
    failed=$((failed + 1))
    results+=("preset ${preset}: build FAILED after $(($(date +%s) - start)) s")
    continue
  fi
  ctest --preset "$preset" --parallel "$jobs" 2>&1 | tee "$log"
  # "100% tests passed, 0 tests failed out of N"
  summary=$(grep -E 'tests passed, [0-9]+ tests? failed out of [0-9]+' "$log" | tail -n 1)
  total=$(sed -E 's/.* out of ([0-9]+).*/\1/' <<<"$summary")
  bad=$(sed -E 's/.* ([0-9]+) tests? failed.*/\1/' <<<"$summary")
  if [ -z "$summary" ]; then
    total=0
    bad=1  # ctest itself failed before it could run the tests
  fi
  passed=$((passed + total - bad))
  failed=$((failed + bad))
  verdict=passed
  [ "$bad" -eq 0 ] || verdict=FAILED
  results+=("preset ${preset}: ${verdict}, $((total - bad)) passed, ${bad} failed in $(($(date +%s) - start)) s")
done

# The examples, built against the package installed from the default preset's build as a host
# would build them; each one that runs cleanly counts as a passed test.
if [ -d build/default ] && [[ " $presets " == *" default "* ]]; then
  echo "=== examples"
  start=$(date +%s)
  if cmake --install build/default --prefix build/install >/dev/null &&
     cmake -S examples -B build/examples -G Ninja -DCMAKE_PREFIX_PATH="$PWD/build/install" >/dev/null &&
     cmake --build build/examples -j "$jobs"; then
    good=0
    # An example that crashes prints a backtrace into its log (tests/support/CrashReport).
    preload="$PWD/build/default/tests/support/libzar_crash_report_preload.so"
    [ -f "$preload" ] || preload=""
    for example in record_take watch; do
      if LD_PRELOAD="$preload" "build/examples/$example" >"$logs/example-$example.log" 2>&1; then
        good=$((good + 1))
      else
        tail -n 60 "$logs/example-$example.log"
        echo "example $example FAILED (log: $logs/example-$example.log)"
      fi
    done
    passed=$((passed + good))
    failed=$((failed + 2 - good))
    verdict=passed
    [ "$good" -eq 2 ] || verdict=FAILED
    results+=("examples: ${verdict}, ${good} passed, $((2 - good)) failed in $(($(date +%s) - start)) s")
  else
    failed=$((failed + 1))
    results+=("examples: install or build FAILED after $(($(date +%s) - start)) s")
  fi
fi

if [ "$fuzz_seconds" -gt 0 ]; then
  echo "=== fuzzing"
  start=$(date +%s)
  if ZAR_FUZZ_SECONDS=$fuzz_seconds bash scripts/fuzz.sh; then
    results+=("fuzzing: passed in $(($(date +%s) - start)) s")
  else
    # A crash, leak or broken invariant found by a fuzzer counts as one failure.
    failed=$((failed + 1))
    results+=("fuzzing: FAILED after $(($(date +%s) - start)) s (inputs in build/fuzz/artifacts/)")
  fi
fi

echo "=== results"
printf '%s\n' "${results[@]}"
echo "tests: ${passed} passed, ${failed} failed"
[ "$failed" -eq 0 ]
