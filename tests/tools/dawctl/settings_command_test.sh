#!/usr/bin/env bash
# dawctl settings, end to end on a fresh directory: the files a first start leaves, edits that
# last, and refused commands that leave every byte where it was.
set -euo pipefail

dawctl=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
dir="$work/support"
list="$dir/AudioTrackModeList.bin"
matrix="$dir/RecMuteMatrix.bin"
null_uuid=ZAR_DAWAudioTrackModeNullUUID

fail() { echo "FAIL: $*" >&2; exit 1; }
# Output goes to files before it is searched: grep -q closing a pipe early would fail the writer.
# Runs a command that must be refused: non-zero exit and exactly one line on stderr.
refused() {
  if "$dawctl" "$@" >"$work/out" 2>"$work/err"; then fail "accepted: $*"; fi
  [ "$(wc -l <"$work/err")" -eq 1 ] || fail "not one error line for: $* ($(cat "$work/err"))"
}

# First start: both files appear; the matrix holds 64 null uuids in each of its three lists.
"$dawctl" settings show --create --dir "$dir" >"$work/show"
[ -f "$list" ] && [ -f "$matrix" ] || fail "first start did not write both files"
grep -q '"Record" .*before=Input during=Record after=Input' "$work/show" || fail "default modes missing"
protoc --decode_raw <"$matrix" >"$work/raw"
for field in 1 2 3; do
  count=$(grep -c "^$field: \"$null_uuid\"\$" "$work/raw")
  [ "$count" -eq 64 ] || fail "field $field holds $count null uuids, not 64"
done
[ "$(wc -l <"$work/raw")" -eq 192 ] || fail "the matrix holds more than the null uuids"

# A second start reads the same modes back: same uuids, files untouched.
cp "$list" "$work/list.before"
"$dawctl" settings show --dir "$dir" >"$work/show2"
cmp -s "$work/show" "$work/show2" || fail "second start shows something else"
cmp -s "$list" "$work/list.before" || fail "second start rewrote the list"

# Edits.
"$dawctl" settings add-mode "Dub" mute record input --dir "$dir" >/dev/null
"$dawctl" settings assign 63 --record Dub --rehearse Play --dir "$dir" >/dev/null
"$dawctl" settings show --dir "$dir" >"$work/show"
grep -q '"Dub" .*before=Mute during=Record after=Input' "$work/show" || fail "added mode missing"
grep -q 'track 63: rehearse="Play" record="Dub" review=none' "$work/show" || fail "assignment missing"
dub_uuid=$(sed -n 's/.*"Dub" *uuid=\([A-Za-z0-9]*\).*/\1/p' "$work/show")
[ "${#dub_uuid}" -eq 16 ] || fail "no 16-character uuid for the new mode"
"$dawctl" settings decode "$matrix" >"$work/decoded"
grep -q '^# ZAR_ProtoDAWMuteRecMatrix$' "$work/decoded" || fail "matrix not recognised"
grep -c "recordModeUuids: \"$dub_uuid\"" "$work/decoded" | grep -qx 1 || fail "matrix does not name the mode"
cp "$matrix" "$work/named-by-content"
"$dawctl" settings decode "$work/named-by-content" >"$work/decoded"
grep -q '^# ZAR_ProtoDAWMuteRecMatrix$' "$work/decoded" || fail "matrix not recognised without its file name"
"$dawctl" settings decode "$list" >"$work/decoded"
grep -q "name: \"Dub\"" "$work/decoded" || fail "list not decoded"

# Refused commands change nothing, not even on a first start.
cp "$list" "$work/list.before"
cp "$matrix" "$work/matrix.before"
refused settings assign 64 --record Dub --dir "$dir"
refused settings assign -1 --record Dub --dir "$dir"
refused settings assign 2 --record Nobody --dir "$dir"
refused settings assign 2 --dir "$dir"
refused settings add-mode X Play Loud Play --dir "$dir"
refused settings remove-mode Nobody --dir "$dir"
cmp -s "$list" "$work/list.before" && cmp -s "$matrix" "$work/matrix.before" || fail "a refused command wrote"
refused settings assign 2 --record Nobody --create --dir "$work/fresh"
[ ! -e "$work/fresh" ] || fail "a refused first start left files"

# Removing an assigned mode (with --force) leaves those tracks without it.
"$dawctl" settings remove-mode "$dub_uuid" --force --dir "$dir" >/dev/null
"$dawctl" settings show --dir "$dir" >"$work/show"
grep -q '"Dub"' "$work/show" && fail "removed mode still listed"
grep -q 'track 63: rehearse="Play" record=none review=none' "$work/show" || fail "removed mode still assigned"
"$dawctl" settings assign 63 --rehearse none --dir "$dir" >/dev/null
"$dawctl" settings show --dir "$dir" >"$work/show"
grep -q 'track 63' "$work/show" && fail "cleared assignment still shown"

# Damage that still parses (a byte changed in a mode's name) refuses every command but status,
# which names it with the copy of the last save; restore brings that back.
cp "$list" "$work/list.good"
perl -pi -e 's/Mute/Mutf/' "$list"
refused settings show --dir "$dir"
if "$dawctl" settings status --dir "$dir" >"$work/status"; then fail "status found no damage"; fi
grep -q "AudioTrackModeList.bin is not what was last saved there" "$work/status" || fail "damage not named"
copy=$(sed -n 's/.*to bring back the last version saved: dawctl settings restore \([^ ]*\) .*/\1/p' "$work/status")
[ -n "$copy" ] || fail "no copy to bring back named"
"$dawctl" settings restore "$copy" --dir "$dir" >/dev/null
cmp -s "$list" "$work/list.good" || fail "restore did not bring back the last save"
"$dawctl" settings status --dir "$dir" >"$work/status" || fail "restored files still damaged"
grep -q "RecMuteMatrix.bin: as last saved" "$work/status" || fail "matrix not as last saved"
"$dawctl" settings decode "$list.last-saved" >"$work/decoded"
grep -q '^# the copy of a save' "$work/decoded" || fail "copy of a save not decoded"
refused settings restore "$work/named-by-content" --dir "$dir"

# A file that does not parse is neither used nor overwritten.
printf '\xff\xff\xffnot a message' >"$list"
cp "$list" "$work/list.before"
refused settings show --dir "$dir"
refused settings add-mode X Play Play Play --dir "$dir"
cmp -s "$list" "$work/list.before" || fail "an unparsable list was overwritten"
refused settings decode "$list"
refused settings decode "$work/missing.bin"
: >"$work/empty.bin"
"$dawctl" settings decode "$work/empty.bin" >"$work/decoded"
grep -q '^# ZAR_Proto' "$work/decoded" || fail "an empty file is a valid message"

echo "dawctl settings: all checks passed"
