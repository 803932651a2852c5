#!/usr/bin/env bash
# Runs a Windows program with its arguments through Wine: without a display, without Wine's own messages, and
# in a Wine directory of the project's own (WINEPREFIX, else build/wine).
set -euo pipefail
export WINEPREFIX=${WINEPREFIX:-$(cd "$(dirname "$0")/.." && pwd)/build/wine}
export WINEDEBUG=-all WINEDLLOVERRIDES='mscoree,mshtml=;winemenubuilder.exe=d' LC_ALL=C.UTF-8
unset DISPLAY WAYLAND_DISPLAY

# Debian's own starter warns on every run of the 32-bit Wine that is not there and not needed.
wine=/usr/lib/wine/wine64
[ -x "$wine" ] || wine=$(command -v wine64 || command -v wine) || { echo "Wine is not installed" >&2; exit 1; }

# The superuser may write to every file, and through Wine to read-only ones. Without these two rights it may not.
rights=()
if [ "$(id -u)" -eq 0 ]; then rights=(setpriv --bounding-set=-dac_override,-dac_read_search); fi
exec "${rights[@]}" "$wine" "$@"
