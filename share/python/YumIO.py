"""Orvo's companion script: the program's adapter over dnf.

The engine runs this file in __main__, creates one YumIO object (a fresh one
after every transaction) and reaches the package manager only through its
members.  Everything the package manager reports goes back through the
callback module yumIOC, which the engine registers before running the file.

Conventions the engine relies on:
  - package objects: name, arch, epoch, version, release, ver, rel, pkgtup
    (name, arch, epoch, version, release), repoid ("installed" for installed
    packages), size, printVer(), returnSimple(tag), returnPrco(kind),
    returnFileEntries(type), returnChangelog(), localPkg(), localHdr();
    installed packages also carry hdr (their rpm header), available ones
    relativepath;
  - group objects: name, groupid, user_visible, installed, and the member
    dictionaries mandatory_packages, default_packages, optional_packages
    (name -> 1) and conditional_packages (name -> required package);
  - "TSINFO: " lines name packages as [epoch:]name-version-release.arch;
  - makelists() returns eight lists of transaction members: installed,
    updated, removed, obsoleted, installed as dependencies, updated as
    dependencies, removed as dependencies, and reinstalled or downgraded.
"""

import os
import sys


def _scriptDirs():
    dirs = []
    try:
        dirs.append(os.path.dirname(os.path.abspath(__file__)))
    except NameError:
        pass
    share = os.environ.get("ORVOSHARE") or "/usr/share/orvo"
    dirs.append(os.path.join(share, "python"))
    return dirs


# The engine puts nothing on sys.path: find the yum package next to this file.
for _dir in reversed(_scriptDirs()):
    if _dir not in sys.path:
        sys.path.insert(0, _dir)

import contextlib  # noqa: E402
import errno  # noqa: E402
import fcntl  # noqa: E402
import gc  # noqa: E402
import glob  # noqa: E402
import logging  # noqa: E402
import shutil  # noqa: E402
import time  # noqa: E402

import dnf  # noqa: E402
import dnf.callback  # noqa: E402
import dnf.conf  # noqa: E402
import dnf.conf.read  # noqa: E402
import dnf.exceptions  # noqa: E402
import dnf.lock  # noqa: E402
import dnf.rpm  # noqa: E402
import dnf.transaction  # noqa: E402
import hawkey  # noqa: E402
import libdnf  # noqa: E402
import rpm  # noqa: E402

import yumIOC  # noqa: E402
from yum import Errors  # noqa: E402
from yumio import history as _history  # noqa: E402
from yumio import localfiles as _localfiles  # noqa: E402
from yumio import versions as _versions  # noqa: E402


# yum's transaction-member codes.
TS_UPDATE = 10
TS_INSTALL = 20
TS_TRUEINSTALL = 30
TS_ERASE = 40
TS_OBSOLETED = 50
TS_OBSOLETING = 60
TS_AVAILABLE = 70
TS_UPDATED = 90

_FLAGS = {"<": "LT", "<=": "LE", "=": "EQ", "==": "EQ", ">=": "GE", ">": "GT"}


def usesSqlite():
    """The adapter presents yum's sqlite-backed repository cache."""
    return True


class _AttrDict(dict):
    """A dictionary whose keys also read as attributes.

    The engine reaches some values by attribute and some through mappings;
    this serves both and is a real dict for the interpreter's C API.
    """

    def __getattr__(self, name):
        try:
            return self[name]
        except KeyError:
            raise AttributeError(name)

    def __setattr__(self, name, value):
        self[name] = value


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


def _redirectOutput():
    sys.stdout = _CallbackStream(yumIOC.stdoutWrite)
    sys.stderr = _CallbackStream(yumIOC.stderrWrite)
    log = logging.getLogger("dnf")
    for h in list(log.handlers):
        if h.__class__.__name__ == "_CallbackLogHandler":
            log.removeHandler(h)
    log.addHandler(_CallbackLogHandler())
    log.setLevel(logging.DEBUG)
    log.propagate = False


_redirectOutput()


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


def _tsinfo(text):
    yumIOC.log(3, "TSINFO: " + text)


# What librepo says when a file could be had from none of a repository's
# locations: yum's "No more mirrors to try".
_MIRRORS_FAILED = ("all mirrors were", "cannot download", "curl error", "status code:")


# Set when an interrupt was raised inside a download callback: dnf's C++ layer
# turns it into a plain error on its way out.
_interrupted = [False]


def _passesInterrupt(method):
    """A download callback whose interrupt is remembered for _yumError."""
    def wrapper(*args):
        try:
            return method(*args)
        except KeyboardInterrupt:
            _interrupted[0] = True
            raise
    wrapper.__name__ = method.__name__
    return wrapper


def _yumError(e):
    """The yum.Errors counterpart of a dnf, libdnf or rpm failure, by what happened."""
    if _interrupted[0]:
        _interrupted[0] = False
        return KeyboardInterrupt()
    if isinstance(e, Errors.YumBaseError):
        return e
    text = str(e)
    if isinstance(e, dnf.exceptions.LockError):
        return Errors.LockError(errno.EAGAIN, text)
    if isinstance(e, dnf.exceptions.CompsError):
        return Errors.GroupsError(text)
    # Package downloads failing are yum's download error, a plain YumBaseError:
    # the engine's message for unreachable mirrors speaks of metadata.
    if isinstance(e, dnf.exceptions.DownloadError):
        return Errors.YumBaseError(text)
    if isinstance(e, (dnf.exceptions.RepoError, dnf.exceptions.MetadataError, libdnf.error.Error)):
        lowered = text.lower()
        if any(m in lowered for m in _MIRRORS_FAILED):
            return Errors.NoMoreMirrorsRepoError(text)
        if not isinstance(e, libdnf.error.Error):
            return Errors.RepoError(text)
    return Errors.YumBaseError(text)


def _inRoot(root, path):
    """Where a path of the managed system lies, resolved as inside a chroot at root
    (as the configuration reader resolves it): ".." stops at the root and symbolic
    links, absolute ones included, are followed inside it.  Parts that do not exist
    are taken as they stand."""
    if root == "/":
        return path
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
            missing = missing or not os.path.exists(here)
            continue
        links += 1
        if links > 40:
            break  # the caller's own use of the path reports the loop
        target = os.readlink(here)
        done.pop()
        if target.startswith("/"):
            done = []
        todo.extend(target.split("/")[::-1])
    return os.path.join(root, *done)


def _rootDir():
    return os.path.abspath(os.environ.get("ORVOROOT") or "/")


def _mainConfFile(root):
    for p in ("/etc/yum/yum.conf", "/etc/yum.conf", "/etc/dnf/dnf.conf"):
        if os.path.exists(_inRoot(root, p)):
            return _inRoot(root, p)
    return _inRoot(root, "/etc/yum.conf")


