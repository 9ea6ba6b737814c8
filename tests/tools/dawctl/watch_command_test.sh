#!/usr/bin/env bash
# dawctl watch in virtual time: the framework finds the simulated Pro Tools at once, announces it
# with its name, version and session, and announces its removal at the first discovery pass after
# it quits (passes come every 2.5 s: the one at 5.0 s follows the quit at 4.0 s).
set -euo pipefail

dawctl=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAIL: $*" >&2; cat "$work/out" >&2; exit 1; }

"$dawctl" watch --virtual-time --seconds 8 --quit-after 4 --create --dir "$work/support" >"$work/out"

grep -qxF '[   0.000] ZAR_DAWApplicationAdded: Pro Tools 12.5.0 (major version 12), session " Dialogue Session", tracks 0 "JO Dialog ", 1 "ANNA Dialog ", 2 "Guide ", 3 "FX "' \
  "$work/out" || fail "no Added line with the application's details and tracks at the start"
# Names as the framework reads them from the track titles, blank before the dash included.
grep -qxF '[   3.000] ZAR_DAWApplicationTrackNamesChanged: tracks 0 "JO Dialog ", 1 "ANNA Dialog ", 2 "Guide ", 3 "FX "' \
  "$work/out" || fail "the track names are not named at the first UI refresh"
grep -qxF '[   3.000] ZAR_DAWApplicationSelectionChanged: selection 01:00:00:00 to 01:00:10:00' \
  "$work/out" || fail "the selection is not named"
grep -qxF '[   4.000] (Pro Tools quits)' "$work/out" || fail "Pro Tools didn't quit at 4 s"
# The pass at 5.0 s finds the counters gone and confirms it with a second read 50 ms later.
grep -qxF '[   5.050] ZAR_DAWApplicationRemoved' "$work/out" || fail "no Removed at the pass after the quit"
[ "$(grep -c 'ZAR_DAWApplicationAdded' "$work/out")" -eq 1 ] || fail "Added more than once"
[ "$(grep -c 'ZAR_DAWApplicationRemoved' "$work/out")" -eq 1 ] || fail "Removed more than once"
[ -f "$work/support/AudioTrackModeList.bin" ] && [ -f "$work/support/RecMuteMatrix.bin" ] || fail "no settings files"
# A settings file damaged since its last save is told before anything else.
printf 'x' >>"$work/support/RecMuteMatrix.bin"
"$dawctl" watch --virtual-time --seconds 1 --dir "$work/support" >"$work/out" 2>/dev/null
head -n 1 "$work/out" | grep -q "^\[   0.000\] ZAR_DAWSettingsFileStatus: Settings file .*/RecMuteMatrix.bin is not what was last saved there" ||
  fail "the damaged matrix is not told first"
echo "watch: ok"
