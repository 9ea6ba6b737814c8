#!/usr/bin/env bash
# Installs what is needed, builds, and runs the main job against the simulated Pro Tools.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh
cmake --preset default >/dev/null
cmake --build --preset default --target dawctl

dawctl=build/default/tools/dawctl/dawctl
"$dawctl" --help
"$dawctl" timecode "00:59:58;02.40"