def _rawMainOptions(path):
    """reposdir and cachedir as the configuration reader sees them."""
    opts = {}
    try:
        with open(path, "rb") as fh:
            text = fh.read().decode("latin-1")
    except (IOError, OSError):
        return opts
    section = None
    for line in text.split("\n"):
        if line.startswith("["):
            section = line.strip()
            continue
        if section != "[main]" or line[:1] in (" ", "\t"):
            continue
        for key in ("cachedir", "reposdir"):
            sep = min([i for i in (line.find(":"), line.find("=")) if i >= 0] or [-1])
            if sep > 0 and line[:sep].rstrip(" \t") == key:
                opts[key] = line[sep + 1:].lstrip(" \t").rstrip()
    return opts


def _hostReleasever():
    for p in ("/etc/os-release", "/usr/lib/os-release"):
        try:
            with open(p) as fh:
                for line in fh:
                    if line.startswith("VERSION_ID="):
                        return line.split("=", 1)[1].strip().strip("\"'")
        except (IOError, OSError):
            continue
    return None


def _dbPath(root):
    """The rpm database directory of the root, when it has one of the usual ones."""
    for d in ("/usr/lib/sysimage/rpm", "/var/lib/rpm"):
        p = _inRoot(root, d)
        for f in ("rpmdb.sqlite", "Packages", "Packages.db"):
            if os.path.exists(os.path.join(p, f)):
                return d
    return None


def _bytes2str(v):
    if isinstance(v, bytes):
        return v.decode("utf-8", "replace")
    return v


class _RootLock(object):
    """dnf's rpmdb process lock of a root, held while the session works on the
    system (collecting, applying, cleaning) and given back in between, so that a
    terminal's dnf is never kept waiting by an idle window.

    It uses dnf's own lock file and protocol (the holder's pid, checked under
    flock), so dnf processes respect it, but without dnf's per-thread lock:
    the engine takes it on a worker thread and gives it back on another.
    """

    def __init__(self):
        self.target = None
        # Set by the session's lock(), cleared by its unlock(): where the lock is.
        self.session = None

    def take(self):
        """Held from here until give(); raises LockError when another process has it."""
        if self.session and not self.target:
            self.acquire(self.session)

    def give(self):
        if self.session:
            self.release()

    @contextlib.contextmanager
    def holding(self):
        """Held for the block and given back after it, also when a collection that
        failed before its end left it held."""
        self.take()
        try:
            yield
        finally:
            self.give()

    def _tryLock(self, target):
        d = os.path.dirname(target)
        if not os.path.isdir(d):
            os.makedirs(d)
        fd = os.open(target, os.O_CREAT | os.O_RDWR, 0o644)
        try:
            try:
                fcntl.flock(fd, fcntl.LOCK_EX | fcntl.LOCK_NB)
            except OSError as e:
                if e.errno in (errno.EWOULDBLOCK, errno.EAGAIN):
                    return -1
                raise
            old = os.read(fd, 20)
            me = os.getpid()
            try:
                oldPid = int(old) if old.strip() else 0
            except ValueError:
                oldPid = 0
            if oldPid and oldPid != me and os.access("/proc/%d/stat" % oldPid, os.F_OK):
                return oldPid
            os.lseek(fd, 0, os.SEEK_SET)
            os.ftruncate(fd, 0)
            os.write(fd, str(me).encode())
            return me
        finally:
            os.close(fd)

    def acquire(self, target):
        try:
            pid = self._tryLock(target)
        except OSError as e:
            raise Errors.LockError(e.errno, "Unable to lock %s: %s" % (target, e.strerror))
        if pid != os.getpid():
            who = "another process" if pid < 0 else "process %d" % pid
            raise Errors.LockError(errno.EAGAIN, "Existing lock %s: another copy is running as %s" % (target, who), max(pid, 0))
        self.target = target

    def reassert(self):
        """Write the lock back after dnf's own transaction lock removed the file."""
        if self.target:
            try:
                self._tryLock(self.target)
            except OSError:
                pass

    def release(self):
        target, self.target = self.target, None
        if not target:
            return
        try:
            with open(target) as fh:
                mine = fh.read().strip() == str(os.getpid())
            if mine:
                os.unlink(target)
        except (IOError, OSError):
            pass


# One per process: the engine takes the lock through its first script object
# and gives it back through the last one.
_LOCK = _RootLock()


class _Meter(object):
    """A download meter as the engine sees it: an identity only."""


class _RepoMeter(dnf.callback.DownloadProgress):
    """A repository's metadata downloads as yum's serial grab meters.

    librepo reports a repository's files as stages of one download; the first
    stage is shown as the repomd file, the later ones as the contents.
    """

    def __init__(self, io, repo):
        super(_RepoMeter, self).__init__()
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

    @_passesInterrupt
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

    @_passesInterrupt
    def end(self, payload, status, msg):
        if status == dnf.callback.STATUS_FAILED and self._meter is not None:
            yumIOC.collectGrabMeterFailure(self._meter, msg)
            self._meter = None
        self._close()

    def finish(self):
        self._close()


class _ApplyMeter(dnf.callback.DownloadProgress):
    """Package downloads as yum's parallel grab meters.

    dnf downloads several packages at once: each file gets a meter of its own
    inside one multi-file batch, so that its progress reaches its own row.
    """

    def __init__(self, io):
        super(_ApplyMeter, self).__init__()
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

    @_passesInterrupt
    def progress(self, payload, done):
        m = self._meterOf(payload)
        done = int(done or 0)
        if m.done != done:
            m.done = done
            yumIOC.applyGrabMeterUpdate(m, done)

    @_passesInterrupt
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


class _DepsolveCallback(dnf.callback.Depsolve):
    def start(self):
        yumIOC.dsTsCheck()


class _TransactionDisplay(dnf.callback.TransactionProgress):
    """rpm's progress as yum's transaction events."""

    _CODES = {
        dnf.transaction.PKG_INSTALL: TS_INSTALL,
        dnf.transaction.PKG_UPGRADE: TS_UPDATE,
        dnf.transaction.PKG_DOWNGRADE: TS_UPDATE,
        dnf.transaction.PKG_REINSTALL: TS_INSTALL,
        dnf.transaction.PKG_OBSOLETE: TS_OBSOLETING,
        dnf.transaction.PKG_REMOVE: TS_ERASE,
        dnf.transaction.PKG_UPGRADED: TS_UPDATED,
        dnf.transaction.PKG_DOWNGRADED: TS_UPDATED,
        dnf.transaction.PKG_REINSTALLED: TS_UPDATED,
        dnf.transaction.PKG_OBSOLETED: TS_OBSOLETED,
        dnf.transaction.PKG_CLEANUP: TS_UPDATED,
    }

    def __init__(self, io):
        super(_TransactionDisplay, self).__init__()
        self._io = io

    def progress(self, package, action, ti_done, ti_total, ts_done, ts_total):
        code = self._CODES.get(action)
        if code is None or package is None or isinstance(package, str):
            return
        if code in (TS_ERASE, TS_OBSOLETED, TS_UPDATED):
            obj = package.name
        else:
            obj = self._io._wrap(package)
            if code == TS_INSTALL:
                code = self._io._installCode(package)
        yumIOC.tsEvent(obj, code, int(ti_done or 0), int(ti_total or 0), int(ts_done or 0), int(ts_total or 0))

    def scriptout(self, msgs):
        if msgs:
            yumIOC.stdoutWrite(_bytes2str(msgs))

    def error(self, message):
        yumIOC.errorlog(0, message)


