#!/usr/bin/python3
"""Presses and releases physical keys through XTest, by X key code, exactly as given (no
modifiers added, unlike xdotool's key names):

    xkey.py down 108 | up 108 | tap 9
"""
import ctypes
import ctypes.util
import sys


def main() -> int:
    if len(sys.argv) != 3 or sys.argv[1] not in ("down", "up", "tap"):
        print(__doc__, file=sys.stderr)
        return 2
    x11 = ctypes.CDLL(ctypes.util.find_library("X11"))
    xtst = ctypes.CDLL(ctypes.util.find_library("Xtst"))
    x11.XOpenDisplay.restype = ctypes.c_void_p
    x11.XOpenDisplay.argtypes = [ctypes.c_char_p]
    x11.XFlush.argtypes = [ctypes.c_void_p]
    x11.XSync.argtypes = [ctypes.c_void_p, ctypes.c_int]
    x11.XCloseDisplay.argtypes = [ctypes.c_void_p]
    xtst.XTestFakeKeyEvent.argtypes = [ctypes.c_void_p, ctypes.c_uint, ctypes.c_int, ctypes.c_ulong]
    display = x11.XOpenDisplay(None)
    if not display:
        print("xkey: no display", file=sys.stderr)
        return 1
    code = int(sys.argv[2])
    if sys.argv[1] in ("down", "tap"):
        xtst.XTestFakeKeyEvent(display, code, 1, 0)
    if sys.argv[1] in ("up", "tap"):
        xtst.XTestFakeKeyEvent(display, code, 0, 0)
    x11.XSync(display, 0)
    x11.XCloseDisplay(display)
    return 0


if __name__ == "__main__":
    sys.exit(main())
