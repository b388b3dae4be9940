"""Orvo's companion script: the program's adapter over dnf.

The engine runs this file in __main__, creates one YumIO object (a fresh one
after every transaction) and reaches the package manager only through its
members.  Everything the package manager reports goes back through the
callback module yumIOC, which the engine registers before running the file.
The object's parts live in the yumio package beside this file.

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


# The engine puts nothing on sys.path: find the yum and yumio packages next to this file.
for _dir in reversed(_scriptDirs()):
    if _dir not in sys.path:
        sys.path.insert(0, _dir)

import dnf.exceptions  # noqa: E402
import dnf.lock  # noqa: E402
import libdnf  # noqa: E402

import yumIOC  # noqa: E402
from yum import Errors  # noqa: E402
from yumio import history as _history  # noqa: E402
from yumio import localfiles as _localfiles  # noqa: E402
from yumio import versions as _versions  # noqa: E402
# expireMetadata is called by the engine in this namespace.
from yumio.catalogue import Catalogue, expireMetadata  # noqa: E402,F401
from yumio.configuration import AttrDict, Configuration, rootDir  # noqa: E402
from yumio.lock import LOCK  # noqa: E402
from yumio.meters import redirectOutput  # noqa: E402
from yumio.transaction import TransactionInfo, Transactions  # noqa: E402


def usesSqlite():
    """The adapter presents yum's sqlite-backed repository cache."""
    return True


# On every run: the engine puts the streams back when it ends.
redirectOutput()


class YumIO(Configuration, Catalogue, Transactions):
    """The adapter object the engine talks to."""

    def __init__(self):
        self.root = rootDir()
        self.conf = AttrDict()
        self.repos = AttrDict(repos={})
        self.tsInfo = TransactionInfo()
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

    # ---- lock ------------------------------------------------------

    def lock(self):
        """Takes the lock now, and from now on whenever the session works: the
        collection that follows gives it back when it is done."""
        target = os.path.join(dnf.lock._fit_lock_dir(self._base.conf.persistdir), "rpmdb_lock.pid")
        LOCK.acquire(target)
        LOCK.session = target

    def unlock(self):
        LOCK.session = None
        LOCK.release()

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