# Set by Refresh: the next collection checks every repository for new metadata,
# whatever the cache's age (dnf's "clean expire-cache" before "makecache").
_expireNext = [False]


def expireMetadata():
    _expireNext[0] = True


def _skipRepo(base, repo, e):
    """One repository that cannot be read must not hide the others and the
    installed packages: it is left out of the session."""
    try:
        repo._repo.expire()
    except Exception:
        pass
    repo.disable()
    base._skipped.append((repo.id, e))


def _skippedError(skipped):
    """The error that names the repositories left out, for the engine to show."""
    lines = [str(e) for _, e in skipped]
    lines.append("Repositories skipped for this session: %s" % ", ".join(rid for rid, _ in skipped))
    return Errors.RepoError("\n".join(lines))


class _RecordHandler(logging.Handler):
    def __init__(self):
        logging.Handler.__init__(self, logging.WARNING)
        self.records = []

    def emit(self, record):
        self.records.append(record)


def _checkRepoText(substitutions, text, shown, mainFile):
    import re
    import tempfile
    sections = [m.group(1) for m in re.finditer(br"^\[([^\n]*)\][ \t]*$", text, re.M)
                if m.group(1) != b"main"]
    work = tempfile.mkdtemp(prefix="orvo-check-")
    handler = _RecordHandler()
    logger = logging.getLogger("dnf")
    logger.addHandler(handler)
    problems = []
    try:
        path = os.path.join(work, "main.conf" if mainFile else "check.repo")
        with open(path, "wb") as fh:
            fh.write(text)
        conf = dnf.conf.Conf()
        for key, value in dict(substitutions).items():
            conf.substitutions[key] = value
        if mainFile:
            conf.read(path)
            conf.config_file_path = path
            conf.reposdir = []
        else:
            empty = os.path.join(work, "empty.conf")
            open(empty, "w").close()
            conf.config_file_path = empty
            conf.reposdir = [work]
        read = [r.id for r in dnf.conf.read.RepoReader(conf, {})]
        for record in handler.records:
            message = record.getMessage()
            # A name taken from the id is no loss.
            if "missing name" not in message:
                problems.append(message)
        if len(read) < len(sections) and not problems:
            problems.append("only %d of %d repositories read" % (len(read), len(sections)))
    except Exception as e:
        problems.append(str(e))
    finally:
        logger.removeHandler(handler)
        shutil.rmtree(work, ignore_errors=True)
    return "\n".join(p.replace(os.path.join(work, "check.repo"), shown)
                     .replace(os.path.join(work, "main.conf"), shown) for p in problems)


class _Base(dnf.Base):
    """dnf's Base with yum's reporting points added."""

    def __init__(self, io):
        super(_Base, self).__init__()
        self._orvo = io
        # (id, exception) of the repositories left out of this Base's sack
        self._skipped = []

    def _add_repo_to_sack(self, repo):
        try:
            self._loadRepo(repo)
        except (dnf.exceptions.RepoError, dnf.exceptions.MetadataError, libdnf.error.Error) as e:
            if _interrupted[0]:
                raise
            _skipRepo(self, repo, e)

    def _loadRepo(self, repo):
        meter = _RepoMeter(self._orvo, repo)
        repo.set_progress_bar(meter)
        try:
            repo.load()
        finally:
            meter.finish()
        yumIOC.collectProgress(0, 1, repo.id)
        super(_Base, self)._add_repo_to_sack(repo)
        yumIOC.collectProgress(1, 1, repo.id)
        yumIOC.collectProgress(-1, -1, repo.id)

    def _run_rpm_check(self):
        msgs = super(_Base, self)._run_rpm_check()
        if not msgs:
            yumIOC.tsInitCallback(0)
        return msgs

    def _run_transaction(self, cb):
        yumIOC.tsInitCallback(1)
        return super(_Base, self)._run_transaction(cb)


_SIMPLE_FIELDS = {
    "name": "name", "arch": "arch", "version": "version", "release": "release",
    "summary": "summary", "description": "description", "group": "group",
    "vendor": "vendor", "sourcerpm": "sourcerpm", "license": "license",
    "packager": "packager", "url": "url", "buildtime": "buildtime",
    "installedsize": "installsize", "packagesize": "downloadsize",
}
_NOT_SIMPLE = object()


class _Package(object):
    """A package as yum handed it over."""

    def __init__(self, io, pkg):
        self._io = io
        self._pkg = pkg

    name = property(lambda self: self._pkg.name)
    arch = property(lambda self: self._pkg.arch)
    epoch = property(lambda self: str(self._pkg.epoch))
    version = property(lambda self: self._pkg.version)
    release = property(lambda self: self._pkg.release)
    ver = version
    rel = release
    pkgtup = property(lambda self: (self.name, self.arch, self.epoch, self.version, self.release))

    @property
    def nvra(self):
        return "%s-%s-%s.%s" % (self.name, self.version, self.release, self.arch)

    @property
    def envra(self):
        if self.epoch != "0":
            return "%s:%s" % (self.epoch, self.nvra)
        return self.nvra

    ui_envra = envra

    def __str__(self):
        return self.envra

    def __repr__(self):
        return "<%s %s>" % (self.__class__.__name__, self.envra)

    def printVer(self):
        if self.epoch != "0":
            return "%s:%s-%s" % (self.epoch, self.version, self.release)
        return "%s-%s" % (self.version, self.release)

    def _simple(self):
        p = self._pkg
        values = {
            "name": p.name, "arch": p.arch, "epoch": self.epoch, "version": p.version,
            "release": p.release, "summary": p.summary, "description": p.description,
            "group": p.group, "vendor": p.vendor, "sourcerpm": p.sourcerpm,
            "license": p.license, "packager": p.packager, "url": p.url,
            "repoid": self.repoid, "buildtime": p.buildtime, "size": self.size,
            "installedsize": p.installsize, "packagesize": p.downloadsize,
        }
        # libsolv names a tag missing from the rpm database "<NULL>"; yum had no value.
        return {tag: None if v == "<NULL>" else v for tag, v in values.items()}

    def _simpleOne(self, tag):
        """One value of _simple(), read alone: a search reads several tags of every
        package, and each value is a query of the solver's pool."""
        attr = _SIMPLE_FIELDS.get(tag)
        if attr is not None:
            v = getattr(self._pkg, attr)
        elif tag in ("epoch", "repoid", "size"):
            v = getattr(self, tag)
        else:
            return _NOT_SIMPLE
        return None if v == "<NULL>" else v

    def returnSimple(self, tag):
        v = self._simpleOne(tag)
        if v is _NOT_SIMPLE:
            v = self._headerValue(tag)
        if v is None:
            raise KeyError(tag)
        return v

    def _headerValue(self, tag):
        hdr = self._header()
        if hdr is None:
            return None
        try:
            return _bytes2str(hdr[tag])
        except (KeyError, ValueError, TypeError):
            return None

    def _header(self):
        return None

    def returnPrco(self, prcotype, printable=False):
        # Only the kind asked for is read: each is a query of the solver's pool, and a
        # search reads all four of every package.
        if prcotype == "provides":
            deps = self._pkg.provides
        elif prcotype == "requires":
            deps = list(self._pkg.requires_pre) + list(self._pkg.requires)
        elif prcotype == "conflicts":
            deps = self._pkg.conflicts
        elif prcotype == "obsoletes":
            deps = self._pkg.obsoletes
        else:
            deps = []
        result = []
        seen = set()
        for dep in deps:
            text = str(dep)
            if text in seen:
                continue
            seen.add(text)
            if printable:
                result.append(text)
                continue
            parts = text.split(" ")
            if len(parts) == 3 and parts[1] in _FLAGS and not text.startswith("("):
                evr = parts[2]
                e, v, r = "0", evr, None
                if ":" in v:
                    e, v = v.split(":", 1)
                if "-" in v:
                    v, r = v.rsplit("-", 1)
                result.append((parts[0], _FLAGS[parts[1]], (e, v, r)))
            else:
                result.append((text, None, (None, None, None)))
        return result

    def returnFileEntries(self, ftype="file", primary_only=False):
        if ftype != "file":
            return []
        return list(self._pkg.files)

    def returnChangelog(self):
        out = []
        for c in self._pkg.changelogs:
            ts = c.get("timestamp")
            if hasattr(ts, "timetuple"):
                ts = int(time.mktime(ts.timetuple()))
            out.append((int(ts or 0), c.get("author", ""), c.get("text", "")))
        return out

    def localPkg(self):
        return None

    def localHdr(self):
        return None


