#!/usr/bin/env python3
"""Operator input on the X display through the XTEST extension (libXtst), for the by-hand and
real-window checks of the console.

    x_input.py click X Y              a left click at the screen position X, Y
    x_input.py move X Y               the pointer to the screen position X, Y (a tooltip's rest)
    x_input.py key KEY [KEY...]        keys one after another; a KEY is a keysym ("Down",
                                       "Return", "3") or a chord of keysyms held together and
                                       released in reverse ("Alt_L+p")
"""
import ctypes
import sys
import time

x11 = ctypes.CDLL("libX11.so.6")
xtst = ctypes.CDLL("libXtst.so.6")
x11.XOpenDisplay.restype = ctypes.c_void_p
x11.XKeysymToKeycode.argtypes = [ctypes.c_void_p, ctypes.c_ulong]
x11.XStringToKeysym.restype = ctypes.c_ulong
for f in ("XTestFakeMotionEvent", "XTestFakeButtonEvent", "XTestFakeKeyEvent"):
    getattr(xtst, f).argtypes = None

d = x11.XOpenDisplay(None)
if not d:
    sys.exit("no display")
dp = ctypes.c_void_p(d)
if sys.argv[1] == "move":
    xtst.XTestFakeMotionEvent(dp, -1, int(sys.argv[2]), int(sys.argv[3]), ctypes.c_ulong(0))
elif sys.argv[1] == "click":
    xtst.XTestFakeMotionEvent(dp, -1, int(sys.argv[2]), int(sys.argv[3]), ctypes.c_ulong(0))
    x11.XFlush(dp)
    time.sleep(0.2)
    xtst.XTestFakeButtonEvent(dp, 1, 1, ctypes.c_ulong(0))
    x11.XFlush(dp)
    time.sleep(0.1)
    xtst.XTestFakeButtonEvent(dp, 1, 0, ctypes.c_ulong(0))
else:
    for key in sys.argv[2:]:
        codes = [x11.XKeysymToKeycode(dp, x11.XStringToKeysym(k.encode())) for k in key.split("+")]
        for c in codes:
            xtst.XTestFakeKeyEvent(dp, c, 1, ctypes.c_ulong(0))
            x11.XFlush(dp)
            time.sleep(0.05)
        for c in reversed(codes):
            xtst.XTestFakeKeyEvent(dp, c, 0, ctypes.c_ulong(0))
            x11.XFlush(dp)
            time.sleep(0.05)
x11.XFlush(dp)
x11.XCloseDisplay(dp)
