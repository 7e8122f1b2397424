#!/usr/bin/python3
"""A plain GTK text window for the end-to-end test: textwindow.py FILE TITLE

Every change of its text is written to FILE at once (replaced atomically), and a line
"<unix time> <characters>" is appended to FILE.events, so the test can see when text arrived.
"""
import os
import sys
import time

import gi

gi.require_version("Gtk", "3.0")
from gi.repository import Gtk  # noqa: E402


def main() -> int:
    if len(sys.argv) != 3:
        print(__doc__, file=sys.stderr)
        return 2
    path, title = sys.argv[1], sys.argv[2]
    window = Gtk.Window(title=title)
    window.set_default_size(640, 240)
    window.move(40, 40)
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
    Gtk.main()
    return 0


if __name__ == "__main__":
    sys.exit(main())
