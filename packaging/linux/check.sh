#!/bin/bash
# Has the packages in a folder judged by the tools of Debian and the desktop:
# check.sh FOLDER. Fails on the first error; warnings are shown.
set -euo pipefail

folder=$1
unpacked=$(mktemp -d)
trap 'rm -rf "$unpacked"' EXIT

for package in "$folder"/*.deb; do
  echo "== lintian $(basename "$package")"
  # lintian refuses to run as root only where it would have to unpack insecurely.
  lintian --allow-root --fail-on error --display-info --tag-display-limit 0 "$package"
  dpkg-deb -x "$package" "$unpacked"
done
if [[ -d $unpacked/usr/share/applications ]]; then
  echo "== desktop-file-validate"
  desktop-file-validate "$unpacked"/usr/share/applications/*.desktop
  echo "== appstreamcli"
  appstreamcli validate --no-net --pedantic "$unpacked"/usr/share/metainfo/*.xml
  appstreamcli validate-tree --no-net "$unpacked"
fi
