#!/bin/bash
# The programs for Windows under wine, on a screen of their own: an upgrade of both
# databases through the real window by keyboard, the result compared with that of
# the programs built here, the error box, and the installer.
#   test.sh MDBADM PICTURES [INSTALLER]
# The cross build must be there; pictures of the screen go to PICTURES.
set -euo pipefail
mdbadm=$(realpath "$1")
pictures=$(realpath -m "$2")
installer=${3:+$(realpath "$3")}
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
wine=$PWD/scripts/wine/wine.sh
bin=$PWD/build/windows/bin
export LC_ALL=C.UTF-8
mkdir -p "$pictures"

# A screen that no other run uses; ended with this script.
if [[ -z ${DBU_SCREEN:-} ]]; then
  export DBU_SCREEN=1
  exec xvfb-run -a -s '-screen 0 1280x900x24' "${BASH_SOURCE[0]}" "$@"
fi

say() { printf '%s\n' "$*"; }
fail() {
  picture failed || true
  printf 'test.sh: %s\n' "$*" >&2
  exit 1
}
picture() { import -window root "$pictures/$1.png"; }

# within SECONDS COMMAND...: whether it succeeds in that time.
within() {
  local end=$((SECONDS + $1))
  shift
  until "$@" >/dev/null 2>&1; do
    if ((SECONDS >= end)); then return 1; fi
    sleep 0.2
  done
}
# eventually WHAT COMMAND...
eventually() {
  local what=$1
  shift
  within 60 "$@" || fail "timed out waiting for $what"
}

# The window of that title (a pattern), once it is there, with the keyboard.
focused() {
  local id
  id=$(xdotool search --onlyvisible --name "^($1)\$" | tail -1)
  [[ -n $id ]] && xdotool windowraise "$id" windowfocus "$id" &&
    [[ $(xdotool getwindowfocus) == "$id" ]]
}
focus() { eventually "a window named $1" focused "$1"; }
gone() { ! xdotool search --onlyvisible --name "^($1)\$"; }
press() { xdotool key --clearmodifiers "$@"; }

stored() { [[ $("$mdbadm" info "$1" --json | python3 -c 'import json, sys
print(json.load(sys.stdin)["version"])') == "$2" ]]; }

# Everything runs in a folder of the prefix, with names in both widths.
work=$("$wine" winepath -u 'C:\工場　データ（ﾃｽﾄ）' 2>/dev/null | tr -d '\r')
here=$PWD/build/windows/by-keyboard
rm -rf "$work" "$here"
mkdir -p "$work" "$here"
"$mdbadm" sample "$here" --data 2 --tenkai 2 >/dev/null
cp "$here"/*.mdb "$bin/db-update.exe" "$work/"
"$mdbadm" upgrade "$here/Data.mdb" "$here/展開Data.mdb" >/dev/null

say "upgrading both files by keyboard"
"$wine" "$work/db-update.exe" &
program=$!
focus DB情報
picture 1-started
# choose PICTURE: the button with the focus opens the dialog,
# which offers the file beside the program.
dialog='開く|Open'
choose() {
  # A key that comes while an action still ends is dropped.
  press space
  within 10 focused "$dialog" || press space
  focus "$dialog"
  picture "$1"
  press Return
  eventually "the end of the dialog" gone "$dialog"
  focus DB情報
}
choose 2-data-dialog
picture 3-data-chosen
press Tab space
eventually "the Data database" stored "$work/Data.mdb" 27
picture 4-data-upgraded
choose 5-tenkai-dialog
press Tab space
eventually "the Tenkai database" stored "$work/展開Data.mdb" 22
picture 6-both-upgraded
press alt+F4
wait "$program" || fail "the window ended with status $?"
for file in Data.mdb 展開Data.mdb; do
  "$mdbadm" check "$work/$file" || fail "$file is not sound"
  "$mdbadm" diff "$here/$file" "$work/$file" || fail "$file differs from the one made here"
  say "$file: the same content as made here, and sound"
done

say "an error, and the status after it"
"$wine" "$work/db-update.exe" &
program=$!
focus DB情報
press Tab Tab Tab Tab space  # the English names, without a database
focus DB更新
picture 7-error
press Return
status=0
wait "$program" || status=$?
[[ $status == 1 ]] || fail "after the error box the status is $status"

if [[ -n $installer ]]; then
  say "installing and removing"
  installed=$("$wine" winepath -u 'C:\Program Files\db-update' 2>/dev/null | tr -d '\r')
  "$wine" "$installer" /S
  for file in db-update.exe mdbadm.exe 使い方.txt uninstall.exe; do
    [[ -s $installed/$file ]] || fail "$file was not installed"
  done
  "$wine" "$installed/mdbadm.exe" check "$work/Data.mdb" || fail "the installed mdbadm fails"
  "$wine" "$installed/uninstall.exe" /S
  eventually "the end of the removal" test ! -e "$installed"
fi
say "all as it should be; pictures in $pictures"