class _AvailablePackage(_Package):
    """A package from a repository."""

    repoid = property(lambda self: self._pkg.reponame)
    relativepath = property(lambda self: self._pkg.location)
    size = property(lambda self: int(self._pkg.downloadsize or 0))

    def _simple(self):
        d = _Package._simple(self)
        d["relativepath"] = self.relativepath
        return d

    def _simpleOne(self, tag):
        if tag == "relativepath":
            return self.relativepath
        return _Package._simpleOne(self, tag)

    def localPkg(self):
        return self._pkg.localPkg()

    # dnf reads headers from the package file itself, so the header is local
    # exactly when the package is.
    localHdr = localPkg

    def _header(self):
        path = self.localPkg()
        if not path or not os.path.exists(path):
            return None
        ts = rpm.TransactionSet()
        ts.setVSFlags(rpm._RPMVSF_NOSIGNATURES | rpm._RPMVSF_NODIGESTS)
        try:
            with open(path, "rb") as fh:
                return ts.hdrFromFdno(fh.fileno())
        except (rpm.error, IOError, OSError):
            return None


class _InstalledPackage(_Package):
    """A package of the root's rpm database, with its header."""

    repoid = "installed"
    size = property(lambda self: int(self._pkg.installsize or 0))

    def __init__(self, io, pkg):
        _Package.__init__(self, io, pkg)
        self._hdr = None

    def _simple(self):
        d = _Package._simple(self)
        d["installtime"] = self._pkg.installtime
        return d

    def _simpleOne(self, tag):
        if tag == "installtime":
            return self._pkg.installtime
        return _Package._simpleOne(self, tag)

    @property
    def hdr(self):
        if self._hdr is None:
            self._hdr = self._io._installedHeader(self._pkg.rpmdbid)
        return self._hdr

    def _header(self):
        return self.hdr

    def returnFileEntries(self, ftype="file", primary_only=False):
        hdr = self.hdr
        if hdr is None:
            return _Package.returnFileEntries(self, ftype)
        names = [_bytes2str(f) for f in hdr[rpm.RPMTAG_FILENAMES]]
        if ftype == "file":
            # Everything the package owns, directories included, as rpm lists
            # it and as the repository metadata lists an available package.
            return names
        modes = hdr[rpm.RPMTAG_FILEMODES] or [0] * len(names)
        flags = hdr[rpm.RPMTAG_FILEFLAGS] or [0] * len(names)
        out = []
        for n, m, f in zip(names, modes, flags):
            if f & rpm.RPMFILE_GHOST:
                kind = "ghost"
            elif (m & 0o170000) == 0o040000:
                kind = "dir"
            else:
                kind = "file"
            if kind == ftype:
                out.append(n)
        return out

    def returnChangelog(self):
        hdr = self.hdr
        if hdr is None:
            return _Package.returnChangelog(self)
        return list(zip([int(t) for t in hdr[rpm.RPMTAG_CHANGELOGTIME]],
                        [_bytes2str(n) for n in hdr[rpm.RPMTAG_CHANGELOGNAME]],
                        [_bytes2str(t) for t in hdr[rpm.RPMTAG_CHANGELOGTEXT]]))


class _Group(object):
    """A comps group in yum's shape."""

    def __init__(self, grp, installedNames):
        self.groupid = grp.id
        self.name = grp.name
        self.ui_name = grp.ui_name
        self.description = grp.desc or ""
        self.ui_description = grp.ui_description or ""
        self.user_visible = bool(grp.visible)
        self.default = bool(grp.default)
        self.display_order = grp.display_order
        self.mandatory_packages = dict((p.name, 1) for p in grp.mandatory_packages)
        self.default_packages = dict((p.name, 1) for p in grp.default_packages)
        self.optional_packages = dict((p.name, 1) for p in grp.optional_packages)
        self.conditional_packages = dict((p.name, p.requires or "") for p in grp.conditional_packages)
        self.sub_groups = []
        self.default_metapkgs = {}
        self.optional_metapkgs = {}
        # Installed the way yum counted it: all mandatory members, or, when
        # there are none, any other member.
        if self.mandatory_packages:
            self.installed = all(n in installedNames for n in self.mandatory_packages)
        else:
            others = list(self.default_packages) + list(self.optional_packages) + list(self.conditional_packages)
            self.installed = any(n in installedNames for n in others)

    @property
    def packages(self):
        return (list(self.mandatory_packages) + list(self.default_packages)
                + list(self.optional_packages) + list(self.conditional_packages))

    def requiredPkgs(self, name=None):
        return list(self.mandatory_packages) + list(self.default_packages)

    pkgTree = requiredPkgs

    def __str__(self):
        return self.name


