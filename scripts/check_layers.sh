#!/bin/bash
# The floors include downwards only, and what lies below the programs neither
# prints nor knows of a toolkit.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

status=0

# complain TITLE GREP-ARGUMENT...
complain() {
  local title=$1 found
  shift
  if found=$(grep -rnE --include='*.h' --include='*.cpp' "$@"); then
    printf '%s:\n%s\n' "$title" "$found" >&2
    status=1
  fi
}

# may_include FLOOR FLOOR-BELOW...: all other floors are above or beside it.
may_include() {
  local floor=$1 other forbidden=()
  if [[ ! -d $floor ]]; then return; fi
  for other in jet sql ado db upgrade app samples mdbadm tests fuzz bench; do
    if [[ " $* " != *" $other "* ]]; then forbidden+=("$other"); fi
  done
  local pattern
  pattern=$(IFS='|' && echo "${forbidden[*]}")
  # app/assembly.cpp ties the steps to the window.
  complain "$floor includes upwards" --exclude='assembly.cpp' "^ *# *include *\"($pattern)/" "$floor"
}

may_include jet
may_include sql jet
may_include ado sql jet
may_include db ado sql jet
may_include upgrade db ado sql jet
may_include app db ado sql jet
may_include samples jet sql ado db upgrade
may_include mdbadm jet sql ado db upgrade samples

for floor in jet sql ado db upgrade; do
  if [[ ! -d $floor ]]; then continue; fi
  complain "$floor prints" '<iostream>|<cstdio>.*print|std::(cout|cerr|clog)|\bf?printf\(|fmt::print' \
    "$floor"
  complain "$floor knows a toolkit" '^ *# *include *<Q' "$floor"
done
if [[ -d app ]]; then
  complain "the window's logic knows a toolkit" --exclude-dir=qt --exclude-dir=win32 \
    '^ *# *include *<(Q|windows\.h)' app
fi

if ((status == 0)); then echo "== floors: no include runs upwards"; fi
exit "$status"
