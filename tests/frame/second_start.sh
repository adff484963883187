#!/usr/bin/env bash
# Starts the real program twice in a row in the C locale on a virtual display, the way a user
# would on a fresh account: the first run connects the simulated instrument, sets an override
# date, opens the help window and exits from the navigation bar; the second run must come up
# whole (no error box, connection panel docked, splash gone) with the date back, and both logs
# must be well formed. Run it under xvfb-run with a 1600x1000 screen:
#   second_start.sh LVXREADER VERSION [SHOTS_DIR]
set -euo pipefail
exe=$1
version=$2
shots=${3:-}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export HOME=$work XDG_CONFIG_HOME=$work/config XDG_DATA_HOME=$work/data LC_ALL=C LANG=C
unset LANGUAGE LC_TIME LC_NUMERIC
caption="Phonara Reader: (Version $version)"
settings_dir=$XDG_CONFIG_HOME/Brevik/LvxReader

fail() { echo "FAIL: $*" >&2; exit 1; }

# The main window's id once it is up; the splash carries the same caption.
main_window() {
  for _ in $(seq 1 100); do
    for w in $(xdotool search --onlyvisible --name "Phonara Reader" 2>/dev/null); do
      [ "$(xdotool getwindowgeometry "$w" | awk '/Geometry/ {print $2}')" = "1297x820" ] && { echo "$w"; return; }
    done
    sleep 0.1
  done
  fail "no main window"
}

# Visible windows other than the root window (the display's size).
visible_windows() {
  for w in $(xdotool search --onlyvisible --name "" 2>/dev/null); do
    xdotool getwindowgeometry "$w" | awk '/Geometry/ {print $2}'
  done | grep -vc '^1600x1000$' || true
}

# Clicks at a point of the main window (it stands at the display's origin).
click() { xdotool mousemove "$1" "$2" click 1; sleep 0.3; }

wait_gone() {
  for _ in $(seq 1 100); do kill -0 "$1" 2>/dev/null || return 0; sleep 0.1; done
  fail "$2"
}

check_log() {
  local log=$1
  [ -s "$log" ] || fail "no log $log"
  if grep -vnE '^[0-9]{2}\.[0-9]{2}\.[0-9]{2} [0-9]{2}\.[0-9]{2} ' "$log"; then fail "malformed lines in $log"; fi
  if grep -nE 'Exception|Error' "$log"; then fail "errors logged in $log"; fi
  grep -q '^.\{15\}FrmKvMain\.FrmLvx_Connect In RestorePlacement$' "$log" || fail "panel not docked in $log"
  if grep -n 'dxLayoutControl1\.' "$log"; then fail "widget chain in $log"; fi
}

shot() { [ -n "$shots" ] && import -window root "$shots/$1" || true; }

# ---- First start
"$exe" & pid=$!
main=$(main_window)
[ "$(xdotool getwindowname "$main")" = "$caption" ] || fail "caption '$(xdotool getwindowname "$main")'"
sleep 3  # the splash's wait
click 426 64                      # the port list
xdotool key End Return; sleep 0.3 # its last entry is the simulation
click 611 64                      # Connect
sleep 3                           # a few simulated readings
click 880 64; xdotool key Home; for _ in $(seq 1 14); do xdotool key Up; done  # 15 Jan 1900
shot first_run.png
click 700 500; xdotool key ctrl+h; sleep 1   # the manual
[ "$(visible_windows)" -ge 2 ] || fail "no help window"
# Without a window manager the help window stands at the origin, over the navigation bar.
xdotool search --onlyvisible --name "Help" windowmove 700 300; sleep 0.3
shot help_open.png
click 33 240                      # Exit in the navigation bar
wait_gone "$pid" "the first run did not end on Exit"
ini=$settings_dir/LvxReader_1600x1000.ini
grep -q '^UseDT=15 Jan 1900 00:00:00' "$ini" || fail "UseDT not stored: $(grep UseDT "$ini")"
check_log "${ini%.ini}.log"
cp "${ini%.ini}.log" "$work/first.log"
# The simulation is the list's last entry, after the ports or "<none>": never the first.
grep -q '^cxComboBoxCOM.ItemIndex=[1-9]' "$ini" || fail "the simulation was not chosen"

# ---- Second start
"$exe" & pid=$!
main=$(main_window)
sleep 4
shot second_run.png
[ "$(visible_windows)" = 1 ] || fail "$(visible_windows) windows visible: an error box or the splash"
click 33 240
wait_gone "$pid" "the second run did not end on Exit"
grep -q '^UseDT=15 Jan 1900 00:00:00' "$ini" || fail "UseDT lost: $(grep UseDT "$ini")"
check_log "${ini%.ini}.log"
echo "two starts in the C locale: fine"
