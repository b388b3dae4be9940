"""A recording stand-in for the engine's yumIOC callback module."""

import types

# Argument formats of the engine's callbacks; None: the function takes no
# arguments at all; "*": arguments are not parsed.
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
    "postTransactionOutput": "O", "gpgsigcheck": "*",
}

LONG_MIN, LONG_MAX = -2 ** 63, 2 ** 63 - 1


def check(name, args):
    """Raise TypeError as the engine's argument parsing would fail."""
    fmt = FORMATS[name]
    if fmt == "*":
        return
    if fmt is None:
        if args:
            raise TypeError("%s() takes no arguments (%d given)" % (name, len(args)))
        return
    if len(args) != len(fmt):
        raise TypeError("%s: expected %d arguments, got %d" % (name, len(fmt), len(args)))
    for code, value in zip(fmt, args):
        if code == "s" and not isinstance(value, str):
            raise TypeError("%s: expected str, got %r" % (name, value))
        if code in "lL":
            if not isinstance(value, int) or isinstance(value, bool) and False:
                raise TypeError("%s: expected integer, got %r" % (name, value))
            if not LONG_MIN <= value <= LONG_MAX:
                raise OverflowError(name)


class Recorder(object):
    def __init__(self):
        self.calls = []
        self.confirm = True

    def reset(self):
        self.calls = []

    def names(self):
        return [c[0] for c in self.calls]

    def of(self, name):
        return [c[1] for c in self.calls if c[0] == name]

    def logs(self):
        return [a[1] for a in self.of("log")]

    def tsinfo(self):
        return [t[len("TSINFO: "):] for t in self.logs() if t.startswith("TSINFO: ")]


def make_module(recorder):
    mod = types.ModuleType("yumIOC")

    def make(name):
        def fn(*args):
            check(name, args)
            recorder.calls.append((name, args))
            if name == "userconfirm":
                return 1 if recorder.confirm else 0
            return None
        fn.__name__ = name
        return fn

    for name in FORMATS:
        setattr(mod, name, make(name))
    return mod
