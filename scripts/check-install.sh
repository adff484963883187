#!/usr/bin/env bash
# The program as a user receives it, from an existing build: installed into a temporary prefix,
# its desktop files validated, packaged as a .deb, unpacked into a scratch root and started there.
set -euo pipefail
cd "$(dirname "$0")/.."
build=$(realpath "${1:-build}")
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

prefix=$scratch/prefix
cmake --install "$build" --prefix "$prefix" >/dev/null
desktop-file-validate "$prefix"/share/applications/*.desktop
appstreamcli validate --no-net "$prefix"/share/metainfo/*.metainfo.xml
for size in 48x48 128x128 256x256; do
  file -b "$prefix/share/icons/hicolor/$size/apps/lvxreader.png" | grep -q "${size/x/ x },"
done
test -s "$prefix/share/icons/hicolor/scalable/apps/lvxreader.svg"
test -s "$prefix/share/lvxreader/LvxReader.skin"
zcat "$prefix/share/man/man1/lvxtool.1.gz" | grep -q '^\.TH LVXTOOL 1'

cpack -G DEB --config "$build/CPackConfig.cmake" -B "$scratch/package" >/dev/null
deb=$(echo "$scratch"/package/*.deb)
dpkg-deb --field "$deb" Depends | grep -q 'libqt6widgets6'
# A package owns only its prefix.
outside=$(dpkg-deb --contents "$deb" | awk '{print $6}' | grep -v '^\./usr/' | grep -v '^\./$' || true)
if [ -n "$outside" ]; then
  echo "check-install: files outside /usr: $outside" >&2
  exit 1
fi

root=$scratch/root
dpkg -x "$deb" "$root"
test -x "$root/usr/bin/LvxDiagramDesigner"
"$root/usr/bin/lvxtool" --help | grep -q '^  lvxtool decode '
set +e
"$root/usr/bin/lvxtool" --no-such-option 2>/dev/null
rc=$?
set -e
[ "$rc" -eq 2 ]
echo "check-install: $(basename "$deb") installs, validates and runs"
