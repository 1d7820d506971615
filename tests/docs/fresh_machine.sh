#!/bin/bash
# Runs all that README and docs show in a fresh Debian root, on the tree as it is
# committed and the packages of a folder: fresh_machine.sh FOLDER [ROOT]; see
# debian_root.sh.
set -euo pipefail
tree=$(realpath "$(dirname "${BASH_SOURCE[0]}")/../..")
source "$tree/packaging/linux/debian_root.sh"

packages=$(realpath "$1")
make_root "${2:-}"
rm -rf "$root/tree" "$root/packages"
git -c safe.directory="$tree" clone -q "$tree" "$root/tree"
mkdir "$root/packages"
cp "$packages"/*.deb "$root/packages/"

# What a reader of the README has: a clone, a way to be root, and
# the answer yes. Python is for the script that reads the pages.
echo 'APT::Get::Assume-Yes "true";' >"$root/etc/apt/apt.conf.d/90yes"
inside apt-get update -qq
inside apt-get install -qq --no-install-recommends git sudo python3 >/dev/null
inside python3 /tree/tests/docs/run_examples.py /tree /tree/build/release/bin --packages /packages
