"""A recording stand-in for the engine's yumIOC callback module."""

import os
import types

# Argument formats of the engine's callbacks; None: no arguments at all; "*": not parsed.
FORMATS = {
    "stdoutWrite": "s", "stderrWrite": "s", "log": "ls", "errorlog": "ls",
    "collectProgress": "llO",
    "collectGrabMeterStart": "OOOOOO", "collectGrabMeterUpdate": "OL",
    "collectGrabMeterEnd": "OL", "collectGrabMeterFailure": "OO",
    "collectGrabMultiMeterStart": "LL", "collectGrabMultiMeterNew": "O",
    "collectGrabMultiMeterRemove": "O", "collectGrabMultiMeterEnd": "*",
    "applyGrabMeterStart": "OOOOOO", "applyGrabMeterUpdate": "OL",
    "applyGrabMeterEnd": "OL", "applyGrabMeterFailure": "OO",
    "applyGrabMultiMeterStart": "LL", "applyGrabMultiMeterNew": "O",
    "applyGrabMultiMeterRemove": "O", "applyGrabMultiMeterEnd": "*",
    "dsTsCheck": None, "dsRestartLoop": None, "userconfirm": None,
    "reportDownloadSize": "O", "listTransaction": "O",
    "tsInitCallback": "l", "tsCallback": "lLLOO", "tsEvent": "OlLLll",
    "postTransactionOutput": "O", "gpgsigcheck": "*", "inRoot": "s",
}


def check(name, args):
    """Raise TypeError or OverflowError where the engine's argument parsing would fail."""
    fmt = FORMATS[name]
    if fmt == "*":
        return
    if len(args) != len(fmt or ""):
        raise TypeError("%s: expected %d arguments, got %d" % (name, len(fmt or ""), len(args)))
    for code, value in zip(fmt or "", args):
        if code == "s" and not isinstance(value, str) or code in "lL" and not isinstance(value, int):
            raise TypeError("%s: wrong type %r" % (name, value))
        if code in "lL" and not -2 ** 63 <= value < 2 ** 63:
            raise OverflowError(name)


def in_root(path):
    """The engine's confinement of a path to ORVOROOT, as a chroot would resolve it."""
    root = os.path.abspath(os.environ.get("ORVOROOT") or "/")
    todo = path.split("/")[::-1]
    done = []
    links = 0
    missing = False
    while todo:
        part = todo.pop()
        if part in ("", "."):
            continue
        if part == "..":
            if done:
                done.pop()
            continue
        done.append(part)
        here = os.path.join(root, *done)
        if missing or not os.path.islink(here):
            missing = missing or not os.path.lexists(here)
            continue
        links += 1
        if links > 40:
            break
        target = os.readlink(here)
        done.pop()
        if target.startswith("/"):
            done = []
        todo.extend(target.split("/")[::-1])
    return os.path.join(root, *done)


class Recorder(object):
    def __init__(self):
        self.calls = []
        self.confirm = True
        # Called when the script asks for a confirmation.
        self.onconfirm = None

    def reset(self):
        self.calls = []

    def names(self):
        return [c[0] for c in self.calls]

    def of(self, name):
        return [c[1] for c in self.calls if c[0] == name]

    def tsinfo(self):
        return [a[1][len("TSINFO: "):] for a in self.of("log") if a[1].startswith("TSINFO: ")]


def make_module(recorder):
    mod = types.ModuleType("yumIOC")

    def make(name):
        def fn(*args):
            check(name, args)
            recorder.calls.append((name, args))
            if name == "userconfirm" and recorder.onconfirm:
                recorder.onconfirm()
            if name == "inRoot":
                return in_root(*args)
            return (1 if recorder.confirm else 0) if name == "userconfirm" else None
        return fn

    for name in FORMATS:
        setattr(mod, name, make(name))
    return mod
