#!/usr/bin/python3
"""Types keys into the X display as a keyboard would, through the XTEST extension.

Usage: keys.py KEY...   where KEY is a key name such as Return, optionally with modifiers
joined by "+": ctrl+Return, ctrl+q; or "type:TEXT" to type TEXT (letters, digits, "/-._ "). Without a window manager nothing gives a window the
keyboard, so the topmost shown top-level window is given the input focus first, as a window
manager would give it to a newly opened dialog.
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
x11.XSetInputFocus.argtypes = [ctypes.c_void_p, ctypes.c_ulong, ctypes.c_int, ctypes.c_ulong]
x11.XCloseDisplay.argtypes = [ctypes.c_void_p]
xtest.XTestFakeKeyEvent.argtypes = [ctypes.c_void_p, ctypes.c_uint, ctypes.c_int, ctypes.c_ulong]

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


class WindowAttributes(ctypes.Structure):
    _fields_ = [("x", ctypes.c_int), ("y", ctypes.c_int), ("width", ctypes.c_int), ("height", ctypes.c_int),
                ("border_width", ctypes.c_int), ("depth", ctypes.c_int), ("visual", ctypes.c_void_p),
                ("root", ctypes.c_ulong), ("c_class", ctypes.c_int), ("bit_gravity", ctypes.c_int),
                ("win_gravity", ctypes.c_int), ("backing_store", ctypes.c_int), ("backing_planes", ctypes.c_ulong),
                ("backing_pixel", ctypes.c_ulong), ("save_under", ctypes.c_int), ("colormap", ctypes.c_ulong),
                ("map_installed", ctypes.c_int), ("map_state", ctypes.c_int), ("all_event_masks", ctypes.c_long),
                ("your_event_mask", ctypes.c_long), ("do_not_propagate_mask", ctypes.c_long),
                ("override_redirect", ctypes.c_int), ("screen", ctypes.c_void_p)]


x11.XQueryTree.argtypes = [ctypes.c_void_p, ctypes.c_ulong, ctypes.POINTER(ctypes.c_ulong),
                           ctypes.POINTER(ctypes.c_ulong), ctypes.POINTER(ctypes.POINTER(ctypes.c_ulong)),
                           ctypes.POINTER(ctypes.c_uint)]
x11.XGetWindowAttributes.argtypes = [ctypes.c_void_p, ctypes.c_ulong, ctypes.POINTER(WindowAttributes)]
x11.XFree.argtypes = [ctypes.c_void_p]

# The topmost shown top-level window gets the keyboard: a dialog opened by an earlier key, else
# the main window. Popups (menus, completers) are override-redirect and keep what they have.
root, parent = ctypes.c_ulong(), ctypes.c_ulong()
children, count = ctypes.POINTER(ctypes.c_ulong)(), ctypes.c_uint()
x11.XQueryTree(display, x11.XDefaultRootWindow(display), ctypes.byref(root), ctypes.byref(parent),
               ctypes.byref(children), ctypes.byref(count))
for index in reversed(range(count.value)):  # the children come bottom first
    attributes = WindowAttributes()
    if x11.XGetWindowAttributes(display, children[index], ctypes.byref(attributes)) \
            and attributes.map_state == 2 and not attributes.override_redirect:  # IsViewable
        x11.XSetInputFocus(display, children[index], 2, 0)  # RevertToParent, CurrentTime
        break
if children:
    x11.XFree(children)
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
