#!/usr/bin/env bash
# Selvar on a headless wlroots compositor (sway): the Wayland backend starts on its own, names
# its trigger source, takes trigger and cancel presses from "selvar --toggle/--cancel", shows
# the pill as a layer surface (grim takes a screenshot for the artefacts), types a chord
# through its virtual keyboard that fires a sway binding, sets, snapshots and restores the
# clipboard through data-control, pastes that clipboard into a native GTK window with the
# virtual keyboard's Ctrl+V, opens its settings when launched
# again, and a control command with no copy running fails with a message. sway refuses to run
# as root, so as root the session runs as an unprivileged user made for it.
set -euo pipefail
cd "$(dirname "$0")/../.."
BUILD=${SELVAR_BUILD_DIR:-$PWD/build}
artifacts=${SELVAR_E2E_ARTIFACTS:-$BUILD/e2e-artifacts}/wayland
mkdir -p "$artifacts"
T=$(mktemp -d /tmp/selvar-wl.XXXXXX)
chmod 755 "$T"
PIDS=()

say() { echo "wayland: $*"; }
fail() {
  echo "wayland: FAILED: $*" >&2
  exit 1
}
cleanup() {
  local pid i alive
  # All asked at once and given three seconds together: a wrapper that does not pass TERM on
  # must not cost its three seconds one after another.
  for pid in "${PIDS[@]}"; do kill -TERM "$pid" 2>/dev/null || true; done
  for i in $(seq 30); do
    alive=0
    for pid in "${PIDS[@]}"; do kill -0 "$pid" 2>/dev/null && alive=1; done
    [ $alive = 1 ] || break
    sleep 0.1
  done
  for pid in "${PIDS[@]}"; do kill -KILL "$pid" 2>/dev/null || true; done
  cp "$T"/*.log "$artifacts/" 2>/dev/null || true
  cp "$T"/home/logs/selvar.log "$artifacts/selvar-wayland.log" 2>/dev/null || true
  cp "$T"/home/pill*.png "$artifacts/" 2>/dev/null || true
  cp "$T"/run/typed.txt* "$T"/run/anchored.txt* "$artifacts/" 2>/dev/null || true
  cp "$T"/home/probe/logs/selvar.log "$artifacts/probe.log" 2>/dev/null || true
  rm -rf "$T"
}
trap cleanup EXIT

# The session user: this one, or a dedicated unprivileged one when running as root.
as_user=()
if [ "$(id -u)" -eq 0 ]; then
  id selvar-wl >/dev/null 2>&1 || useradd --system --no-create-home --shell /usr/sbin/nologin selvar-wl
  as_user=(runuser -u selvar-wl --)
fi
# The build may sit in a folder the session user cannot enter (/root): it gets its own copy.
cp "$BUILD/src/selvar" "$T/selvar"
cp "$BUILD/tests/selvar_wayland_probe" "$T/selvar_wayland_probe"
cp tests/e2e/textwindow.py "$T/textwindow.py"
mkdir -p "$T/run" "$T/home"
chmod 700 "$T/run"
[ ${#as_user[@]} -eq 0 ] || chown selvar-wl: "$T/run" "$T/home"
printf 'output HEADLESS-1 resolution 1280x800\nbindsym ctrl+v exec touch %s/run/chord-fired\n' \
  "$T" >"$T/sway.conf"

session_env=(env -i HOME="$T/home" PATH=/usr/bin:/bin XDG_RUNTIME_DIR="$T/run"
  SELVAR_HOME="$T/home" NO_AT_BRIDGE=1)
# run NAME COMMAND...: starts COMMAND as the session user in the background, output to NAME.log.
run() {
  local name=$1
  shift
  "${as_user[@]}" "${session_env[@]}" "$@" >>"$T/$name.log" 2>&1 &
  PIDS+=("$!")
}
in_session() { "${as_user[@]}" "${session_env[@]}" WAYLAND_DISPLAY="$wl" "$@"; }
wait_for() {
  local tenths=$(($1 * 10)) what=$2
  shift 2
  until "$@" >/dev/null 2>&1; do
    tenths=$((tenths - 1))
    [ $tenths -gt 0 ] || fail "gave up waiting for $what"
    sleep 0.1
  done
}
log_has() { grep -qF -- "$1" "$T/home/logs/selvar.log"; }

started=$(date +%s%3N)
run sway WLR_BACKENDS=headless WLR_LIBINPUT_NO_DEVICES=1 WLR_RENDERER=pixman \
  sway -c "$T/sway.conf"
wait_for 15 "the compositor's socket" compgen -G "$T/run/wayland-*.lock"
wl=$(basename "$(compgen -G "$T/run/wayland-*.lock" | head -1)" .lock)
say "sway up on $wl after $(($(date +%s%3N) - started)) ms"

run selvar WAYLAND_DISPLAY="$wl" dbus-run-session -- "$T/selvar"
wait_for 20 "Selvar's control channel" log_has "control channel listening"
say "Selvar ready after $(($(date +%s%3N) - started)) ms"
log_has "desktop backend: wayland" || fail "Selvar did not pick its Wayland backend"
log_has "trigger source: the control command" || fail "no trigger source line"
log_has "paste keystroke through a virtual keyboard" || fail "Selvar did not take the virtual keyboard"

# The paste chord through the same virtual keyboard code reaches the compositor as Ctrl+V.
in_session "$T/selvar_wayland_probe" key || fail "the virtual keyboard did not send the chord"
wait_for 5 "the Ctrl+V binding" test -e "$T/run/chord-fired"

# The clipboard through data-control, each step read by another client: set, then snapshot,
# replace and restore.
log_has "clipboard snapshot and restore through data-control" || fail "no data-control clipboard"
clipboard_is() { [ "$(in_session SELVAR_HOME="$T/home/probe" "$T/selvar_wayland_probe" print)" = "$1" ]; }
run clip-hold WAYLAND_DISPLAY="$wl" SELVAR_HOME="$T/home/probe" "$T/selvar_wayland_probe" hold "before dictation"
wait_for 5 "the clipboard to be set" clipboard_is "before dictation"
run clip-restore WAYLAND_DISPLAY="$wl" SELVAR_HOME="$T/home/probe" "$T/selvar_wayland_probe" restore-after "dictated"
wait_for 5 "the snapshot, replace and restore" grep -q restored "$T/clip-restore.log"
clipboard_is "before dictation" || fail "the clipboard was not restored"

# A real paste: the virtual keyboard's Ctrl+V into a native Wayland GTK window, which fetches
# the clipboard restored just above through the compositor.
run textwindow GDK_BACKEND=wayland WAYLAND_DISPLAY="$wl" python3 "$T/textwindow.py" \
  "$T/run/typed.txt" "Paste target"
sock=$(compgen -G "$T/run/sway-ipc.*.sock" | head -1)
target_focused() {
  in_session SWAYSOCK="$sock" swaymsg -t get_tree | python3 -c '
import json, sys
def walk(n):
    yield n
    for c in n.get("nodes", []) + n.get("floating_nodes", []):
        yield from walk(c)
sys.exit(0 if any(n.get("name") == "Paste target" and n.get("focused")
                  for n in walk(json.load(sys.stdin))) else 1)'
}
wait_for 10 "the paste target window" target_focused
# The binding above would keep Ctrl+V from the window.
in_session SWAYSOCK="$sock" swaymsg unbindsym ctrl+v >/dev/null || fail "could not drop the binding"
in_session SELVAR_HOME="$T/home/probe" "$T/selvar_wayland_probe" key || fail "no paste chord"
wait_for 5 "the pasted text" grep -qx "before dictation" "$T/run/typed.txt"

# The focus anchor: the window in front when a recording starts is activated again through
# foreign-toplevel management before the paste, though another window took the focus meanwhile.
log_has "focus restored through foreign-toplevel management" || fail "no foreign-toplevel anchor"
window_focused() {
  in_session SWAYSOCK="$sock" swaymsg -t get_tree | python3 -c '
import json, sys
def walk(n):
    yield n
    for c in n.get("nodes", []) + n.get("floating_nodes", []):
        yield from walk(c)
sys.exit(0 if any(n.get("name") == sys.argv[1] and n.get("focused")
                  for n in walk(json.load(sys.stdin))) else 1)' "$1"
}
focus_window() { in_session SWAYSOCK="$sock" swaymsg "[title=\"$1\"] focus" >/dev/null; }
run anchorwindows GDK_BACKEND=wayland WAYLAND_DISPLAY="$wl" python3 "$T/textwindow.py" \
  "$T/run/anchored.txt" "Anchor target" "$T/run/other.txt" "Other window"
wait_for 10 "the second window" window_focused "Other window"
focus_window "Anchor target"
wait_for 5 "the window to anchor" window_focused "Anchor target"
run anchor WAYLAND_DISPLAY="$wl" SELVAR_HOME="$T/home/probe" "$T/selvar_wayland_probe" \
  anchor-paste "anchored text" "$T/run/go"
wait_for 5 "the anchor" grep -q anchored "$T/anchor.log"
focus_window "Other window"
wait_for 5 "the other window to take the focus" window_focused "Other window"
in_session touch "$T/run/go"
wait_for 5 "the text in the anchored window" grep -qx "anchored text" "$T/run/anchored.txt"
window_focused "Anchor target" || fail "the anchored window did not get the focus back"
[ ! -s "$T/run/other.txt" ] || fail "the text went to the window that took the focus"
grep -q "focusRestored=true" "$T/home/probe/logs/selvar.log" || fail "no focusRestored=true"

in_session "$T/selvar" --toggle || fail "--toggle did not reach the running copy"
wait_for 5 "the pill" log_has "hud shown"
in_session grim -t ppm "$T/home/pill.ppm" || fail "grim could not take a screenshot"
in_session grim "$T/home/pill.png" || true
in_session "$T/selvar" --cancel || fail "--cancel did not reach the running copy"
wait_for 5 "the cancel command" log_has "control command cancel"

# The pill is a layer surface: drawn on the output but not a window in sway's tree.
in_session SWAYSOCK="$sock" swaymsg -t get_tree >"$T/tree.json" || fail "swaymsg failed"
! grep -q '"Selvar"' "$T/tree.json" || fail "the pill is an ordinary window, not a layer surface"
python3 - "$T/home/pill.ppm" <<'PY' || fail "nothing but the background on the screenshot"
import sys
data = open(sys.argv[1], "rb").read()
# Binary PPM: "P6\n<w> <h>\n255\n" then RGB triples.
head, rest = data.split(b"\n", 3)[:3], data.split(b"\n", 3)[3]
width, height = map(int, head[1].split())
background = rest[0:3]
lower = rest[width * 3 * (height // 2):]  # the pill sits in the lower half
sys.exit(0 if any(lower[i:i + 3] != background for i in range(0, len(lower), 3 * 7)) else 1)
PY

# A second plain launch shows the running copy's settings window (no tray needed) and quits.
in_session dbus-run-session -- "$T/selvar" >>"$T/second.log" 2>&1 || fail "the second launch failed"
settings_shown() {
  in_session SWAYSOCK="$sock" swaymsg -t get_tree | grep -q '"Selvar Settings"'
}
wait_for 10 "the settings window of the running copy" settings_shown

# The lock file holds Selvar's own pid (the session bus wrapper does not pass signals on).
kill -TERM "$(cat "$T/home/selvar.lock")" || fail "no pid in the lock file"
wait_for 10 "Selvar to stop" bash -c "! compgen -G '$T/home/selvar.sock'"
if in_session "$T/selvar" --toggle 2>"$T/none.txt" >/dev/null; then fail "--toggle with no copy running succeeded"; fi
grep -q "not running" "$T/none.txt" || fail "no clear message without a running copy"
. tests/e2e/wayland-pill-drag.sh
say "ok in $(($(date +%s%3N) - started)) ms (screenshot: $artifacts/pill.png)"
