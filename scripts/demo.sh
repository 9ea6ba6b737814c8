#!/usr/bin/env bash
# Installs what is needed, builds, and runs the main job: dawctl demo, the road of one take against
# the simulated Pro Tools (rehearse, record two takes, review, then a take without HUI), in real
# time. Exits non-zero when Pro Tools doesn't show what the track modes ask. Arguments go to
# dawctl demo (--virtual-time, --json, --dir DIR, --fps N).
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh
cmake --preset default >/dev/null
cmake --build --preset default --target dawctl

build/default/tools/dawctl/dawctl demo "$@"
