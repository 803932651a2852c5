#!/usr/bin/env bash
# Builds the program, its agents and tests for other processors and runs them here: 32-bit ARM and, with the high byte
# first, s390x under qemu's user emulation, 32-bit x86 on this machine itself. Then the demonstration is played on each,
# and what every one of its runs leaves must be what it leaves on this machine, byte for byte.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
jobs=$(nproc)

scripts/setup.sh processors
here=build/arm-check
mkdir -p $here
log=$here/log.txt
quietly() {
  "$@" >"$log" 2>&1 || { cat "$log" >&2; echo "Failed: $*" >&2; exit 1; }
}
TMPDIR=$(mktemp -d "$([ -w /dev/shm ] && echo /dev/shm || echo /tmp)/ovpatch.XXXXXX")
export TMPDIR
chmod 755 "$TMPDIR"  # some tests act as another user
trap 'rm -rf "$TMPDIR"' EXIT

# story <preset> <emulator>...: plays the demonstration with the program of that preset; a starter in the program's place
# keeps the tree that each run leaves. What another processor names otherwise is masked: process ids in the log.
story() {
  local preset=$1 built=$root/build/$1 kept=$TMPDIR/$1
  shift
  mkdir -p "$kept/runs"
  cat >"$kept/OvPatch" <<END
#!/bin/sh
$* "$built/OvPatch" "\$@" || exit
to="$kept/runs/\$(ls "$kept/runs" | wc -l)"
cp -a . "\$to" && rm "\$to/device/agent.so"
sed -i 's/P\[[0-9]*\] T\[[0-9]*\]/P[#] T[#]/' "\$to/device/OV_Log/KxuDump.txt"
END
  printf '#!/bin/sh\nexec %s "%s" "$@"\n' "$*" "$built/ovpatchctl" >"$kept/ovpatchctl"
  chmod +x "$kept/OvPatch" "$kept/ovpatchctl"
  quietly examples/demo/run.sh "$kept/OvPatch" "$kept/ovpatchctl" "$built/agents/pinned_agent.so"
  [ "$(ls "$kept/runs" | wc -l)" = 5 ] || { echo "$preset: the demonstration did not do its five runs" >&2; exit 1; }
  quietly diff -r "$TMPDIR/release/runs" "$kept/runs"
}

quietly cmake --preset release -DBUILD_TESTING=OFF
quietly cmake --build --preset release -j "$jobs" --target OvPatch ovpatchctl pinned_agent
story release

# check <preset> <what> <tests to leave out> <emulator>...
check() {
  local preset=$1 what=$2 without=$3
  shift 3
  echo "== Build: $what"
  quietly cmake --preset "$preset" -DBUILD_TESTING=ON
  quietly cmake --build --preset "$preset" -j "$jobs"
  echo "== Tests: $what"
  ctest --test-dir "build/$preset" -j "$jobs" --output-on-failure --progress --no-tests=error -E "$without"
  story "$preset" "$@"
}
# Under an emulator a program cannot start another one of its kind, nor list this machine's root directory.
alone='DeathTest|Arguments|InTheRootForRootedOnes|ctl_state'
check i686 "32-bit x86" '^$'
check arm "32-bit ARM" "$alone|runs_damage" qemu-arm -L /usr/arm-linux-gnueabihf
# Of whole runs the word for word ones are enough here: what the others do besides is the same on all processors.
check s390x "s390x, high byte first" "$alone|runs_(damage|updates|rollbacks)|ctl_plan" qemu-s390x -L /usr/s390x-linux-gnu
