"""The managed root's configuration as dnf reads it, with yum's paths and reporting."""

import logging
import os
import shutil

import dnf
import dnf.conf
import dnf.conf.read
import dnf.exceptions
import dnf.rpm
import libdnf
import rpm

import yumIOC
from yum import Errors
from yumio.errors import interrupted
from yumio.meters import DepsolveCallback, RepoMeter


class AttrDict(dict):
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


def inRoot(path):
    """Where a path of the managed system lies, resolved as inside a chroot at the root:
    ".." stops at the root and symbolic links, absolute ones included, are followed
    inside it.  The engine confines every path, its own and the script's, in one way."""
    return yumIOC.inRoot(path)


def rootDir():
    return os.path.abspath(os.environ.get("ORVOROOT") or "/")


def _mainConfFile():
    for p in ("/etc/yum/yum.conf", "/etc/yum.conf", "/etc/dnf/dnf.conf"):
        if os.path.exists(inRoot(p)):
            return inRoot(p)
    return inRoot("/etc/yum.conf")


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


def dbPath():
    """The rpm database directory of the root, when it has one of the usual ones."""
    for d in ("/usr/lib/sysimage/rpm", "/var/lib/rpm"):
        p = inRoot(d)
        for f in ("rpmdb.sqlite", "Packages", "Packages.db"):
            if os.path.exists(os.path.join(p, f)):
                return d
    return None


def _skipRepo(base, repo, e):
    """One repository that cannot be read must not hide the others and the
    installed packages: it is left out of the session."""
    try:
        repo._repo.expire()
    except Exception:
        pass
    repo.disable()
    base._skipped.append((repo.id, e))


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
            if interrupted[0]:
                raise
            _skipRepo(self, repo, e)

    def _loadRepo(self, repo):
        meter = RepoMeter(self._orvo, repo)
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


class Configuration(object):
    """The session's configuration: its dnf Base and repositories."""

    def _fixDbPath(self):
        # A root without a database gets one where rpm systems keep it, once
        # something is installed, not where this rpm build would put it.
        d = dbPath() or "/var/lib/rpm"
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
        main = _mainConfFile()
        if os.path.exists(main):
            conf.read(main, priority=dnf.conf.PRIO_MAINCONFIG)
        conf.config_file_path = main
        raw = _rawMainOptions(main)
        subst = conf.substitutions
        subst.update_from_etc(root, varsdir=conf.varsdir)
        if not conf.releasever:
            # Asking a root without a database would make one.
            rel = (dbPath() and dnf.rpm.detect_releasever(root)) or _hostReleasever()
            if rel:
                conf.releasever = rel
        if "reposdir" in raw:
            dirs = raw["reposdir"].replace(",", " ").split()
        else:
            dirs = ["/etc/yum/repos.d", "/etc/yum.repos.d"]
        conf.reposdir = [inRoot(d) for d in dirs]
        # dnf neither substitutes variables in a yum-style cachedir nor puts
        # the root in front of it.
        cachedir = raw.get("cachedir") or "/var/cache/yum/$basearch/$releasever"
        cachedir = libdnf.conf.ConfigParser.substitute(cachedir, subst)
        self._cachedir = inRoot(cachedir)
        conf.cachedir = self._cachedir
        for opt in ("persistdir", "logdir"):
            conf.prepend_installroot(opt)
        for d in (conf.logdir, self._cachedir):
            if not os.path.isdir(d):
                os.makedirs(d)
        conf.clean_requirements_on_remove = False
        conf.exit_on_lock = True
        base._ds_callback = DepsolveCallback()
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
            dbpath=dbPath() or rpm.expandMacro("%{_dbpath}"),
            installonlypkgs=list(conf.installonlypkgs),
        )
        repos = {}
        for rid in sorted(base.repos):
            r = base.repos[rid]
            repos[rid] = AttrDict(
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
