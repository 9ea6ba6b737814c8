#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each for a bounded time (default 20 s each,
# ZAR_FUZZ_SECONDS to change). A crash, a leak or a broken invariant fails the script; the
# input that caused it is left in build/fuzz/artifacts/.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${ZAR_FUZZ_SECONDS:-20}
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -j2

out=build/fuzz
mkdir -p "$out/artifacts"
for target in zar_fuzz_mode_list zar_fuzz_mute_rec_matrix; do
  corpus="$out/corpus/$target"
  mkdir -p "$corpus"
  echo "=== $target for ${seconds} s"
  "$out/fuzz/$target" -max_total_time="$seconds" -max_len=8192 -timeout=10 -rss_limit_mb=2048 \
    -artifact_prefix="$out/artifacts/$target-" -print_final_stats=1 "$corpus"
done
