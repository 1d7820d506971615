#!/bin/bash
# Runs a program for Windows in the prefix of the cross build: wine.sh PROGRAM...
set -euo pipefail
root=$(realpath "$(dirname "${BASH_SOURCE[0]}")/../..")
export WINEPREFIX=${WINEPREFIX:-$root/build/windows/wine}
export WINEDEBUG=${WINEDEBUG:--all}
# No browser engine and no .NET, which would be asked for at the first start.
export WINEDLLOVERRIDES='mscoree,mshtml='
# Names of files outside ASCII need a locale that has them.
export LC_ALL=C.UTF-8

prepare() {
  if [[ -e $WINEPREFIX/prepared ]]; then return; fi
  /usr/lib/wine/wine64 wineboot -i >/dev/null 2>&1
  /usr/lib/wine/wine64 regedit /S "$(/usr/lib/wine/wine64 winepath -w "$root/scripts/wine/prefix.reg")"
  /usr/lib/wine/wineserver64 -w
  touch "$WINEPREFIX/prepared"
}

mkdir -p "$WINEPREFIX"
exec 9>"$WINEPREFIX.lock"
flock 9
prepare
exec 9>&-
exec /usr/lib/wine/wine64 "$@"
