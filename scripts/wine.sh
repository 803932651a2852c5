#!/usr/bin/env bash
# Runs a Windows program with its arguments through Wine: without a display, without Wine's own messages, and
# in a Wine directory of the project's own (WINEPREFIX, else build/wine).
#   scripts/wine.sh PROGRAM ARGUMENT...
#   scripts/wine.sh --server OPTION       the server of that directory: -p keeps it alive, -k ends it
set -euo pipefail
export WINEPREFIX=${WINEPREFIX:-$(cd "$(dirname "$0")/.." && pwd)/build/wine}
environment=(WINEDEBUG=-all 'WINEDLLOVERRIDES=mscoree,mshtml=;winemenubuilder.exe=d' LC_ALL=C.UTF-8)
unset DISPLAY WAYLAND_DISPLAY
# Wine takes the default code page from the locale; the variable is the one that tells it on a POSIX host.
if [ "${OVPATCH_ANSI_CODE_PAGE:-}" = 932 ]; then environment+=("LOCPATH=$WINEPREFIX/locale" LC_ALL=ja_JP.UTF-8); fi

# Debian keeps these two aside; its starter in the path warns on every run of the 32-bit Wine, which is not
# needed.
name=wine64
if [ "${1:-}" = --server ]; then
  name=wineserver
  shift
fi
program=/usr/lib/wine/$name
[ -x "$program" ] || program=$(command -v "$name") || { echo "$name is not installed" >&2; exit 1; }

# The superuser may write to every file, and through Wine to read-only ones too. Without these two rights the
# host refuses him as it refuses others.
rights=()
if [ "$(id -u)" -eq 0 ]; then rights=(setpriv --bounding-set=-dac_override,-dac_read_search); fi
exec env "${environment[@]}" "${rights[@]}" "$program" "$@"
