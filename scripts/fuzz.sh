#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs them, as many at a time as there are cores, each
# starting from its seeds in fuzz/corpus/<target>/. By default each runs for ZAR_FUZZ_SECONDS
# (20 s); with ZAR_FUZZ_RUNS set (say 10000000) each runs for that many executions instead.
# Arguments name the targets to run (all by default). Every target runs even when another fails; a
# crash, a leak, a timeout or a broken invariant fails the script, and the input that caused it is
# left in build/fuzz/artifacts/. A line per target gives its executions.
set -euo pipefail
cd "$(dirname "$0")/.."

targets=(
  zar_fuzz_mode_list
  zar_fuzz_mute_rec_matrix
  zar_fuzz_settings_pair
  zar_fuzz_preferences
  zar_fuzz_midi_splitter
  zar_fuzz_timecode
  zar_fuzz_hui_input
  zar_fuzz_pass_record
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

# One target's run; its exit status goes to $out/<target>.status.
fuzz() {
  local target=$1
  local corpus="$out/corpus/$target" status=0
  mkdir -p "$corpus"
  # New inputs go to the working corpus in the build tree; the seeds in the tree stay as they are.
  "$out/fuzz/$target" "${limit[@]}" -max_len=8192 -timeout=10 -rss_limit_mb=2048 \
    -artifact_prefix="$out/artifacts/$target-" -print_final_stats=1 "$corpus" "fuzz/corpus/$target" \
    >"$out/$target.log" 2>&1 || status=$?
  echo "$status" >"$out/$target.status"
}

jobs=$(nproc)
echo "=== ${#targets[@]} targets, $jobs at a time, each for $what"
for target in "${targets[@]}"; do rm -f "$out/$target.status"; done
running=0
for target in "${targets[@]}"; do
  if ((running >= jobs)); then
    wait -n
    running=$((running - 1))
  fi
  fuzz "$target" &
  running=$((running + 1))
done
wait

failed=0
for target in "${targets[@]}"; do
  log="$out/$target.log"
  if [[ "$(cat "$out/$target.status" 2>/dev/null)" != 0 ]]; then
    tail -n 60 "$log"
    echo "=== $target FAILED (full output: $log)"
    failed=1
    continue
  fi
  executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
  seconds=$(sed -n 's/^Done [0-9]* runs in \([0-9]*\) second.*/\1/p' "$log")
  echo "=== $target: ${executions:-?} executions in ${seconds:-?} s"
done
exit "$failed"
