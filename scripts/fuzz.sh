#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each in turn, starting from its seeds in
# fuzz/corpus/<target>/. By default each runs for ZAR_FUZZ_SECONDS (20 s); with ZAR_FUZZ_RUNS set
# (say 10000000) each runs for that many executions instead. Arguments name the targets to run
# (all by default). A crash, a leak, a timeout or a broken invariant fails the script; the input
# that caused it is left in build/fuzz/artifacts/. The last line of each run gives its executions.
set -euo pipefail
cd "$(dirname "$0")/.."

targets=(
  zar_fuzz_mode_list
  zar_fuzz_mute_rec_matrix
  zar_fuzz_preferences
  zar_fuzz_midi_splitter
  zar_fuzz_timecode
)
if [[ $# -gt 0 ]]; then targets=("$@"); fi

if [[ -n "${ZAR_FUZZ_RUNS:-}" ]]; then
  limit=(-runs="$ZAR_FUZZ_RUNS")
  what="$ZAR_FUZZ_RUNS executions"
else
  limit=(-max_total_time="${ZAR_FUZZ_SECONDS:-20}")
  what="${ZAR_FUZZ_SECONDS:-20} s"
fi

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -j2 --target "${targets[@]}"

out=build/fuzz
mkdir -p "$out/artifacts"
for target in "${targets[@]}"; do
  corpus="$out/corpus/$target"
  mkdir -p "$corpus"
  echo "=== $target for $what"
  log="$out/$target.log"
  # New inputs go to the working corpus in the build tree; the seeds in the tree stay as they are.
  if ! "$out/fuzz/$target" "${limit[@]}" -max_len=8192 -timeout=10 -rss_limit_mb=2048 \
      -artifact_prefix="$out/artifacts/$target-" -print_final_stats=1 "$corpus" "fuzz/corpus/$target" >"$log" 2>&1; then
    tail -n 60 "$log"
    echo "=== $target FAILED (full output: $log)"
    exit 1
  fi
  executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
  seconds=$(sed -n 's/^Done [0-9]* runs in \([0-9]*\) second.*/\1/p' "$log")
  echo "=== $target: ${executions:-?} executions in ${seconds:-?} s"
done
