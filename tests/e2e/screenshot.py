#!/usr/bin/python3
"""Saves the whole X screen (or one window, by id) as a PNG: screenshot.py OUT.png [WINDOW_ID]"""
import sys

import gi

gi.require_version("Gdk", "3.0")
gi.require_version("GdkX11", "3.0")
from gi.repository import Gdk, GdkX11  # noqa: E402


def main() -> int:
    if len(sys.argv) not in (2, 3):
        print(__doc__, file=sys.stderr)
        return 2
    display = Gdk.Display.get_default()
    if display is None:
        print("screenshot: no display", file=sys.stderr)
        return 1
    if len(sys.argv) == 3:
        window = GdkX11.X11Window.foreign_new_for_display(display, int(sys.argv[2], 0))
    else:
        window = Gdk.get_default_root_window()
    pixbuf = Gdk.pixbuf_get_from_window(window, 0, 0, window.get_width(), window.get_height())
    if pixbuf is None:
        print("screenshot: could not read the window", file=sys.stderr)
        return 1
    pixbuf.savev(sys.argv[1], "png", [], [])
    return 0


if __name__ == "__main__":
    sys.exit(main())
