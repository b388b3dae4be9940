"""Errors raised by Orvo's companion script, in yum's hierarchy."""


class YumBaseError(Exception):
    """Base of every error the companion script raises on purpose."""

    def __init__(self, value=None):
        Exception.__init__(self, value)
        self.value = value

    def __str__(self):
        return "%s" % (self.value,)


class LockError(YumBaseError):
    """The package database of the root is locked by another live process."""

    def __init__(self, errno, msg, pid=0):
        YumBaseError.__init__(self, msg)
        self.errno = errno
        self.msg = msg
        self.pid = pid


class RepoError(YumBaseError):
    """A repository could not be set up or read."""


class NoMoreMirrorsRepoError(RepoError):
    """Every mirror of a repository failed."""


class GroupsError(YumBaseError):
    """Package groups are unavailable or inconsistent."""
