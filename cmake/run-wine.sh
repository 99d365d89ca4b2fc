#!/bin/sh
# Runs a Windows program of this build under Wine, in a prefix of its own that is made on first use.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
export WINEPREFIX="${OVICAM_WINEPREFIX:-$root/build/wine}"
export WINEDEBUG="${WINEDEBUG:--all}"
# Neither .NET nor a web browser is needed, and without them the prefix is made without asking or downloading.
export WINEDLLOVERRIDES="mscoree=;mshtml=;winemenubuilder.exe="
unset DISPLAY
# Wine reads names of files in the character set of the locale, and they are UTF-8.
export LC_ALL=C.UTF-8
# Debian's own name for it first: the "wine" in the path complains of a 32-bit Wine that nothing here needs.
for wine in /usr/lib/wine/wine64 wine64 wine; do
  command -v "$wine" >/dev/null && break
done
mkdir -p "$WINEPREFIX"
if [ ! -e "$WINEPREFIX/ready" ]; then
  (
    flock 9
    if [ ! -e "$WINEPREFIX/ready" ]; then
      "$wine" wineboot --init >/dev/null 2>&1 </dev/null
      wineserver -w 2>/dev/null || true
      touch "$WINEPREFIX/ready"
    fi
  ) 9>"$WINEPREFIX/lock"
fi
exec "$wine" "$@"
