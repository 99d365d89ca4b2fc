#!/bin/sh
# Runs a Windows program under Wine, in a prefix of its own that is made on first use. What is wrong with Wine itself is the last
# line on standard error, with exit code 125. OVICAM_NOTICES is a descriptor for what a person should know meanwhile.
set -eu
here=$(dirname "$(readlink -f "$0")")
refuse() {
  echo "$1" >&2
  exit 125
}
if [ -n "${OVICAM_WINEPREFIX:-}" ]; then
  WINEPREFIX=$OVICAM_WINEPREFIX
elif [ -e "$here/../CMakeLists.txt" ]; then
  WINEPREFIX=$(dirname "$here")/build/wine
else
  WINEPREFIX=${XDG_DATA_HOME:-${HOME:-/tmp}/.local/share}/ovicam/wine
fi
export WINEPREFIX
export WINEDEBUG="${WINEDEBUG:--all}"
# Neither .NET nor a web browser is needed, and without them the prefix is made without asking or downloading.
export WINEDLLOVERRIDES="mscoree=;mshtml=;winemenubuilder.exe="
unset DISPLAY
# Wine reads names of files in the character set of the locale, and they are UTF-8.
export LC_ALL=C.UTF-8
# Debian's own name for it first: the "wine" in the path complains of a 32-bit Wine that nothing here needs.
wine=${OVICAM_WINE:-}
if [ -z "$wine" ]; then
  for wine in /usr/lib/wine/wine64 wine64 wine; do
    command -v "$wine" >/dev/null && break
  done
fi
command -v "$wine" >/dev/null ||
  refuse "Wine, which modules for Windows need, is not installed; install Debian's package wine64, or take the OviCam.so of the same build"
if ! mkdir -p "$WINEPREFIX" 2>/dev/null || [ ! -w "$WINEPREFIX" ]; then
  refuse "The folder $WINEPREFIX cannot be written, and Wine needs one; set OVICAM_WINEPREFIX to a folder of your own"
fi
# Wine takes no other name of it.
WINEPREFIX=$(cd "$WINEPREFIX" && pwd)
notices=${OVICAM_NOTICES:-2}
unset OVICAM_NOTICES
if [ ! -e "$WINEPREFIX/ready" ]; then
  (
    flock 9
    [ ! -e "$WINEPREFIX/ready" ] || exit 0
    echo "note: Wine is being set up in $WINEPREFIX, once; that takes up to a minute" >&"$notices"
    "$wine" wineboot --init >"$WINEPREFIX/setup.log" 2>&1 </dev/null 3>&- || { cat "$WINEPREFIX/setup.log" >&2; exit 1; }
    wineserver -w 2>/dev/null 3>&- || true
    touch "$WINEPREFIX/ready"
  ) 9>"$WINEPREFIX/lock" ||
    refuse "Wine cannot be set up in $WINEPREFIX; remove that folder and try again, or set OVICAM_WINEPREFIX to another one"
fi
exec "$wine" "$@" 3>&-
