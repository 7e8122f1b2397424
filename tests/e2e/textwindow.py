#!/usr/bin/python3
"""Plain GTK text windows for the end-to-end test: textwindow.py FILE TITLE [FILE TITLE]...

One process owns every window, as a browser or an editor owns several; they open in the
order given, so the last is the process's newest. Every change of a window's text is written
to its FILE at once (replaced atomically), and a line "<unix time> <characters>" is appended
to FILE.events, so the test can see when text arrived and where.
"""
import os
import sys
import time

import gi

gi.require_version("Gtk", "3.0")
from gi.repository import Gtk  # noqa: E402


def open_window(path: str, title: str, index: int) -> Gtk.Window:
    window = Gtk.Window(title=title)
    window.set_default_size(640, 240)
    window.move(40, 40 + 300 * index)
    view = Gtk.TextView()
    view.set_wrap_mode(Gtk.WrapMode.WORD)
    window.add(view)
    buffer = view.get_buffer()

    def changed(buf):
        text = buf.get_text(buf.get_start_iter(), buf.get_end_iter(), True)
        with open(path + ".tmp", "w", encoding="utf-8") as out:
            out.write(text)
        os.replace(path + ".tmp", path)
        with open(path + ".events", "a", encoding="utf-8") as events:
            events.write(f"{time.time():.6f} {len(text)}\n")

    buffer.connect("changed", changed)
    window.connect("destroy", Gtk.main_quit)
    window.show_all()
    return window


def main() -> int:
    pairs = sys.argv[1:]
    if not pairs or len(pairs) % 2:
        print(__doc__, file=sys.stderr)
        return 2
    for index in range(len(pairs) // 2):
        open_window(pairs[2 * index], pairs[2 * index + 1], index)
    Gtk.main()
    return 0


if __name__ == "__main__":
    sys.exit(main())
