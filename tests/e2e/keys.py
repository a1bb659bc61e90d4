#!/usr/bin/python3
"""Types keys into the X display as a keyboard would, through the XTEST extension.

Usage: keys.py KEY...   where KEY is a key name such as Return, optionally with modifiers
joined by "+": ctrl+Return, ctrl+q; or "type:TEXT" to type TEXT (letters, digits, "/-._ "). Without a window manager nothing gives a window the
keyboard, so the top-level window under the pointer (moved to the top-left part of the screen,
where the window opens) is given the input focus first, as a window manager would on a click.
"""
import ctypes
import sys

x11 = ctypes.CDLL("libX11.so.6")
xtest = ctypes.CDLL("libXtst.so.6")
x11.XOpenDisplay.restype = ctypes.c_void_p
x11.XOpenDisplay.argtypes = [ctypes.c_char_p]
x11.XStringToKeysym.restype = ctypes.c_ulong
x11.XStringToKeysym.argtypes = [ctypes.c_char_p]
x11.XKeysymToKeycode.restype = ctypes.c_ubyte
x11.XKeysymToKeycode.argtypes = [ctypes.c_void_p, ctypes.c_ulong]
x11.XFlush.argtypes = [ctypes.c_void_p]
x11.XDefaultRootWindow.restype = ctypes.c_ulong
x11.XDefaultRootWindow.argtypes = [ctypes.c_void_p]
x11.XQueryPointer.argtypes = [ctypes.c_void_p, ctypes.c_ulong] + [ctypes.POINTER(ctypes.c_ulong)] * 2 + \
    [ctypes.POINTER(ctypes.c_int)] * 4 + [ctypes.POINTER(ctypes.c_uint)]
x11.XSetInputFocus.argtypes = [ctypes.c_void_p, ctypes.c_ulong, ctypes.c_int, ctypes.c_ulong]
x11.XCloseDisplay.argtypes = [ctypes.c_void_p]
xtest.XTestFakeKeyEvent.argtypes = [ctypes.c_void_p, ctypes.c_uint, ctypes.c_int, ctypes.c_ulong]
xtest.XTestFakeMotionEvent.argtypes = [ctypes.c_void_p, ctypes.c_int, ctypes.c_int, ctypes.c_int, ctypes.c_ulong]

MODIFIERS = {"ctrl": "Control_L", "shift": "Shift_L", "alt": "Alt_L"}
PUNCTUATION = {"/": "slash", "-": "minus", ".": "period", "_": "shift+underscore", " ": "space"}

display = x11.XOpenDisplay(None)
if not display:
    sys.exit("keys.py: The X display could not be opened.")


def code(name):
    keycode = x11.XKeysymToKeycode(display, x11.XStringToKeysym(name.encode()))
    if not keycode:
        sys.exit("keys.py: Unknown key: " + name)
    return keycode


xtest.XTestFakeMotionEvent(display, -1, 200, 200, 0)
x11.XFlush(display)
root, child = ctypes.c_ulong(), ctypes.c_ulong()
numbers = [ctypes.c_int() for _ in range(4)]
mask = ctypes.c_uint()
x11.XQueryPointer(display, x11.XDefaultRootWindow(display), ctypes.byref(root), ctypes.byref(child),
                  *[ctypes.byref(number) for number in numbers], ctypes.byref(mask))
if child.value:
    x11.XSetInputFocus(display, child.value, 2, 0)  # RevertToParent, CurrentTime
chords = []
for argument in sys.argv[1:]:
    if not argument.startswith("type:"):
        chords.append(argument)
        continue
    for character in argument[len("type:"):]:
        if character in PUNCTUATION:
            chords.append(PUNCTUATION[character])
        elif character.isupper():
            chords.append("shift+" + character)
        else:
            chords.append(character)
for chord in chords:
    names = chord.split("+")
    held = [code(MODIFIERS.get(name.lower(), name)) for name in names]
    for keycode in held:
        xtest.XTestFakeKeyEvent(display, keycode, 1, 0)
    for keycode in reversed(held):
        xtest.XTestFakeKeyEvent(display, keycode, 0, 0)
x11.XFlush(display)
x11.XCloseDisplay(display)
