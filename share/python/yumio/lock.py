"""The root's package-manager lock, one per process."""

import contextlib
import errno
import fcntl
import os

from yum import Errors


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
LOCK = _RootLock()
