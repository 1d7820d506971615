#!/bin/bash
# Installs the packages of a folder in a fresh Debian root and runs both
# programs there: clean_root.sh FOLDER [ROOT]; see debian_root.sh.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/debian_root.sh"

folder=$(realpath "$1")
make_root "${2:-}"

mkdir -p "$root/packages"
cp "$folder"/*.deb "$root/packages/"

echo "== mdbadm alone"
inside apt-get update -qq
inside sh -c 'apt-get install -y -qq --no-install-recommends /packages/mdbadm_*.deb' >/dev/null
if inside dpkg-query -W 'libqt6*' 2>/dev/null; then
  echo "mdbadm brought Qt with it" >&2
  exit 1
fi
inside bash -euc '
  cd /tmp && rm -rf sample && mdbadm --version
  mdbadm sample sample
  mdbadm upgrade --summary sample/Data.mdb sample/展開Data.mdb
  mdbadm check sample/Data.mdb && mdbadm check sample/展開Data.mdb
  source /usr/share/bash-completion/completions/mdbadm && complete -p mdbadm'

echo "== db-update with a Japanese font"
inside sh -c 'apt-get install -y -qq --no-install-recommends fonts-ipafont /packages/db-update_*.deb' \
  >/dev/null
# It stays up, as a window does, until a signal ends it.
status=0
inside timeout 5 env QT_QPA_PLATFORM=offscreen db-update || status=$?
if ((status != 124)); then
  echo "db-update ended by itself, status $status" >&2
  exit 1
fi
echo "db-update ran until it was stopped"

echo "== taken away again"
inside apt-get purge -y -qq mdbadm db-update >/dev/null
left=$(inside find / -xdev -path /packages -prune -o -path /proc -prune -o \
  \( -name '*mdbadm*' -o -name '*db-update*' \) -print | grep -v '^/var/lib/dpkg\|^/var/log' || true)
if [[ -n $left ]]; then
  printf 'left behind:\n%s\n' "$left" >&2
  exit 1
fi
echo "nothing is left"