class _TransactionMember(object):
    """One package of a resolved transaction, in yum's shape."""

    def __init__(self, po, output_state, isDep=False):
        self.po = po
        self.output_state = output_state
        self.isDep = isDep
        self.reason = "dep" if isDep else "user"
        self.ts_state = {TS_ERASE: "e", TS_OBSOLETED: None, TS_UPDATED: None}.get(output_state, "u")
        self.obsoletes = []
        self.obsoleted_by = []
        self.updates = []
        self.updated_by = []
        self.relatedto = []

    name = property(lambda self: self.po.name)
    arch = property(lambda self: self.po.arch)
    epoch = property(lambda self: self.po.epoch)
    version = property(lambda self: self.po.version)
    release = property(lambda self: self.po.release)
    ver = version
    rel = release
    pkgtup = property(lambda self: self.po.pkgtup)
    repoid = property(lambda self: self.po.repoid)

    def __str__(self):
        return str(self.po)

    def __repr__(self):
        return "<txmbr %s %d>" % (self.po, self.output_state)


class _TransactionInfo(object):
    """A resolved transaction: its members and yum's lists of them."""

    def __init__(self):
        self.installed = []
        self.updated = []
        self.removed = []
        self.obsoleted = []
        self.depinstalled = []
        self.depupdated = []
        self.depremoved = []
        self.reinstalled = []
        self.members = []

    def add(self, txmbr):
        self.members.append(txmbr)

    def getMembers(self):
        return list(self.members)

    def __iter__(self):
        return iter(self.members)

    def __len__(self):
        return len(self.members)

    def makelists(self):
        return (self.installed, self.updated, self.removed, self.obsoleted,
                self.depinstalled, self.depupdated, self.depremoved, self.reinstalled)


class _NoCycleCollection(object):
    """Holds off the cycle collector while tens of thousands of objects that form no
    cycles are made: otherwise it walks the whole of dnf's heap again and again."""

    def __enter__(self):
        self._was = gc.isenabled()
        gc.disable()

    def __exit__(self, *exc):
        if self._was:
            gc.enable()
        return False


def _collectRow(po):
    """A package's row read straight from dnf's package, as printVer and returnSimple
    would give its fields."""
    p = po._pkg
    epoch = p.epoch
    if epoch:
        verRel = "%s:%s-%s" % (epoch, p.version, p.release)
    else:
        verRel = "%s-%s" % (p.version, p.release)
    return (po, p.name, p.arch, verRel, po.repoid, p.group, po.size, p.summary, p.buildtime)


def _genericRow(po):
    def simple(tag):
        try:
            return po.returnSimple(tag)
        except KeyError:
            return None
    return (po, po.name, po.arch, po.printVer(), simple("repoid"), simple("group"), po.size,
            simple("summary"), simple("buildtime"))


class _Collected(object):
    def __init__(self, installed, available):
        self.installed = installed
        self.available = available


