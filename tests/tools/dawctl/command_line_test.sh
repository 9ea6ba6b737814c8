#!/usr/bin/env bash
# dawctl as a stage engineer meets it: each mistake is named in one line with a documented exit
# code (0 ok, 1 failure found, 2 usage, 3 hui-check's ports can't open), and nothing is written
# where it wasn't asked for.
set -euo pipefail

dawctl=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
dir="$work/settings"
mkdir "$dir"
: >"$work/a-file"

fail() { echo "FAIL: $*" >&2; cat "$work/out" "$work/err" >&2; exit 1; }
# check EXIT TEXT ARGS...: dawctl exits EXIT and prints TEXT (on stdout or stderr).
check() {
  local expected=$1 text=$2 code=0
  shift 2
  "$dawctl" "$@" >"$work/out" 2>"$work/err" || code=$?
  [ "$code" -eq "$expected" ] || fail "exit $code, not $expected: $*"
  grep -qF -- "$text" "$work/out" "$work/err" || fail "no \"$text\" from: $*"
}
# The failure is one line (two for hui-check: the cause and the next step).
lines() { [ "$(wc -l <"$work/err")" -eq "$1" ] || fail "stderr is not $1 line(s)"; }

# The whole command line.
check 0 "dawctl 1.0.0" --version
check 0 "Exit codes: 0 ok; 1 a failure found" --help
check 0 "3 hui-check: the HUI MIDI ports can't be opened" --help
check 2 'unknown command "frobnicate"; the commands are: timecode, settings, demo, watch, hui-check' frobnicate
lines 1
check 2 'unknown command "shwo"; the commands of settings are: show, add-mode' settings shwo
check 2 "--bogus" watch --bogus
check 2 "-1 is not a number of seconds from 0 to 86400" watch --seconds -1
lines 1
check 2 "abc is not a number of seconds from 0 to 3600" hui-check --seconds abc
check 2 "--virtual-time is for the simulated desktop" demo --desktop x11 --virtual-time
lines 1

# The demo: the first passes only; the stand-in's options carry the session's starting states.
check 0 "2 passes, 1 takes recorded" demo --virtual-time --passes 2
check 0 "ANNA Dialog:armed" demo --standin-options

# --dir must name an existing directory; --create makes a new one.
for command in "settings show" "watch --virtual-time --seconds 0"; do
  # shellcheck disable=SC2086
  check 2 "--dir $work/TYPO does not exist; give --create" $command --dir "$work/TYPO"
  lines 1
  [ ! -e "$work/TYPO" ] || fail "$command made the mistyped directory"
  # shellcheck disable=SC2086
  check 2 "--dir $work/a-file is not a directory" $command --dir "$work/a-file"
done
check 0 "modes ($work/new/AudioTrackModeList.bin)" settings show --create --dir "$work/new"

# Mode names: no duplicates, not "none"; removing an assigned mode needs --force and names tracks.
check 0 "Track positions count from 0 to 63 over the audio and aux tracks only" settings show --dir "$dir"
check 0 "not Pro Tools' own track numbers" settings --help
cp "$dir/AudioTrackModeList.bin" "$work/list.before"
check 2 'a mode is already named "Record"' settings add-mode Record Play Play Play --dir "$dir"
check 2 '"none" means no mode' settings add-mode None Play Play Play --dir "$dir"
cmp -s "$dir/AudioTrackModeList.bin" "$work/list.before" || fail "a refused name was written"
check 0 'track 5: rehearse=none record="Record"' settings assign 5 --record Record --dir "$dir"
check 0 'track 9: rehearse="Record" record="Record"' settings assign 9 --record Record --rehearse Record --dir "$dir"
cp "$dir/RecMuteMatrix.bin" "$work/matrix.before"
check 2 '"Record" is assigned to track 5 (record), 9 (rehearse, record); give --force' \
  settings remove-mode Record --dir "$dir"
lines 1
cmp -s "$dir/RecMuteMatrix.bin" "$work/matrix.before" || fail "a refused removal wrote"
check 0 "track 5 (record), 9 (rehearse, record) now without it" settings remove-mode Record --force --dir "$dir"
check 0 "assignments" settings show --dir "$dir"
grep -q "track  [59]:" "$work/out" && fail "tracks still assigned the removed mode"

# hui-check: ports that can't open, and ports nobody pings, each with its own code; the MIDI
# libraries' noise stays out of the output.
export JACK_NO_START_SERVER=1 JACK_DEFAULT_SERVER="zar-absent-$$"
check 3 'cannot open the HUI MIDI ports "ZAR_DAWControl HUI" on jack' hui-check --api jack --seconds 0
lines 2
grep -q '^next: start the JACK server' "$work/err" || fail "no next step for the ports"
check 1 "Pro Tools did not ping the HUI ports within 0 s (0 pings seen)" hui-check --api loopback --seconds 0
lines 2
grep -q "^next: in Pro Tools' Setup > Peripherals" "$work/err" || fail "no next step for the ping"

echo "dawctl command line: all checks passed"
