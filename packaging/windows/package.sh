#!/bin/bash
# The programs for Windows as a ZIP and as an installer: package.sh [FOLDER], out/
# if none is named. The same sources and SOURCE_DATE_EPOCH give the same bytes.
set -euo pipefail
out=$(realpath -m "${1:-$(dirname "${BASH_SOURCE[0]}")/../../out}")
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

if [[ -z ${SOURCE_DATE_EPOCH:-} ]]; then
  SOURCE_DATE_EPOCH=$(git log -1 --format=%ct 2>/dev/null || date +%s)
fi
export SOURCE_DATE_EPOCH TZ=UTC LC_ALL=C.UTF-8

cmake --preset windows >/dev/null
cmake --build build/windows --target db-update mdbadm
version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' build/windows/CMakeCache.txt)
name=db-update-$version
stage=build/windows/package/$name

rm -rf build/windows/package
mkdir -p "$stage" "$out"
for program in db-update mdbadm; do
  x86_64-w64-mingw32-strip -o "$stage/$program.exe" "build/windows/bin/$program.exe"
done
# For any editor: with a byte order mark and the line ends of the system.
{
  printf '\xef\xbb\xbf'
  sed -e '/^!\[/d' -e 's/$/\r/' docs/使い方.md
} >"$stage/使い方.txt"
find build/windows/package -exec touch -h -d "@$SOURCE_DATE_EPOCH" {} +

zip=$out/$name-windows-x64.zip
rm -f "$zip"
python3 - "$zip" "$stage" <<'END'
import os, sys, time, zipfile

target, stage = sys.argv[1:]
date = time.gmtime(int(os.environ["SOURCE_DATE_EPOCH"]))[:6]
with zipfile.ZipFile(target, "w", zipfile.ZIP_DEFLATED, compresslevel=9) as archive:
    for name in sorted(os.listdir(stage)):
        entry = zipfile.ZipInfo(os.path.basename(stage) + "/" + name, date)
        entry.compress_type = zipfile.ZIP_DEFLATED
        entry.external_attr = 0o644 << 16
        with open(os.path.join(stage, name), "rb") as file:
            archive.writestr(entry, file.read())
END

setup=$out/$name-windows-x64-setup.exe
makensis -V2 -INPUTCHARSET UTF8 "-DVERSION=$version" "-DSTAGE=$PWD/$stage" \
  "-DICON=$PWD/build/windows/app/win32/db-update.ico" "-DSETUP=$setup" \
  packaging/windows/db-update.nsi
printf '%s\n' "$zip" "$setup"
