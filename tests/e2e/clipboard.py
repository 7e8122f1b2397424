#!/usr/bin/python3
"""The CLIPBOARD selection for the end-to-end test.

    clipboard.py set TEXT   own the clipboard with TEXT; prints "ready", serves it until another
                            program takes the clipboard over, then exits
    clipboard.py get        prints the clipboard's text (exit 1 when it holds none)
    clipboard.py targets    prints the clipboard's targets, one a line, sorted
"""
import sys

import gi

gi.require_version("Gtk", "3.0")
gi.require_version("Gdk", "3.0")
from gi.repository import Gdk, GLib, Gtk  # noqa: E402

SERVE_SECONDS = 900


def clipboard() -> Gtk.Clipboard:
    return Gtk.Clipboard.get(Gdk.SELECTION_CLIPBOARD)


def serve(text: str) -> int:
    board = clipboard()
    board.set_text(text, -1)
    owned = {"yes": True}

    def owner_changed(_board, _event):
        # The first notice is our own take-over; a later one means someone else owns it now.
        if owned["yes"]:
            owned["yes"] = False
            return
        Gtk.main_quit()

    board.connect("owner-change", owner_changed)
    GLib.timeout_add_seconds(SERVE_SECONDS, Gtk.main_quit)
    print("ready", flush=True)
    Gtk.main()
    return 0


def main() -> int:
    args = sys.argv[1:]
    if args[:1] == ["set"] and len(args) == 2:
        return serve(args[1])
    if args == ["get"]:
        text = clipboard().wait_for_text()
        if text is None:
            return 1
        sys.stdout.write(text)
        return 0
    if args == ["targets"]:
        ok, atoms = clipboard().wait_for_targets()
        for name in sorted(a.name() for a in (atoms or [])):
            print(name)
        return 0 if ok else 1
    print(__doc__, file=sys.stderr)
    return 2


if __name__ == "__main__":
    sys.exit(main())
