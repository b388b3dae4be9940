"""dnf's, libdnf's and rpm's failures as the yum.Errors classes the engine tells apart."""

import errno

import dnf.exceptions
import libdnf
from yum import Errors


# What librepo says when a file could be had from none of a repository's
# locations: yum's "No more mirrors to try".
_MIRRORS_FAILED = ("all mirrors were", "cannot download", "curl error", "status code:")


# Set when an interrupt was raised inside a download callback: dnf's C++ layer
# turns it into a plain error on its way out.
interrupted = [False]


def passesInterrupt(method):
    """A download callback whose interrupt is remembered for yumError."""
    def wrapper(*args):
        try:
            return method(*args)
        except KeyboardInterrupt:
            interrupted[0] = True
            raise
    wrapper.__name__ = method.__name__
    return wrapper


def yumError(e):
    """The yum.Errors counterpart of a dnf, libdnf or rpm failure, by what happened."""
    if interrupted[0]:
        interrupted[0] = False
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


def skippedError(skipped):
    """The error that names the repositories left out, for the engine to show."""
    lines = [str(e) for _, e in skipped]
    lines.append("Repositories skipped for this session: %s" % ", ".join(rid for rid, _ in skipped))
    return Errors.RepoError("\n".join(lines))
