#!/usr/bin/env bash
# The demonstration itself: run.sh <OvPatch> <ovpatchctl> <agent library>. It works in a fresh temporary directory.
set -euo pipefail
program=$1
ctl=$2
agent=$3

if [ -t 1 ]; then bold=$'\e[1m' dim=$'\e[2m' green=$'\e[32m' red=$'\e[31m' plain=$'\e[0m'
else bold='' dim='' green='' red='' plain=''; fi
title() { printf '\n%s== %s%s\n' "$bold" "$1" "$plain"; }
tell() { printf '%s\n' "$@"; }
show() { sed "s/^/    /" <<<"$1"; }

place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
cd "$place"
mkdir -p device/OV_Temp engine
cp "$agent" device/agent.so
log=device/OV_Log/KxuDump.txt

# The updater's part: new files in the work area, and a manifest.
#   lay <class> <type> <file> <content>
lay() { mkdir -p "device/OV_Temp/$1/$2"; printf '%s\n' "$4" >"device/OV_Temp/$1/$2/$3"; }
#   manifest <action> <from> <to> <from> <to>: the engine (class 2, type 1f) and its patterns (class 3, type 4)
manifest() {
  cat >device/OV_Temp/OvPatch.ini <<M
[common]
action=$1
itemcount=2
patchagent.version=1
patchagent=device\\agent.so
orvelle_path=device
[item_0]
class=2
type=1f
origin.version=$2
result.version=$3
destination=engine
item.zip=engine.zip
[item_1]
class=3
type=4
origin.version=$4
result.version=$5
destination=engine
item.zip=patterns.zip
M
}
files() { (cd engine && find . -path ./OV_Backup -prune -o -type f -print | sort | sed 's|^\./||' |
  while read -r f; do printf '%-16s %s\n' "$f" "$(cat "$f")"; done); }

# Shows what the program is about to do, runs it and shows what it left: result, product, what can be rolled back, the
# log's telling lines.
run() {
  printf '%s$ ovpatchctl plan device%s\n' "$dim" "$plain"
  show "$("$ctl" plan device || true)"  # its exit status tells of remarks
  local before=0
  [ -f "$log" ] && before=$(wc -c <"$log")
  printf '%s$ OvPatch device%s\n' "$dim" "$plain"
  "$program" device
  local result colour=$green
  result=$(cat device/OV_Temp/OvResult.ini)
  [ "$result" = result=0 ] || colour=$red
  printf 'OvResult.ini:   %s%s%s\n' "$colour" "$result" "$plain"
  tell "The product now:"
  show "$(files)"
  printf '%s$ ovpatchctl status engine%s\n' "$dim" "$plain"
  show "$("$ctl" status engine || true)"
  local lines
  lines=$(tail -c +$((before + 1)) "$log" | awk -v RS= '{ sub(/  P\[[0-9]+\] T\[[0-9]+\] \n/, "  "); gsub(/\n/, ""); print }')
  tell "The log's $(wc -l <<<"$lines") new records, the agent's part of them:"
  show "$(grep -E 'PatchAgent (Start|Check|End|IsRoll)|Error:|recovery:|auto rollback( done)?\.$' <<<"$lines" || true)"
}

title "The device"
tell "A product with two files and an OvPatch directory with a patch agent. The agent is the product's own" \
     "library: OvPatch asks it about every file. This one leaves pinned files alone."
printf 'engine 1.5\n' >engine/eng.dll
printf 'patterns 1234\n' >engine/pat.bin
show "$(files)"

title "1. An update: 1.5 to 1.6"
tell "The updater has laid out an engine, a new helper library and patterns. eng.dll and pat.bin will be" \
     "overwritten, so their old contents are saved first; helper.dll is new. The ledger notes both."
lay 2 31 eng.dll "engine 1.6"
lay 2 31 helper.dll "helper 1.6"
lay 3 4 pat.bin "patterns 1240"
manifest 0 1.5 1.6 1234 1240
run

title "2. A second update: 1.6 to 1.7"
tell "The ledger keeps one level per item: the copies of the first update go, those of the second take" \
     "their place."
lay 2 31 eng.dll "engine 1.7"
lay 2 31 helper.dll "helper 1.7"
lay 3 4 pat.bin "patterns 1250"
manifest 0 1.6 1.7 1240 1250
run

title "3. An update that is refused: 1.7 to 1.8"
tell "The agent refuses the patterns (a veto file is there), which nobody can foretell. By then the engine has been" \
     "replaced already: everything is put back, and the ledger stays as it was."
lay 2 31 eng.dll "engine 1.8, never to be seen"
: >patterns.zip.veto
lay 3 4 pat.bin "patterns 1260, never to be seen"
manifest 0 1.7 1.8 1250 1260
run
rm patterns.zip.veto

title "4. An update that is cut off: 1.7 to 1.8"
tell "The program is killed, as a power cut would do it, while the agent looks at the patterns. By then the engine" \
     "is new already. The journal beside the manifest tells what has been done and how to undo it:"
lay 2 31 eng.dll "engine 1.8"
lay 3 4 pat.bin "patterns 1260"
manifest 0 1.7 1.8 1250 1260
printf '%s$ OvPatch device%s\n' "$dim" "$plain"
mkfifo engine/pat.bin.pinned  # for which the agent looks, and waits there until somebody writes
asked() { grep -c 'CheckFileEx with: engine.pat.bin' "$log"; }
before=$(asked)
set -m
"$program" device &
until [ "$(asked)" -gt "$before" ]; do sleep 0.05; done
kill -9 -- "-$!"
wait "$!" 2>/dev/null || tell "${red}killed$plain"
set +m
rm engine/pat.bin.pinned
show "$(files)"
show "$(sed "s|$PWD|...|" device/OvJournal.txt)"
printf '%s$ ovpatchctl status device%s\n' "$dim" "$plain"
show "$("$ctl" status device || true)"
tell "" "Started again, it first puts the state before back; then it updates as if nothing had happened:"
run

title "5. A rollback of that update"
tell "The same manifest with action=1. The ledger says what to put back; afterwards it holds no item."
manifest 1 1.7 1.8 1250 1260
run

title "Where to read on"
tell "README.md for a walk by hand, docs/ovpatchctl.md for the tool beside the program. docs/manifest.md," \
     "docs/ledger.md, docs/agents.md and docs/results-and-logs.md for the files and the contract;" \
     "include/ovpatch/patch_agent.h for agents."