class YumIO(object):
    """The adapter object the engine talks to."""

    def __init__(self):
        self.root = _rootDir()
        self.conf = _AttrDict()
        self.repos = _AttrDict(repos={})
        self.tsInfo = _TransactionInfo()
        self._base = None
        self._sackReady = False
        self._cookie = None
        self._otherLoaded = False
        self._pkgs = {}
        self._installonly = None
        self.skippedRepos = []
        self._versionRequests = []
        try:
            self._configure()
        except Errors.YumBaseError as e:
            yumIOC.errorlog(0, str(e))
            raise SystemExit(str(e))
        except (dnf.exceptions.Error, libdnf.error.Error, RuntimeError, ValueError) as e:
            yumIOC.errorlog(0, str(e))
            raise SystemExit(str(e))

    # ---- configuration ------------------------------------------------

    def _fixDbPath(self):
        # A root without a database gets one where rpm systems keep it, once
        # something is installed, not where this rpm build would put it.
        d = _dbPath(self.root) or "/var/lib/rpm"
        if rpm.expandMacro("%{_dbpath}") != d:
            rpm.addMacro("_dbpath", d)

    def _newBase(self):
        """A dnf Base configured from the root's files and this session's choices."""
        root = self.root
        base = _Base(self)
        # Creating dnf's configuration re-reads rpm's macros, so the
        # database path is set after it.
        self._fixDbPath()
        conf = base.conf
        conf.installroot = root
        main = _mainConfFile(root)
        if os.path.exists(main):
            conf.read(main, priority=dnf.conf.PRIO_MAINCONFIG)
        conf.config_file_path = main
        raw = _rawMainOptions(main)
        subst = conf.substitutions
        subst.update_from_etc(root, varsdir=conf.varsdir)
        if not conf.releasever:
            # Asking a root without a database would make one.
            rel = (_dbPath(root) and dnf.rpm.detect_releasever(root)) or _hostReleasever()
            if rel:
                conf.releasever = rel
        if "reposdir" in raw:
            dirs = raw["reposdir"].replace(",", " ").split()
        else:
            dirs = ["/etc/yum/repos.d", "/etc/yum.repos.d"]
        conf.reposdir = [_inRoot(root, d) for d in dirs]
        # dnf neither substitutes variables in a yum-style cachedir nor puts
        # the root in front of it.
        cachedir = raw.get("cachedir") or "/var/cache/yum/$basearch/$releasever"
        cachedir = libdnf.conf.ConfigParser.substitute(cachedir, subst)
        self._cachedir = _inRoot(root, cachedir)
        conf.cachedir = self._cachedir
        for opt in ("persistdir", "logdir"):
            conf.prepend_installroot(opt)
        for d in (conf.logdir, self._cachedir):
            if not os.path.isdir(d):
                os.makedirs(d)
        conf.clean_requirements_on_remove = False
        conf.exit_on_lock = True
        base._ds_callback = _DepsolveCallback()
        base.read_all_repos()
        for rid, r in self.repos.repos.items():
            if rid in base.repos:
                if r.enabled:
                    base.repos[rid].enable()
                else:
                    base.repos[rid].disable()
        return base

    def _configure(self):
        root = self.root
        if not os.path.isdir(root):
            raise Errors.YumBaseError("ORVOROOT %s is not a directory" % root)
        base = self._base = self._newBase()
        conf = base.conf
        yumvar = dict(conf.substitutions)
        yumvar.setdefault("basearch", conf.basearch)
        yumvar.setdefault("arch", conf.arch)
        self.conf.update(
            yumvar=yumvar,
            installroot=root,
            config_file_path=conf.config_file_path,
            reposdir=list(conf.reposdir),
            cachedir=self._cachedir,
            persistdir=conf.persistdir,
            dbpath=_dbPath(root) or rpm.expandMacro("%{_dbpath}"),
            installonlypkgs=list(conf.installonlypkgs),
        )
        repos = {}
        for rid in sorted(base.repos):
            r = base.repos[rid]
            repos[rid] = _AttrDict(
                id=rid, name=r.name, enabled=1 if r.enabled else 0,
                baseurl=list(r.baseurl or []), mirrorlist=r.mirrorlist or "",
                gpgcheck=1 if r.gpgcheck else 0, repofile=r.repofile)
        self.repos.repos = repos

    # ---- configuration checks ------------------------------------------

    def checkRepoText(self, text, shown, mainFile):
        """What dnf would say reading `text` as the file `shown`: "" when it reads
        every repository section of it, else its messages."""
        return _checkRepoText(self._base.conf.substitutions if self._base else {},
                              bytes(text), shown, bool(mainFile))

    # ---- lock ------------------------------------------------------

    def lock(self):
        """Takes the lock now, and from now on whenever the session works: the
        collection that follows gives it back when it is done."""
        target = os.path.join(dnf.lock._fit_lock_dir(self._base.conf.persistdir), "rpmdb_lock.pid")
        _LOCK.acquire(target)
        _LOCK.session = target

    def unlock(self):
        _LOCK.session = None
        _LOCK.release()

    # ---- repositories ------------------------------------------------

    def _repo(self, rid):
        if rid not in self._base.repos:
            raise Errors.RepoError("Error getting repository data for %s, repository not found" % rid)
        return self._base.repos[rid]

    def enableRepo(self, rid):
        self._repo(rid).enable()
        self.repos.repos[rid].enabled = 1

    def disableRepo(self, rid):
        self._repo(rid).disable()
        self.repos.repos[rid].enabled = 0

    def _fillSack(self):
        self._fixDbPath()
        self.skippedRepos = []
        if _expireNext[0]:
            _expireNext[0] = False
            for r in self._base.repos.iter_enabled():
                r._repo.expire()
        cookie = self._rpmdbCookie()
        try:
            # Reading a database that does not exist would make an empty one.
            self._base.fill_sack(load_system_repo=_dbPath(self.root) is not None, load_available_repos=True)
        except Exception as e:
            raise _yumError(e)
        _localfiles.putIntoSack(self._base)
        self._sackReady = True
        self._installonly = None
        self._cookie = cookie
        self._noteSkipped()

    def _rpmdbCookie(self):
        """What tells one state of the rpm database from another: rpm's cookie, or
        the database files' sizes and change times where rpm has none."""
        if _dbPath(self.root) is None:
            return "no database"
        self._fixDbPath()
        try:
            ts = rpm.TransactionSet(self.root)
            try:
                ts.openDB()
                cookie = ts.dbCookie()
            finally:
                ts.closeDB()
            if cookie:
                return cookie
        except (AttributeError, rpm.error):
            pass
        d = _dbPath(self.root) or rpm.expandMacro("%{_dbpath}")
        d = _inRoot(self.root, d)
        try:
            return repr(sorted((n, st.st_size, st.st_mtime_ns) for n, st in
                               ((n, os.stat(os.path.join(d, n))) for n in os.listdir(d))))
        except OSError:
            return None

    def installedChanged(self):
        """Whether packages were installed or removed since the catalogue was collected."""
        if not self._sackReady or self._cookie is None:
            return False
        return self._rpmdbCookie() != self._cookie

    def _noteSkipped(self):
        """Raises, once the sack holds the rest, the error naming the skipped
        repositories; they stay off for the rest of the session."""
        skipped = self._base._skipped
        if not skipped:
            return
        self._base._skipped = []
        self.skippedRepos = [rid for rid, _ in skipped]
        for rid in self.skippedRepos:
            if rid in self.repos.repos:
                self.repos.repos[rid].enabled = 0
        raise _skippedError(skipped)

    def setupRepos(self):
        _LOCK.take()
        self._fillSack()

    def setupTs(self):
        self.tsInfo = _TransactionInfo()

    # ---- packages ------------------------------------------------------

    def _wrap(self, pkg):
        key = (str(pkg), pkg.reponame)
        w = self._pkgs.get(key)
        if w is None:
            cls = _InstalledPackage if pkg.reponame == hawkey.SYSTEM_REPO_NAME else _AvailablePackage
            w = cls(self, pkg)
            self._pkgs[key] = w
        return w

    def _query(self):
        if not self._sackReady:
            self._fillSack()
        return self._base.sack.query()

    def collectUpdates(self):
        with _NoCycleCollection():
            q = self._query()
            return [self._wrap(p) for p in q.upgrades().latest()]

    def collectAll(self):
        with _NoCycleCollection():
            q = self._query()
            inst = q.installed()
            instTups = set((p.name, p.arch, p.evr) for p in inst)
            avail = [p for p in q.available().latest() if (p.name, p.arch, p.evr) not in instTups]
            return _Collected([self._wrap(p) for p in inst], [self._wrap(p) for p in avail])

    def collectRows(self, packages):
        """What the engine reads of each package, one tuple a package: (package, name,
        arch, printVer(), repoid, group, size, summary, buildtime), the texts as
        returnSimple gives them (None where it has none).  A package whose fields
        cannot be read comes back as itself, for the engine to read and report."""
        rows = []
        append = rows.append
        with _NoCycleCollection():
            for po in packages:
                try:
                    append(_collectRow(po) if isinstance(po, _Package) else _genericRow(po))
                except Exception:
                    append(po)
        return rows

    def isBetterThan(self, a, b):
        # The architecture nearer the machine's own wins over a newer version:
        # an installed x86_64 package is not a duplicate of an i686 update.
        ra, rb = self._archRank(a.arch), self._archRank(b.arch)
        if ra != rb:
            return ra < rb
        return a._pkg.evr_cmp(b._pkg) > 0

    def _archRank(self, arch):
        basearch = self.conf.yumvar.get("basearch")
        if self.getBiArch(arch) == basearch:
            return 0
        if arch == "noarch":
            return 1
        return 2

    def getBiArch(self, arch):
        """The architecture's class: one per word size of a family, noarch its own."""
        if arch in ("sparc64", "sparc64v"):
            return "sparc64"
        try:
            return dnf.rpm.basearch(arch)
        except KeyError:
            return arch

    def _installedHeader(self, rpmdbid):
        self._fixDbPath()
        ts = rpm.TransactionSet(self.root)
        ts.setVSFlags(rpm._RPMVSF_NOSIGNATURES | rpm._RPMVSF_NODIGESTS)
        try:
            for h in ts.dbMatch(rpm.RPMDBI_PACKAGES, rpmdbid):
                return h
        finally:
            ts.closeDB()
        return None

    def _installonlyNames(self):
        if self._installonly is None:
            q = self._base._get_installonly_query(self._base.sack.query())
            self._installonly = set(p.name for p in q)
        return self._installonly

    def olderDuplicates(self):
        """Installed packages of which a newer version of the same name and
        architecture is installed too, install-only kinds apart: what an
        interrupted transaction leaves behind, as dnf's own duplicate check says."""
        only = self._installonlyNames()
        newest = {}
        older = []
        for p in sorted(self._query().installed().duplicated(), key=lambda p: (p.name, p.arch)):
            if p.name in only:
                continue
            key = (p.name, p.arch)
            kept = newest.get(key)
            if kept is None:
                newest[key] = p
            elif p.evr_cmp(kept) > 0:
                older.append(kept)
                newest[key] = p
            else:
                older.append(p)
        return [self._wrap(p) for p in sorted(older, key=str)]

    def _installCode(self, pkg):
        """yum's code for a package that rpm installs."""
        if getattr(self, "_obsoleting", None) and str(pkg) in self._obsoleting:
            return TS_OBSOLETING
        if pkg.name in self._installonlyNames():
            return TS_TRUEINSTALL
        return TS_INSTALL

    # ---- groups --------------------------------------------------------

    def setupTsGroup(self):
        try:
            self._base.read_comps(arch_filter=True)
        except Exception as e:
            raise _yumError(e)
        if not len(self._base.comps.groups):
            raise Errors.GroupsError("No Groups Available in any repository")

    def collectGroupInfo(self):
        comps = self._base.comps
        if comps is None:
            return []
        names = set(p.name for p in self._query().installed())
        return [_Group(g, names) for g in comps.groups_iter()]

    def collectDone(self):
        _LOCK.give()
        return None

    def collectAdvisories(self, updates):
        """The advisories the updates fix: ({id: record}, [ids of each update])."""
        from yumio import advisories
        try:
            return advisories.collect(self._base.sack, [p._pkg for p in updates])
        except Exception as e:
            # Unreadable update information costs the advisories, not the catalogue.
            yumIOC.errorlog(1, "Cannot read the update information: %s" % e)
            return {}, [[] for _ in updates]

    # ---- extra data ----------------------------------------------------

    def collectFileLists(self):
        # dnf reads the file lists together with the primary data.
        if not self._sackReady:
            self._fillSack()
        return True

    def collectOtherData(self):
        """Read the change logs of available packages (repository "other" data)."""
        if self._otherLoaded:
            return True
        with _LOCK.holding():
            return self._loadOtherData()

    def _loadOtherData(self):
        # dnf does not read more of a repository once it has loaded it: read
        # everything again with a new Base that asks for the other data too.
        # The new Base replaces the old one only once it has loaded: after a
        # failure the session goes on with what it had.
        base = None
        try:
            base = self._newBase()
            for repo in base.repos.iter_enabled():
                repo.load_metadata_other = True
            self._fixDbPath()
            base.fill_sack(load_system_repo=_dbPath(self.root) is not None, load_available_repos=True)
            # Extra data that cannot be read leaves the session as it was.
            if base._skipped:
                raise base._skipped[0][1]
        except Exception as e:
            if base is not None:
                try:
                    base.close()
                except Exception:
                    pass
            raise _yumError(e)
        _localfiles.putIntoSack(base)
        self._base.close()
        self._base = base
        self._sackReady = True
        self._installonly = None
        # The engine holds the package objects: point them at the new sack.
        for p in self._base.sack.query():
            w = self._pkgs.get((str(p), p.reponame))
            if w is not None:
                w._pkg = p
        self._otherLoaded = True
        return True

    # ---- transactions --------------------------------------------------

    def makelists(self):
        return self.tsInfo.makelists()

    def _request(self, installs, updates, removes):
        base = self._base
        wanted = set()
        removing = set()
        installed = base.sack.query().installed().apply()
        for po in installs:
            base.package_install(po._pkg, strict=True)
            wanted.add(str(po._pkg))
        for pair in updates:
            new = pair[0]
            if str(new._pkg) in wanted:
                continue
            # An install of a newer version replaces the installed one, also
            # across an architecture change, and keeps install-only kinds.  An
            # update that obsoletes other installed packages must be an upgrade
            # job: as an install the solver leaves the obsoleted ones for rpm to
            # drop unlisted.
            if base.conf.obsoletes and base.sack.query().filterm(pkg=[new._pkg]).filterm(obsoletes=installed):
                base.package_upgrade(new._pkg)
            else:
                base.package_install(new._pkg, strict=True)
            wanted.add(str(new._pkg))
        for po in removes:
            base.package_remove(po._pkg)
            removing.add(str(po._pkg))
        requests, self._versionRequests = self._versionRequests, []
        wanted |= _versions.request(base, [(k, po._pkg, v) for k, po, v in requests])
        return wanted, removing

    def _buildTsInfo(self, wanted, removing):
        """yum's transaction members, and the TSINFO lines of what the solver added."""
        A = libdnf.transaction
        base = self._base
        goal = base._goal
        ts = _TransactionInfo()
        # old package -> its replacement, by obsoletion (other name) or update (same name)
        obsoletedBy = {}
        upgraded = {}
        incoming = (list(goal.list_installs()) + list(goal.list_upgrades())
                    + list(goal.list_reinstalls()) + list(goal.list_downgrades()))
        for p in incoming:
            for o in goal.obsoleted_by_package(p):
                if o.name != p.name:
                    obsoletedBy.setdefault(str(o), (o, p))
                elif str(p) not in upgraded:
                    upgraded[str(p)] = o
        self._obsoleting = set(str(new) for _old, new in obsoletedBy.values())
        installedNames = set(p.name for p in base.sack.query().installed())
        lines = []
        for tsi in base.transaction:
            if tsi.action == A.TransactionItemAction_REASON_CHANGE:
                continue
            p = tsi.pkg
            key = str(p)
            action = tsi.action
            po = self._wrap(p)
            byUser = key in wanted or key in removing
            if action in (A.TransactionItemAction_INSTALL, A.TransactionItemAction_UPGRADE):
                isUpdate = action == A.TransactionItemAction_UPGRADE or p.name in installedNames
                if key in self._obsoleting:
                    state = TS_OBSOLETING
                elif action == A.TransactionItemAction_UPGRADE:
                    state = TS_UPDATE
                elif p.name in installedNames and p.name in self._installonlyNames():
                    state = TS_TRUEINSTALL
                else:
                    state = TS_INSTALL
                m = _TransactionMember(po, state, not byUser)
                old = upgraded.get(key)
                if old is not None:
                    m.updates.append(self._wrap(old))
                    m.relatedto.append((self._wrap(old), "updates"))
                for o, n in obsoletedBy.values():
                    if str(n) == key:
                        m.obsoletes.append(self._wrap(o))
                        m.relatedto.append((self._wrap(o), "obsoletes"))
                if byUser:
                    (ts.updated if isUpdate else ts.installed).append(m)
                else:
                    (ts.depupdated if isUpdate else ts.depinstalled).append(m)
                    if m.obsoletes:
                        lines += ["Obsoleting %s with %s" % (o, po) for o in m.obsoletes]
                    elif old is not None:
                        lines.append("Marking %s as update for %s" % (po, self._wrap(old)))
                    else:
                        lines.append("Marking %s as install" % po)
            elif action == A.TransactionItemAction_OBSOLETED:
                m = _TransactionMember(po, TS_OBSOLETED)
                pair = obsoletedBy.get(key)
                if pair is not None:
                    npo = self._wrap(pair[1])
                    m.obsoleted_by.append(npo)
                    m.relatedto.append((npo, "obsoletedby"))
                ts.obsoleted.append(m)
            elif action == A.TransactionItemAction_REMOVE:
                m = _TransactionMember(po, TS_ERASE, not byUser)
                (ts.removed if byUser else ts.depremoved).append(m)
                if not byUser:
                    lines.append("%s marked as erase" % po)
            elif action in (A.TransactionItemAction_REINSTALL, A.TransactionItemAction_DOWNGRADE):
                m = _TransactionMember(po, TS_UPDATE, not byUser)
                m.downgrade = action == A.TransactionItemAction_DOWNGRADE
                ts.reinstalled.append(m)
            else:
                # the installed version that an update, downgrade or reinstall replaces
                m = _TransactionMember(po, TS_UPDATED)
            ts.add(m)
        # updated members may come before their replacements
        for m in ts.members:
            if m.output_state == TS_UPDATED and not m.updated_by:
                for other in ts.members:
                    if any(u is m.po for u in other.updates):
                        m.updated_by.append(other.po)
                        m.relatedto.append((other.po, "updatedby"))
        return ts, lines

    def apply(self, installs, updates, removes):
        with _LOCK.holding():
            return self._apply(installs, updates, removes)

    def _apply(self, installs, updates, removes):
        base = self._base
        if not self._sackReady:
            self._fillSack()
        base._ds_callback = _DepsolveCallback()
        try:
            wanted, removing = self._request(installs, updates, removes)
            # As yum did, a removal takes along the installed packages that need what
            # it removes; they are listed as removed for dependencies, to be confirmed.
            base.resolve(allow_erasing=bool(removing))
        except Exception as e:
            raise _yumError(e)
        if not base.transaction:
            yumIOC.log(2, "Nothing to do")
            return None
        self.tsInfo, lines = self._buildTsInfo(wanted, removing)
        for line in lines:
            _tsinfo(line)
        if lines:
            yumIOC.dsRestartLoop()
            yumIOC.dsTsCheck()
        # yum listed the transaction first and then told its download size: the
        # listing starts the text that the confirmation shows.
        yumIOC.listTransaction(self.tsInfo)
        yumIOC.reportDownloadSize([self._wrap(p) for p in base.transaction.install_set])
        if not yumIOC.userconfirm():
            yumIOC.log(2, "Exiting on user Command")
            base.reset(goal=True)
            self.tsInfo = _TransactionInfo()
            return None
        remote = [p for p in base.transaction.install_set if not p._is_local_pkg()]
        # recorded in the package manager's history as started by Orvo
        base.args = ["Orvo"]
        try:
            if remote:
                base.download_packages(remote, _ApplyMeter(self))
            yumIOC.gpgsigcheck([self._wrap(p) for p in base.transaction.install_set])
            self._checkSignatures(base.transaction.install_set)
            base.do_transaction(display=[_TransactionDisplay(self)])
        except Exception as e:
            raise _yumError(e)
        finally:
            _LOCK.reassert()
        # rpm goes on past a package whose scriptlet fails and leaves it out; yum
        # reported that as a failed transaction.
        failed = [str(tsi) for tsi in base.transaction
                  if tsi.state == libdnf.transaction.TransactionItemState_ERROR]
        if failed:
            raise Errors.YumBaseError("Transaction failed: %s" % ", ".join(failed))
        yumIOC.postTransactionOutput(self.tsInfo)
        return None

    def _checkSignatures(self, pkgs):
        base = self._base
        for p in pkgs:
            code, msg = base.package_signature_check(p)
            if code == 0:
                continue
            if code == 1:
                def ask(po, userid, hexkeyid):
                    return bool(yumIOC.userconfirm())
                try:
                    base.package_import_key(p, askcb=ask)
                    continue
                except dnf.exceptions.Error as e:
                    msg = str(e)
            raise Errors.YumBaseError(msg)

    def applyFailCleanup(self):
        self.flush()

    def flush(self):
        """End an apply, whatever became of it: the resolved transaction is dropped
        and the object stays ready for the next apply, extra-data load and
        description, on the same catalogue."""
        if self._base is not None:
            try:
                self._base.reset(goal=True)
            except Exception:
                pass
        self.tsInfo = _TransactionInfo()
        self._obsoleting = set()
        self._versionRequests = []
        _LOCK.reassert()

    # ---- cache cleaning ------------------------------------------------

    def _cacheFiles(self, patterns):
        found = []
        for pat in patterns:
            found += glob.glob(os.path.join(self._cachedir, pat))
        return sorted(set(found))

    def _clean(self, patterns, what):
        with _LOCK.holding():
            return self._removeCacheFiles(patterns, what)

    def _removeCacheFiles(self, patterns, what):
        removed = 0
        errors = []
        for f in self._cacheFiles(patterns):
            try:
                if os.path.isdir(f) and not os.path.islink(f):
                    shutil.rmtree(f)
                else:
                    os.unlink(f)
                removed += 1
            except (IOError, OSError) as e:
                errors.append("Unable to remove %s: %s" % (f, e))
        if errors:
            for e in errors:
                yumIOC.errorlog(0, e)
            return 1, errors
        msg = "%d %s removed" % (removed, what if removed != 1 else what.replace("files", "file"))
        yumIOC.log(2, msg)
        return 0, [msg]

    def cleanHeaders(self):
        return self._clean(["*/headers/*.hdr", "*/*.hdr"], "header files")

    def cleanPackages(self):
        return self._clean(["*/packages/*.rpm", "*/packages/*.drpm"], "package files")

    def cleanMetadata(self):
        return self._clean(["*/repodata", "*/metalink.xml", "*/mirrorlist", "*.solvx", "*/*.solvx"],
                           "metadata files")

    def cleanPickles(self):
        return self._clean(["*/*.pickle"], "pickle files")

    def cleanSqlite(self):
        return self._clean(["*.solv", "*/*.sqlite", "*/*.sqlite.bz2"], "sqlite cache files")

    # ---- history, other versions, package files -------------------------

    def historyTransactions(self):
        return _history.transactions(self._base.conf.persistdir)

    def historyPackages(self, tid):
        return _history.packages(self._base.conf.persistdir, tid)

    def historyUndo(self, tid):
        return _history.undo(self._base.conf.persistdir, self._query(), tid)

    def olderVersions(self, po):
        return _versions.older(self._query(), po._pkg)

    def reinstallable(self, po):
        return _versions.reinstallable(self._query(), po._pkg)

    def requestVersions(self, requests):
        """(kind, package, version-release) requests for the next apply."""
        self._versionRequests = [tuple(r) for r in requests]

    def addPackageFiles(self, paths):
        self._query()
        return _localfiles.add(self._base, paths)

    # ---- features ------------------------------------------------------

    def usesPresto(self):
        return False

    def hasMultiProgress(self):
        return False
