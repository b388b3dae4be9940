"""The packages and groups the engine lists, read from dnf's sack, and the cache they
come from."""

import binascii
import gc
import glob
import os
import shutil
import time

import dnf.rpm
import hawkey
import rpm

import yumIOC
from yum import Errors
from yumio import localfiles as _localfiles
from yumio.configuration import dbPath, inRoot
from yumio.errors import skippedError, yumError
from yumio.lock import LOCK


_FLAGS = {"<": "LT", "<=": "LE", "=": "EQ", "==": "EQ", ">=": "GE", ">": "GT"}


def bytes2str(v):
    if isinstance(v, bytes):
        return v.decode("utf-8", "replace")
    return v


# Set by Refresh: the next collection checks every repository for new metadata,
# whatever the cache's age (dnf's "clean expire-cache" before "makecache").
_expireNext = [False]


def expireMetadata():
    _expireNext[0] = True


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
            return bytes2str(hdr[tag])
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

    def searchKey(self):
        """The solver's number of the package, which orders the search index's reading,
        then the repository and the checksum (hex) under which the repository's file
        lists name the package: empty when none do."""
        return (hash(self._pkg), "", "")

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

    def searchKey(self):
        chksum = self._pkg.chksum
        if not chksum:
            return _Package.searchKey(self)
        return (hash(self._pkg), self.repoid, binascii.hexlify(chksum[1]).decode("ascii"))

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
        names = [bytes2str(f) for f in hdr[rpm.RPMTAG_FILENAMES]]
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
                        [bytes2str(n) for n in hdr[rpm.RPMTAG_CHANGELOGNAME]],
                        [bytes2str(t) for t in hdr[rpm.RPMTAG_CHANGELOGTEXT]]))


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


class Catalogue(object):
    """Reading the catalogue and cleaning its cache."""

    # ---- repositories ------------------------------------------------

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
            self._base.fill_sack(load_system_repo=dbPath() is not None, load_available_repos=True)
        except Exception as e:
            raise yumError(e)
        _localfiles.putIntoSack(self._base)
        self._sackReady = True
        self._installonly = None
        self._cookie = cookie
        self._noteSkipped()

    def _rpmdbCookie(self):
        """What tells one state of the rpm database from another: rpm's cookie, or
        the database files' sizes and change times where rpm has none."""
        if dbPath() is None:
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
        d = dbPath() or rpm.expandMacro("%{_dbpath}")
        d = inRoot(d)
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
        raise skippedError(skipped)

    def setupRepos(self):
        LOCK.take()
        self._fillSack()

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

    # ---- groups --------------------------------------------------------

    def setupTsGroup(self):
        try:
            self._base.read_comps(arch_filter=True)
        except Exception as e:
            raise yumError(e)
        if not len(self._base.comps.groups):
            raise Errors.GroupsError("No Groups Available in any repository")

    def collectGroupInfo(self):
        comps = self._base.comps
        if comps is None:
            return []
        names = set(p.name for p in self._query().installed())
        return [_Group(g, names) for g in comps.groups_iter()]

    def collectDone(self):
        LOCK.give()
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

    def fileListSources(self):
        """(repository, path) of the file lists that each enabled repository
        downloaded, as dnf read them.  The engine's search index reads them whole,
        many times faster than through each package's files."""
        out = []
        if self._base is None:
            return out
        for repo in self._base.repos.iter_enabled():
            try:
                path = repo.get_metadata_path("filelists")
            except Exception:
                path = ""
            if path and os.path.isfile(path):
                out.append((repo.id, path))
        return out

    def collectOtherData(self):
        """Read the change logs of available packages (repository "other" data)."""
        if self._otherLoaded:
            return True
        with LOCK.holding():
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
            base.fill_sack(load_system_repo=dbPath() is not None, load_available_repos=True)
            # Extra data that cannot be read leaves the session as it was.
            if base._skipped:
                raise base._skipped[0][1]
        except Exception as e:
            if base is not None:
                try:
                    base.close()
                except Exception:
                    pass
            raise yumError(e)
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

    # ---- cache cleaning ------------------------------------------------

    def _cacheFiles(self, patterns):
        found = []
        for pat in patterns:
            found += glob.glob(os.path.join(self._cachedir, pat))
        return sorted(set(found))

    def _clean(self, patterns, what):
        with LOCK.holding():
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
