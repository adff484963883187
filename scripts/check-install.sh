#!/usr/bin/env bash
# The program as a user receives it, from an existing build: installed into a temporary prefix,
# its desktop files validated, packaged as a .deb, unpacked into a scratch root and started there:
# lvxtool, its man page and the reader itself.
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
# The man page renders without complaint.
man_warnings=$(MANWIDTH=80 man --warnings -l "$root/usr/share/man/man1/lvxtool.1.gz" 2>&1 >/dev/null)
[ -z "$man_warnings" ] || { echo "check-install: man page: $man_warnings" >&2; exit 1; }
MANWIDTH=80 man -l "$root/usr/share/man/man1/lvxtool.1.gz" 2>/dev/null | grep -q 'lvxtool'

# The reader from the package, with nothing of the build beside it, on a fresh account: it
# comes up, finds its run-time files in share/lvxreader and closes on SIGTERM as from Exit,
# writing its log.
test ! -e "$root/usr/bin/LvxReader.skin"
home=$scratch/home
mkdir -p "$home"
HOME=$home XDG_CONFIG_HOME=$home/.config XDG_DATA_HOME=$home/.local/share \
  QT_QPA_PLATFORM=offscreen LC_ALL=C "$root/usr/bin/LvxReader" >"$scratch/reader.out" 2>&1 &
reader=$!
settings=$home/.config/Brevik/LvxReader
for _ in $(seq 1 100); do
  [ -d "$settings" ] && break
  kill -0 "$reader" 2>/dev/null || break
  sleep 0.1
done
sleep 2  # the main window's first show
kill -TERM "$reader"
for _ in $(seq 1 100); do kill -0 "$reader" 2>/dev/null || break; sleep 0.1; done
if kill -0 "$reader" 2>/dev/null; then
  kill -KILL "$reader"
  echo "check-install: the installed reader did not close on SIGTERM" >&2
  exit 1
fi
wait "$reader" || true
log=$(echo "$settings"/LvxReader_*.log)
data=$root/usr/share/lvxreader
if ! grep -q "Run-time files in \"$data\"" "$log" || ! grep -q 'Load skin from file' "$log" ||
  grep -q 'Skin file .* is missing' "$log"; then
  echo "check-install: the installed reader did not use $data:" >&2
  cat "$log" "$scratch/reader.out" >&2
  exit 1
fi
test -s "$data/LvxReader.html"
echo "check-install: $(basename "$deb") installs, validates and runs"
