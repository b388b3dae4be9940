"""What the package manager reports, handed to the engine through yumIOC: its output
and log, the download meters and the dependency check."""

import logging
import os
import sys

import dnf.callback
import rpm

import yumIOC
from yumio.errors import passesInterrupt


class _CallbackStream(object):
    """A text stream that hands everything written to a yumIOC callback."""

    encoding = "utf-8"
    errors = "replace"

    def __init__(self, callback):
        self._callback = callback

    def write(self, text):
        if text:
            self._callback(str(text).replace("\0", ""))
        return len(text)

    def writelines(self, lines):
        for line in lines:
            self.write(line)

    def flush(self):
        pass

    def isatty(self):
        return False


class _CallbackLogHandler(logging.Handler):
    """dnf's loggers into yumIOC.log and yumIOC.errorlog with yum's levels."""

    def emit(self, record):
        try:
            msg = record.getMessage()
        except Exception:
            msg = str(record.msg)
        no = record.levelno
        if no >= logging.ERROR:
            yumIOC.errorlog(0, msg)
        elif no >= logging.WARNING:
            yumIOC.errorlog(1, msg)
        elif no >= logging.INFO:
            yumIOC.log(2, msg)
        else:
            yumIOC.log(5, msg)


def redirectOutput():
    sys.stdout = _CallbackStream(yumIOC.stdoutWrite)
    sys.stderr = _CallbackStream(yumIOC.stderrWrite)
    log = logging.getLogger("dnf")
    for h in list(log.handlers):
        if h.__class__.__name__ == "_CallbackLogHandler":
            log.removeHandler(h)
    log.addHandler(_CallbackLogHandler())
    log.setLevel(logging.DEBUG)
    log.propagate = False


_rpmSetLogFile = rpm.setLogFile


# The process's descriptor 2, which the engine captures into the log while a
# transaction runs.
_STDERR_FILE = open(2, "w", closefd=False)


def _setLogFile(fileobj):
    """rpm takes real files only (and fails on None): dnf hands it sys.stderr when
    a transaction ends, which here is a stream into the log."""
    try:
        fileobj.fileno()
    except (AttributeError, OSError, ValueError):
        fileobj = _STDERR_FILE
    return _rpmSetLogFile(fileobj)


rpm.setLogFile = _setLogFile


class _Meter(object):
    """A download meter as the engine sees it: an identity only."""


class RepoMeter(dnf.callback.DownloadProgress):
    """A repository's metadata downloads as yum's serial grab meters.

    librepo reports a repository's files as stages of one download; the first
    stage is shown as the repomd file, the later ones as the contents.
    """

    def __init__(self, io, repo):
        super(RepoMeter, self).__init__()
        self._io = io
        self._repo = repo
        self._meter = None
        self._files = 0
        self._total = 0
        self._done = 0

    def start(self, total_files, total_size, total_drpms=0):
        pass

    def _open(self, total):
        self._files += 1
        base = "repomd.xml" if self._files == 1 else "primary.xml.gz"
        urls = list(self._repo.baseurl or [])
        url = (urls[0].rstrip("/") + "/repodata/" + base) if urls else (self._repo.mirrorlist or self._repo.metalink or "")
        fname = os.path.join(self._io._cachedir, self._repo.id, base)
        self._meter = _Meter()
        self._total = total
        self._done = 0
        yumIOC.collectGrabMeterStart(self._meter, fname, url, base, total, str(self._repo.name or self._repo.id))

    def _close(self):
        if self._meter is not None:
            yumIOC.collectGrabMeterEnd(self._meter, self._done)
            self._meter = None

    @passesInterrupt
    def progress(self, payload, done):
        total = int(payload.download_size or 0)
        done = int(done or 0)
        if total <= 0:
            return
        if self._meter is None or total != self._total or done < self._done:
            self._close()
            self._open(total)
        if done != self._done:
            self._done = done
            yumIOC.collectGrabMeterUpdate(self._meter, done)

    @passesInterrupt
    def end(self, payload, status, msg):
        if status == dnf.callback.STATUS_FAILED and self._meter is not None:
            yumIOC.collectGrabMeterFailure(self._meter, msg)
            self._meter = None
        self._close()

    def finish(self):
        self._close()


class ApplyMeter(dnf.callback.DownloadProgress):
    """Package downloads as yum's parallel grab meters.

    dnf downloads several packages at once: each file gets a meter of its own
    inside one multi-file batch, so that its progress reaches its own row.
    """

    def __init__(self, io):
        super(ApplyMeter, self).__init__()
        self._io = io
        self._meters = {}
        self._files = 0
        self._ended = 0
        self._open = False

    def start(self, total_files, total_size, total_drpms=0):
        # dnf starts again for the packages it retries
        self._endBatch()
        self._meters = {}
        self._files = int(total_files or 0)
        self._ended = 0
        self._open = True
        yumIOC.applyGrabMultiMeterStart(self._files, int(total_size or 0))

    def _endBatch(self):
        if self._open:
            self._open = False
            yumIOC.applyGrabMultiMeterEnd()

    def _meterOf(self, payload):
        m = self._meters.get(id(payload))
        if m is None:
            m = _Meter()
            m.done = None
            # kept until the batch ends: the engine knows a meter by its address
            m.payload = payload
            self._meters[id(payload)] = m
            pkg = getattr(payload, "pkg", None)
            fname = pkg.localPkg() if pkg is not None else str(payload)
            url = ""
            if pkg is not None:
                try:
                    url = pkg.remote_location() or ""
                except Exception:
                    url = ""
            yumIOC.applyGrabMultiMeterNew(m)
            yumIOC.applyGrabMeterStart(m, fname, url, os.path.basename(fname),
                                       int(payload.download_size or 0), str(payload))
        return m

    @passesInterrupt
    def progress(self, payload, done):
        m = self._meterOf(payload)
        done = int(done or 0)
        if m.done != done:
            m.done = done
            yumIOC.applyGrabMeterUpdate(m, done)

    @passesInterrupt
    def end(self, payload, status, msg):
        if status == dnf.callback.STATUS_MIRROR:
            # another location is tried: the row shows the retry
            yumIOC.applyGrabMeterFailure(self._meterOf(payload), msg)
            return
        m = self._meters.get(id(payload))
        if m is None and status != dnf.callback.STATUS_ALREADY_EXISTS:
            m = self._meterOf(payload)
        if m is not None:
            if status == dnf.callback.STATUS_FAILED:
                yumIOC.applyGrabMeterFailure(m, msg)
            else:
                yumIOC.applyGrabMeterEnd(m, int(payload.download_size or 0))
            yumIOC.applyGrabMultiMeterRemove(m)
        self._ended += 1
        if self._ended >= self._files:
            self._endBatch()


class DepsolveCallback(dnf.callback.Depsolve):
    def start(self):
        yumIOC.dsTsCheck()
