#!/usr/bin/env bash
# Runs dawctl on the real Linux desktop against the stand-in Pro Tools: starts a private X server
# without hardware (Xvfb), a D-Bus session bus with the accessibility bus switched on and a JACK
# server on the dummy driver, then the stand-in (tools/protools-standin), then
#   dawctl hui-check --api jack          the stand-in talks HUI with the framework's ports
#   dawctl watch --desktop x11 ...       the framework finds it, reads it, sees it quit
# or, given arguments, `dawctl ARGUMENTS...` instead. Everything started here ends with the script.
# `demo --desktop x11 ...` runs the demo against the stand-in, which is then started with the demo's
# session (`dawctl demo --standin-options`) and runs until the script ends.
# Environment: ZAR_SKIP_INSTALL=1 skips scripts/install-deps.sh; STANDIN_OPTIONS adds options to
# the stand-in (default, except for the demo: it quits after 8 seconds).
set -euo pipefail
cd "$(dirname "$0")/.."

[[ "${ZAR_SKIP_INSTALL:-0}" == 1 ]] || bash scripts/install-deps.sh
cmake --preset default >/dev/null
cmake --build --preset default --target dawctl protools-standin

dawctl=build/default/tools/dawctl/dawctl
standin=build/default/tools/protools-standin/protools-standin
work=$(mktemp -d)
pids=()
cleanup() {
  for ((i = ${#pids[@]} - 1; i >= 0; i--)); do kill "${pids[i]}" 2>/dev/null || true; done
  # jackd sometimes hangs in its own shutdown after SIGTERM: five seconds, then SIGKILL.
  for ((tries = 0; tries < 50; tries++)); do
    alive=0
    for pid in "${pids[@]}"; do kill -0 "$pid" 2>/dev/null && alive=1; done
    [ "$alive" = 0 ] && break
    sleep 0.1
  done
  for pid in "${pids[@]}"; do kill -9 "$pid" 2>/dev/null || true; done
  wait 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT

# A line a background program writes into a file, waited for (bounded).
wait_for_line() {  # file pattern seconds
  for ((n = 0; n < $3 * 10; n++)); do
    if grep -q "$2" "$1" 2>/dev/null; then return 0; fi
    sleep 0.1
  done
  echo "x11-desktop: timed out waiting for '$2' in $1" >&2
  return 1
}

Xvfb -displayfd 3 -screen 0 1600x1200x24 -nolisten tcp 3>"$work/display" 2>"$work/xvfb.log" &
pids+=($!)
wait_for_line "$work/display" '[0-9]' 10
export DISPLAY=":$(head -n1 "$work/display")"

dbus-daemon --session --nofork --print-address=3 3>"$work/bus" 2>"$work/bus.log" &
pids+=($!)
wait_for_line "$work/bus" 'unix:' 10
export DBUS_SESSION_BUS_ADDRESS=$(head -n1 "$work/bus")
unset AT_SPI_BUS_ADDRESS
# Starts at-spi2-core's accessibility bus and switches toolkit accessibility on.
dbus-send --session --print-reply --dest=org.a11y.Bus /org/a11y/bus org.freedesktop.DBus.Properties.Set \
  string:org.a11y.Status string:IsEnabled variant:boolean:true >/dev/null

export JACK_DEFAULT_SERVER="zar-x11-${DISPLAY#:}" JACK_NO_START_SERVER=1
jackd -n "$JACK_DEFAULT_SERVER" -r -t 10000 -d dummy -r 48000 -p 1024 >"$work/jack.log" 2>&1 &
pids+=($!)
jack_wait --server "$JACK_DEFAULT_SERVER" --wait --timeout 10 >/dev/null 2>&1
echo "== private desktop: DISPLAY=$DISPLAY, JACK server $JACK_DEFAULT_SERVER"

if [[ "${1:-}" == demo ]]; then
  mapfile -t session < <("$dawctl" demo --standin-options)
  # shellcheck disable=SC2206 # STANDIN_OPTIONS is a list of options
  standin_options=("${session[@]}" ${STANDIN_OPTIONS:-})
else
  # shellcheck disable=SC2206
  standin_options=(--session "Reel 3" ${STANDIN_OPTIONS:---quit-after 8})
fi
"$standin" "${standin_options[@]}" >"$work/standin.log" &
pids+=($!)
wait_for_line "$work/standin.log" '^ready' 10
echo "== stand-in Pro Tools running ($(head -n1 "$work/standin.log"))"

if (($#)); then
  "$dawctl" "$@"
  exit
fi
echo "== dawctl hui-check --api jack: the stand-in pings the framework's HUI ports"
"$dawctl" hui-check --api jack --seconds 5
echo "== dawctl watch --desktop x11: the framework finds the stand-in, which quits after 8 s"
"$dawctl" watch --desktop x11 --seconds 10 --dir "$work/support" --alert-answer ok
echo "== what the stand-in saw"
cat "$work/standin.log"
