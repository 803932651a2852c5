#!/usr/bin/env bash
# Builds OvPatch.exe, the agents and the unit tests for Windows and runs every test under Wine: the unit tests
# of all rooms, the platform contract among them, and whole runs of OvPatch.exe, which a script starts from this host.
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=$(nproc)

scripts/setup.sh check
packages=()
command -v x86_64-w64-mingw32-g++-posix >/dev/null 2>&1 || packages+=(g++-mingw-w64-x86-64-posix)
[ -x /usr/lib/wine/wine64 ] || command -v wine64 >/dev/null 2>&1 || packages+=(wine64)
[ -e /usr/share/i18n/locales/ja_JP ] || packages+=(locales)
[ -e /usr/src/googletest/CMakeLists.txt ] || packages+=(googletest)
if [ ${#packages[@]} -gt 0 ]; then
  echo "Installing ${packages[*]}"
  sudo=()
  [ "$(id -u)" -eq 0 ] || sudo=(sudo)
  if ! "${sudo[@]}" apt-get update -qq ||
     ! "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive \
         apt-get install -y -qq --no-install-recommends "${packages[@]}" >/dev/null; then
    echo "The tests for Windows cannot run: these packages (Debian's names) cannot be installed: ${packages[*]}" >&2
    exit 1
  fi
fi

mkdir -p build/windows-check
log=build/windows-check/log.txt
quietly() {
  "$@" >"$log" 2>&1 || { cat "$log" >&2; echo "Failed: $*" >&2; exit 1; }
}

echo "== Wine"
# The server outlives the programs, so that each test starts at once.
trap 'scripts/wine.sh --server -k >/dev/null 2>&1 || true' EXIT
mkdir -p build/wine/locale
quietly localedef -i ja_JP -f UTF-8 build/wine/locale/ja_JP.UTF-8
scripts/wine.sh --server -p >"$log" 2>&1 || true  # one may be there already
quietly scripts/wine.sh wineboot -i

echo "== Build: OvPatch.exe, ovpatchctl.exe, agents and unit tests"
quietly cmake --preset windows
cmake --build --preset windows -j "$jobs" -- --quiet
for built in build/windows/OvPatch.exe build/windows/ovpatchctl.exe build/windows/agents/*.dll; do
  needed=$(x86_64-w64-mingw32-objdump -p "$built" | sed -n 's/.*DLL Name: //p' | grep -vixE 'kernel32\.dll|msvcrt\.dll' || true)
  [ -z "$needed" ] || { echo "$built needs more than Windows itself has:" $needed >&2; exit 1; }
done

echo "== Tests: Windows"
# Now and then Wine does not get a program started at all (it ends at once, without a word); such a test is tried again.
ctest --test-dir build/windows -j "$jobs" --output-on-failure --progress --no-tests=error --repeat until-pass:3
