#!/usr/bin/env bash
# Installs what is needed, builds, and runs the main job: the framework enabled against the
# simulated Pro Tools, which quits half way; every notification the framework posts is printed.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh
cmake --preset default >/dev/null
cmake --build --preset default --target dawctl

dawctl=build/default/tools/dawctl/dawctl
echo "== dawctl watch: Pro Tools is found, then quits after 5 s"
"$dawctl" watch --seconds 8 --quit-after 5 --dir build/demo-support
echo "== dawctl settings show: the track modes and the matrix the framework keeps"
"$dawctl" settings show --dir build/demo-support
