# Sourced by wayland-smoke.sh once the running copy has quit, with its session and helpers:
# a virtual pointer drags the layer-shell pill of "selvar --hud-preview" by a known offset.
# The pill must follow, its origin must be written to the settings once the drag settles, the
# focused text window must keep the keyboard throughout, and the next preview must show the
# pill where it was dropped.

drag_started=$(date +%s%3N)
output_height=800
drag_dx=-300
drag_dy=-200
settings_file=$T/home/config/settings.json
log=$T/home/logs/selvar.log

# shown_at N: the Nth "hud shown at X,Y size=WxH" line from the end, as "X Y W H".
shown_at() {
  grep -o 'hud shown at [-0-9]*,[-0-9]* size=[0-9]*x[0-9]*' "$log" | tail -n "$1" | head -1 |
    sed 's/hud shown at \([-0-9]*\),\([-0-9]*\) size=\([0-9]*\)x\([0-9]*\)/\1 \2 \3 \4/'
}
shown_count() { grep -c 'hud shown at' "$log" || true; }
shown_more_than() { [ "$(shown_count)" -gt "$1" ]; }
# Each save replaces the file, so every write leaves a new inode or modification time.
settings_stamp() { stat -c '%i %y' "$settings_file" 2>/dev/null || echo none; }

# The lock file holds Selvar's own pid (the session bus wrapper does not pass signals on).
stop_preview() {
  local pid
  pid=$(cat "$T/home/selvar.lock" 2>/dev/null) || return 0
  kill -TERM "$pid" 2>/dev/null || return 0
  wait_for 10 "the preview to quit" bash -c "! kill -0 $pid 2>/dev/null"
}

window_focused "Anchor target" || fail "the text window lost the focus before the drag"
before=$(shown_count)
run preview WAYLAND_DISPLAY="$wl" dbus-run-session -- "$T/selvar" --hud-preview
wait_for 10 "the preview pill" shown_more_than "$before"
read -r x y w h <<<"$(shown_at 1)"
# The log counts from the bottom-left corner of the output; the pointer from its top-left.
grab_x=$((x + w / 2))
grab_y=$((output_height - y - h / 2))
in_session grim "$T/home/pill-before-drag.png" || true

: >"$T/stamps"
(
  last=$(settings_stamp)
  while [ -d "$T/run" ] && [ ! -e "$T/run/drag-settled" ]; do
    now=$(settings_stamp)
    [ "$now" = "$last" ] || echo "$now" >>"$T/stamps" 2>/dev/null
    last=$now
    sleep 0.02
  done
) &
watcher=$!
in_session "$T/selvar_wayland_probe" drag "$grab_x" "$grab_y" \
  $((grab_x + drag_dx)) $((grab_y + drag_dy)) >/dev/null || fail "the virtual pointer did not drag"
window_focused "Anchor target" || fail "the drag took the keyboard focus from the text window"
want="hud moved to $((x + drag_dx)),$((y - drag_dy))"
wait_for 3 "the pill to follow the pointer ($want)" log_has "$want"
wait_for 3 "the dropped origin in the settings" grep -q '"hudOrigin"' "$settings_file"
# Give a second, belated write the time to show itself.
sleep 0.8
touch "$T/run/drag-settled"
wait "$watcher"
writes=$(wc -l <"$T/stamps")
[ "$writes" -eq 1 ] || fail "the origin was written $writes times for one drag"
in_session grim "$T/home/pill-after-drag.png" || true
stop_preview

# The next show puts the pill where it was dropped.
before=$(shown_count)
run preview-again WAYLAND_DISPLAY="$wl" dbus-run-session -- "$T/selvar" --hud-preview
wait_for 10 "the second preview pill" shown_more_than "$before"
read -r x2 y2 _ _ <<<"$(shown_at 1)"
[ "$x2,$y2" = "$((x + drag_dx)),$((y - drag_dy))" ] ||
  fail "the next pill showed at $x2,$y2, not where it was dropped ($((x + drag_dx)),$((y - drag_dy)))"
window_focused "Anchor target" || fail "the pill took the keyboard focus from the text window"
stop_preview
say "pill dragged from $x,$y to $x2,$y2 and shown there again in $(($(date +%s%3N) - drag_started)) ms"
